#pragma once
// The station program's command line: every option it knows, parsed into a plain struct. This is
// the one place that names the options; the program reads only the struct.
#include <QDateTime>
#include <QStringList>

#include <optional>

namespace tarvek {

struct Options {
    // What the program does: run the station, or one headless command and exit.
    enum class Command { Run, ResetPasswords, ExportHistory, CheckPorts };
    Command command = Command::Run;

    QString folder;    // the station folder (settings files, Img, Datalogger)
    QString loginFile; // empty: Name.inc in the station folder

    // Run: pictures and timed ends (--screenshot, --screenshot-form, --quit-after)
    QString screenshot;
    QString form = QStringLiteral("Log");
    double quitAfter = -1; // seconds; below 0: runs until ended
    // The mode the picture shows (--screenshot-mode): 0 user, 1 service; -1 as the station is.
    int screenshotMode = -1;
    // The engines the station starts for the picture (--screenshot-start), each as START LE-n does
    // once it answers at rest.
    QList<int> screenshotStart;
    // Run: ports, display and load
    QStringList com;       // N=DEVICE, over ComDevices.ini for this run
    bool linkStats = false;
    int timeScale = 0;     // ms a pixel of the trend graphs; 0 keeps the menu's default
    bool showGraphs = false;
    bool scroll = false; // the graphs scroll from the start, as if Functions > Scroll were checked
    int loggerTickMs = 0;  // 0: the data logger waits for the operator
    bool noHistorian = false;
    QString plantBroker;   // HOST:PORT, over Plant.ini for this run
    QString plantName;
    bool noRecorder = false;
    // Run a replay: the recording (a file, or a folder of them) as the engines.
    QString replay;
    std::optional<QDateTime> replayFrom;
    int replaySpeed = 1;

    // ExportHistory: one engine's recorded values over a range, as CSV
    QString exportFile;
    int exportEngine = 0;
    QDateTime exportFrom, exportTo;
};

inline constexpr int kUsageError = 64; // EX_USAGE: the command line was wrong

// Reads the command line on a core application, before any window system is asked for: help,
// version and usage errors work without a display. Returns an exit code when the program ends
// here (help, version, or a usage error already told on standard error).
std::optional<int> parseCommandLine(int argc, char** argv, Options& options);

// The application's name and version, for the core application and the windowed one alike.
void setProgramIdentity();

// Tells a usage error on standard error with the pointer to --help; returns kUsageError.
int usageError(const QString& text);

} // namespace tarvek
