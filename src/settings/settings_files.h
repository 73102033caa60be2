#pragma once
// The station folder and its small line-oriented settings files.
#include <QObject>
#include <QString>
#include <QStringList>

#include <span>
#include <vector>

namespace tarvek {

enum class LineFormat { Plain, Quoted, Text };

struct SettingsFileSpec {
    QString name;         // as the station names it, with its leading backslash
    LineFormat format;
    QStringList defaults; // the lines written when the file is missing
    bool createdAtStart;  // false for files written by a form only
};

class SettingsFiles : public QObject {
    Q_OBJECT
public:
    // loginFile empty: the station folder's Name.inc (the documented Windows path on Windows).
    explicit SettingsFiles(const QString& folder, const QString& loginFile = {},
                           QObject* parent = nullptr);

    QString folder() const { return folder_; }
    QString loginFile() const { return loginFile_; }
    // Full path of a file named as the station names it ("\ConsignePW.ini").
    QString pathOf(const QString& name) const;

    // Every settings file, in the order start-up reads or creates them.
    static const std::vector<SettingsFileSpec>& index();
    static const SettingsFileSpec* entry(const QString& name);
    static QString loginFileName();

    // Creates the file with its defaults when it is missing; false if it could not be created.
    bool ensure(const QString& name);
    // Reads or creates every file of the index, in its order.
    void ensureAll();

    // The values of a file, one a line, quotes removed; the file is created first when missing.
    QStringList readValues(const QString& name);
    // Reads numbers into `values` in order. A short file leaves the rest as they were; a line
    // that is not a number keeps its value and is reported through malformedValue().
    // Returns how many lines were read.
    int readNumbers(const QString& name, std::span<int> values);
    // Reads strings into `values` in order; a short file leaves the rest as they were.
    int readStrings(const QString& name, std::span<QString> values);

    // Replaces the whole file atomically, CRLF line ends.
    bool writeValues(const QString& name, const QStringList& values, LineFormat format);
    bool writeValues(const QString& name, const QStringList& values);
    bool writeNumbers(const QString& name, std::span<const int> values);

    // The bytes a file holds for the given values.
    static QByteArray render(const QStringList& values, LineFormat format);
    // One line as a value: CR dropped, quotes removed.
    static QString unquote(QString line);
    // A number as the station reads it: blanks around it and quotes accepted.
    static std::optional<int> toNumber(const QString& value);

signals:
    void malformedValue(const QString& file, int line, const QString& text);
    void fileError(const QString& file, const QString& reason);

private:
    QString folder_;
    QString loginFile_;
};

} // namespace tarvek
