#pragma once
// The data logger: one file of timed rows per ticked engine in the station folder's "Datalogger"
// sub-folder, written by Timer42 every chosen number of minutes. It never blocks the frame
// cycle: a file that cannot be written is reported once and tried again at the next row, and a
// row is either whole on disk or not there at all.
#include "recording/clock.h"
#include "settings/settings_files.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>
#include <optional>

class QTimer;

namespace tarvek {

// The measured columns, in file order; each is written only when ticked.
enum class LoggerColumn { Lpc, Lfc, Vis, Ir, Rh, Los, Sht, Mat };
inline constexpr int kLoggerColumns = 8;
inline constexpr int kLoggerEngines = 6;

// What the operator chose in the set-up form.
struct LoggerChoices {
    bool csv = false;       // ".csv" with ";", else ".txt" with ","
    int interval = 0;       // index into DataLogger::intervalCaptions()
    std::array<bool, kLoggerEngines> engines{};
    std::array<bool, kLoggerColumns> columns{};
    bool erase = false;     // EErase: an existing file starts again empty; else EAppend
    QString name;           // the typed name, without "_LEn" and extension
};

class DataLogger : public QObject {
    Q_OBJECT
public:
    static constexpr int kTickMs = 60'000; // Timer42 counts minutes
    // "\TypeFile.ini": line 1 the file type, lines 2..9 the eight column flags; the rest kept.
    static constexpr int kTypeFileLines = 18;
    // "\NS.ini": the version text, the interval index, the ticked engines (LE1 = 1, LE2 = 2,
    // LE3 = 4 ...) and 1 for EAppend or 0 for EErase.
    static constexpr int kStepLines = 4;

    static QString typeFileName() { return QStringLiteral("\\TypeFile.ini"); }
    static QString stepFileName() { return QStringLiteral("\\NS.ini"); }
    // "\DataloggerRun.ini": "1" while logging, then the name, so a run the station did not end
    // itself goes on at the next start.
    static QString runFileName() { return QStringLiteral("\\DataloggerRun.ini"); }
    static QString folderName() { return QStringLiteral("Datalogger"); }
    static const QStringList& intervalCaptions();
    static int intervalMinutes(int index);
    static QString extension(bool csv) { return csv ? QStringLiteral(".csv") : QStringLiteral(".txt"); }
    static char separator(bool csv) { return csv ? ';' : ','; }
    static QString filter(bool csv) { return csv ? QStringLiteral("*.csv") : QStringLiteral("*.txt"); }
    static QString incompleteText() { return QStringLiteral("Please Complete Step 1 to 3  "); }
    static QString readyText() { return QStringLiteral("Data logging is ready to run"); }
    static QString startCaption() { return QStringLiteral("Press to START"); }
    static QString nothingCaption() { return QStringLiteral(" Warning!"); }
    static QString nothingText() { return QStringLiteral("There is nothing to save! "); }
    static QString noticeCaption() { return QStringLiteral(" Warning !"); }

    // The header pair as written before the first row of a start: an empty line, the names row,
    // the units row, a line of one blank. Without the MAT column the names row has no line end
    // of its own and the units row runs on into the blank line: files read that way.
    static QByteArray header(bool csv, const std::array<bool, kLoggerColumns>& columns);
    // One data row: counter, date, time, then each ticked column's value; MAT ends the row.
    static QByteArray row(bool csv, const std::array<bool, kLoggerColumns>& columns, qint64 counter,
                          const QString& date, const QString& time,
                          const std::array<QString, kLoggerColumns>& values);
    // The clock texts of a pass: "11/23/2026" and "09:30AM" (hours past 12 count from 1 again).
    static QString monthDayYear(const QDate& date);
    static QString hoursMinutes(const QTime& time);

    // The display text of a column of engine index 0..5; LOS is taken from the filed set-points.
    using ValueSource = std::function<QString(int index, LoggerColumn column)>;

    DataLogger(SettingsFiles& files, const Clock& clock, ValueSource values, QObject* parent = nullptr);

    QString folder() const;
    // Full path of the file of engine 1..6 for the current name and type.
    QString fileFor(int engine) const;
    // File names of the chosen type already in the folder, sorted.
    QStringList existingFiles() const;

    const LoggerChoices& choices() const { return choices_; }
    // Replaces every choice; saves "\TypeFile.ini" and "\NS.ini" when asked to.
    void setChoices(const LoggerChoices& choices, bool save = true);
    void setCsv(bool csv);
    void setInterval(int index);
    void setEngineLogged(int engine, bool logged);
    void setColumn(LoggerColumn column, bool on);
    void setErase(bool erase);
    void setName(const QString& name);
    // Start-up: the choices as read from "\NS.ini" and "\TypeFile.ini".
    void restore(const std::array<QString, kStepLines>& steps, const std::array<int, kTypeFileLines>& type);

    // Steps 1 to 3 are complete: a type, an interval, at least one engine and a name.
    bool ready() const;
    QString stepText() const { return ready() ? readyText() : incompleteText(); }

    // Enregistrer: takes a name (a picked file "run_LE2.txt" gives "run") when there is something
    // to save, and confirms it through notice(); otherwise warns "There is nothing to save! ".
    bool confirmName(const QString& name);
    // mnuCreateDataLogger: the set-up form is asked for, the saved choices read again when idle.
    void create();
    // "Press to START": header pairs again, EErase empties the files, the first row now, then one
    // every interval. False (and a warning) when the steps are not complete.
    bool start();
    // mnuOffDataLogger: no more rows; the files stay.
    void off();
    // Start-up: a run that was on when the station ended goes on with the same files and choices,
    // appending under a new header pair. True when it did.
    bool resumeIfRunning();

    bool running() const { return running_; }
    // While logging, what the main window says of it: "Data logger: 6 LE every 5 minutes"; else empty.
    QString runningSummary() const;
    int countdown() const { return countdown_; }
    qint64 rowCounter() const { return counter_; }
    // The clock texts of the last pass, empty before the first.
    QString lastDate() const { return lastDate_; }
    QString lastClock() const { return lastClock_; }
    // True while the engine's file is failing (reported, not yet written again).
    bool failing(int engine) const { return failing_.at(static_cast<std::size_t>(engine - 1)); }
    QTimer* timer() const { return timer42_; }
    // Timer42's period; a minute unless a benchmark asks for rows faster.
    void setTickInterval(int ms);
    // Passes go through `run`, which may hold one a few milliseconds for work that cannot wait.
    void setRunWhenClear(std::function<void(std::function<void()>)> run) { runWhenClear_ = std::move(run); }

public slots:
    // Timer42: counts the minutes down, writes a pass at zero.
    void tick();

signals:
    void changed();
    void formRequested();
    void warning(const QString& caption, const QString& text);
    // OKTransfert: the name is taken, with the files it gives.
    void notice(const QString& caption, const QString& text);
    void statusText(const QString& text);
    // A file could not be written (once per failure), and later written again.
    void problem(const QString& text);
    void recovered(const QString& text);
    void passWritten(qint64 counter);

private:
    void pass();
    void write(int index, const QByteArray& rowBytes);
    void fail(int index, const QString& path, const QString& reason);
    void save();
    bool startRun(bool erase);

    SettingsFiles& files_;
    const Clock& clock_;
    ValueSource values_;
    QTimer* timer42_;
    std::function<void(std::function<void()>)> runWhenClear_ = [](const std::function<void()>& work) { work(); };
    LoggerChoices choices_;
    QString version_ = QStringLiteral("1.01");
    std::array<int, kTypeFileLines> typeLines_{};
    std::array<bool, kLoggerEngines> headerWritten_{};
    std::array<bool, kLoggerEngines> failing_{};
    std::array<int, kLoggerEngines> rowsLost_{}; // rows of the current failure spell
    std::array<int, kLoggerEngines> setPoints_{50, 50, 50, 50, 50, 50};
    std::optional<SettingsFiles::Stamp> setPointsSeen_; // the set-point file as last read
    bool running_ = false;
    int countdown_ = 0;
    qint64 counter_ = 0;
    QString lastDate_;
    QString lastClock_;
};

} // namespace tarvek
