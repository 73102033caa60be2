#pragma once
// Which device a COM number 1..14 names on this machine. By default COMn on Windows and
// /dev/ttyS(n-1) elsewhere; a station folder may name others in "\ComDevices.ini" (line n for
// COMn, empty for the default), and the command line may override both for one run.
#include <QString>
#include <QStringList>

#include <array>

namespace tarvek {

class SettingsFiles;

class ComMap {
public:
    static constexpr int kFirstCom = 1;
    static constexpr int kLastCom = 14;

    static QString fileName() { return QStringLiteral("\\ComDevices.ini"); }
    static QString defaultDevice(int com);

    // The device for a COM number: command line, then file, then default; empty outside 1..14.
    QString deviceFor(int com) const;

    // The file's entry for a COM number (empty: default).
    QString fileDevice(int com) const;
    void setFileDevice(int com, const QString& device);

    // Reads "\ComDevices.ini", creating it with 14 empty lines when missing.
    void load(SettingsFiles& files);
    bool save(SettingsFiles& files) const;

    // One override "N=DEVICE" (N 1..14, optionally written COMN); false, changing nothing, when
    // the text is malformed.
    bool applyOverride(const QString& text);
    // Applies each text; returns the ones that were malformed.
    QStringList applyOverrides(const QStringList& texts);
    void clearOverrides();

private:
    static bool valid(int com) { return com >= kFirstCom && com <= kLastCom; }
    static std::size_t slot(int com) { return static_cast<std::size_t>(com - kFirstCom); }

    std::array<QString, kLastCom> file_;
    std::array<QString, kLastCom> overrides_;
};

} // namespace tarvek
