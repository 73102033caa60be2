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

    // Reads "\ComDevices.ini", creating it with 14 empty lines when missing. A line whose device
    // has characters no device name has leaves its COM number with no device at all (the port
    // stays off rather than opening the default); returns one text per such line, naming it.
    QStringList load(SettingsFiles& files);
    // Whether a device name is one a system could have (letters, digits and / \ . _ - : +).
    static bool plausibleDevice(const QString& device);
    // What the port numbers and switches of "\ParamComx.ini" hold that no port can use, one
    // text per line at fault: a number that is not a COM number 1..14 on a port switched on, a
    // switch that is neither 0 nor 1.
    static QStringList portSettingFaults(const std::array<QString, 6>& numbers, const std::array<QString, 6>& enabled);
    bool save(SettingsFiles& files) const;

    // One override "N=DEVICE" (N 1..14, optionally written COMN); false, changing nothing, when
    // the text is malformed.
    bool applyOverride(const QString& text);
    // Applies each text; returns the ones that were malformed.
    QStringList applyOverrides(const QStringList& texts);
    // The command line names this COM number's device for this run.
    bool overridden(int com) const { return valid(com) && !overrides_[slot(com)].isEmpty(); }
    void clearOverrides();

private:
    static bool valid(int com) { return com >= kFirstCom && com <= kLastCom; }
    static std::size_t slot(int com) { return static_cast<std::size_t>(com - kFirstCom); }

    std::array<QString, kLastCom> file_;
    std::array<QString, kLastCom> overrides_;
    std::array<bool, kLastCom> refused_{}; // the file's line is no device: no device at all
};

} // namespace tarvek
