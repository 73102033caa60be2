#pragma once
// The station folder and its small line-oriented settings files.
#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <array>
#include <optional>
#include <span>
#include <vector>

class QIODevice;

namespace tarvek {

class Clock;

enum class LineFormat { Plain, Quoted, Text };

struct SettingsFileEntry {
    QString name;         // as the station names it, with its leading backslash
    LineFormat format;
    QStringList defaults; // the lines written when the file is missing
    bool createdAtStart;  // false for files written by a form only
};

// The values of a file as read: one a line, quotes removed.
struct ReadLines {
    QStringList values;
    bool tooLong = false; // the file goes on past the size limit; only the lines before it count
};

class SettingsFiles : public QObject {
    Q_OBJECT
public:
    // A settings file holds a few dozen short lines; anything larger is damaged or not ours.
    static constexpr qint64 kMaxFileBytes = 64 * 1024;

    // loginFile empty: the station folder's Name.inc (the documented Windows path on Windows).
    explicit SettingsFiles(const QString& folder, const QString& loginFile = {},
                           QObject* parent = nullptr);

    // Dates the copies of damaged files kept aside; without one, the system's time.
    void setClock(const Clock* clock) { clock_ = clock; }

    QString folder() const { return folder_; }
    QString loginFile() const { return loginFile_; }
    // Full path of a file named as the station names it ("\ConsignePW.ini").
    QString pathOf(const QString& name) const;
    // What tells one version of a file from the next, to the nanosecond: device, inode, size and
    // the times of the last change to its bytes and to the file. Nothing when it cannot be looked
    // at (missing, or a system without stat), so a caller reads it again rather than trust it.
    using Stamp = std::array<qint64, 5>;
    std::optional<Stamp> stamp(const QString& name) const;

    // Every settings file, in the order start-up reads or creates them.
    static const std::vector<SettingsFileEntry>& index();
    static const SettingsFileEntry* entry(const QString& name);
    static QString loginFileName();

    // Creates the file with its defaults when it is missing; false if it could not be created.
    bool ensure(const QString& name);
    // Reads or creates every file of the index, in its order.
    void ensureAll();

    // Why the file on disk is not a settings file ("is empty", "holds bytes that are not text"),
    // or empty when it is one or is missing. A file with no defaults may be empty.
    QString damage(const QString& name) const;
    // Moves a damaged file aside under a dated name ("ConsignePW.ini.damaged-2026-11-24-191200")
    // and writes its defaults; tells the operator once. Returns the name kept aside, or empty.
    QString repair(const QString& name, const QString& why);

    // The values of a file, one a line, quotes removed; the file is created first when missing.
    // Only the lines within the first kMaxFileBytes are read; a longer file is reported.
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
    // Reads values line by line, never more than `limit` bytes: the whole reader without a file.
    static ReadLines readLines(QIODevice& in, qint64 limit = kMaxFileBytes);
    // A number as the station reads it: blanks around it and quotes accepted.
    static std::optional<int> toNumber(const QString& value);

signals:
    // Every time: a value that is not a number, a file that cannot be read or written.
    void malformedValue(const QString& file, int line, const QString& text);
    void fileError(const QString& file, const QString& reason);
    // For the operator, naming the file: each fault once, until the file reads or writes cleanly
    // again (a station runs all day and rereads some files on every use).
    void problem(const QString& text);

private:
    enum class Op { Read, Write };
    // Reads without settling the file's reports: the caller knows when the whole read was clean.
    ReadLines read(const QString& name, bool& clean);
    void report(const QString& name, Op op, const QString& text);
    void settle(const QString& name, Op op);

    QString folder_;
    QString loginFile_;
    const Clock* clock_ = nullptr;
    QHash<QString, QSet<QString>> reported_; // per file and operation, the reports already made
};

} // namespace tarvek
