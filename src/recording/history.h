#pragma once
// The activity history "\Histo.txt": one event a line, appended by whoever logs an event, shown
// by the history window, emptied and printed on request.
#include "recording/clock.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class QPagedPaintDevice;
class QTimer;

namespace tarvek {

class SettingsFiles;

// What loading the journal produced: the rows of the history list and what the operator is told.
struct HistoryLoad {
    QStringList entries;       // the list rows: blank, title, blank, then one row per journal line
    int lineCount = 0;         // journal lines shown (at most History::kMaxLines, the newest)
    bool limitReached = false; // the file held more lines than the list keeps
    int olderLeftOut = 0;      // the oldest lines not shown; they stay in the file
    bool rewritten = false;    // the file was written back (cut to the limit or line ends unified)
    bool readFailed = false;   // the file exists but could not be read; the list is then empty
};

class History : public QObject {
    Q_OBJECT
public:
    static constexpr int kMaxLines = 32000;
    static constexpr int kLinesPerPage = 76;  // journal lines on one printed page
    static constexpr int kHeadingLines = 4;   // blank, blank, title, blank on top of every page
    static constexpr int kRetryMs = 2000;     // how often held lines try the disk again

    static QString fileName() { return QStringLiteral("\\Histo.txt"); }
    static QString title() { return QStringLiteral("  Report faults history, starts, stops and mistakes errors"); }
    // The three rows the list starts with: blank, title, blank.
    static QStringList listHeading() { return {QString(), title(), QString()}; }

    static QString emptyCaption() { return QStringLiteral(" Warning"); }
    static QString emptyText() { return QStringLiteral("The file is empty ... "); }
    static QString limitCaption() { return QStringLiteral(" Warning!"); }
    static QString limitText() { return QStringLiteral("The boundaries of the list are reached!"); }

    History(const SettingsFiles& files, const Clock& clock, QObject* parent = nullptr);

    QString path() const;

    // "  <time>    <date>    <code, 3 digits>    <text>"; a code keeps its last three characters.
    static QString formatLine(const QString& time, const QString& date, const QString& code,
                              const QString& text);
    // The line an event gets now.
    QString lineFor(const QString& code, const QString& text) const;

    // Appends one event line and closes the file, so the line is on disk when this returns.
    // Line breaks inside the text become blanks: one event stays one line.
    // A line the disk refuses is held, in order, and written before any newer line as soon as
    // the disk takes it (tried again every kRetryMs): problem() once when writing fails,
    // recovered() once when it goes on. appended(line) is emitted for every line once it is
    // on disk, in order. Returns whether the line (and all held before it) is on disk now.
    bool append(const QString& code, const QString& text);
    int heldLines() const { return static_cast<int>(held_.size()); }
    // Tries the held lines now; true when none is left.
    bool flush() { return writeHeld(); }

    // Reads the journal into list rows (heading first), keeps the newest kMaxLines lines (the
    // file keeps them all), writes the file back when that changes it, and emits
    // information()/warning() for what the operator must be told. Each line is kept as read;
    // held lines follow the file's. A missing file is created empty; a file that cannot be read
    // is left untouched (fileError()).
    HistoryLoad load();

    // Moves every line into a dated archive beside the journal ("Histo-2026-11-24-191200.txt"),
    // then replaces the journal by one line saying who cleared it (`who`: "user mode"...) and
    // where the old lines went. An archive that cannot be written leaves the journal as it was
    // and warning() says why. Emits cleared() on success.
    bool clear(const QString& who);
    // The archives of the station folder, newest first (full paths).
    QStringList archives() const;
    // The lines of a journal or archive file as list rows (no heading); empty when unreadable.
    static QStringList readLines(const QString& path);

    // Journal lines in the list as last loaded; 0 after clear().
    int lineCount() const { return lineCount_; }

    // Cuts list rows into printed pages. Every page starts with blank, blank, title, blank (on
    // the first page these are a blank line and the list's own heading) and holds at most
    // kLinesPerPage rows below that.
    static QList<QStringList> paginate(const QStringList& listRows);
    // Prints pages one after another in a monospace font on a printer (or PDF writer).
    // Returns false when the device could not be painted on or a page could not be started.
    static bool print(const QList<QStringList>& pages, QPagedPaintDevice& device);

signals:
    void appended(const QString& line);
    void problem(const QString& text);
    void recovered(const QString& text);
    void cleared();
    void loaded(int lineCount, bool limitReached);
    void information(const QString& caption, const QString& text);
    void warning(const QString& caption, const QString& text);
    // The journal could not be read or written; nothing was lost from what was on disk.
    void fileError(const QString& path, const QString& reason);

private:
    const SettingsFiles& files_;
    const Clock& clock_;
    int lineCount_ = 0;
    QStringList held_;      // lines the disk refused, oldest first
    bool failing_ = false;  // problem() told, recovered() not yet
    QTimer* retry_ = nullptr;

    bool writeHeld();
    QString archivePath() const;
};

} // namespace tarvek
