#pragma once
// The activity history "\Histo.txt": one event a line, appended by whoever logs an event, shown
// by the history window, emptied and printed on request.
#include "recording/clock.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class QPagedPaintDevice;

namespace tarvek {

class SettingsFiles;

// What loading the journal produced: the rows of the history list and what the operator is told.
struct HistoryLoad {
    QStringList entries;       // the list rows: blank, title, blank, then one row per journal line
    int lineCount = 0;         // journal lines shown (at most History::kMaxLines)
    bool limitReached = false; // the file held more lines than the list keeps
    bool rewritten = false;    // the file was written back (cut to the limit or line ends unified)
    bool readFailed = false;   // the file exists but could not be read; the list is then empty
};

class History : public QObject {
    Q_OBJECT
public:
    static constexpr int kMaxLines = 32000;
    static constexpr int kLinesPerPage = 76;  // journal lines on one printed page
    static constexpr int kHeadingLines = 4;   // blank, blank, title, blank on top of every page

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
    // Emits appended(line) on success, fileError() otherwise.
    bool append(const QString& code, const QString& text);

    // Reads the journal into list rows (heading first), keeps the first kMaxLines lines, writes
    // the file back when that changes it, and emits information()/warning() for what the
    // operator must be told. Each line is kept as read. A missing file is created empty; a
    // file that cannot be read is left untouched (fileError()).
    HistoryLoad load();

    // Empties the file (it stays, zero bytes). Emits cleared() on success, fileError() otherwise.
    bool clear();

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
};

} // namespace tarvek
