#include "app/program/command_line.h"

#include "app/program/headless_commands.h"
#include "historian/historian_export.h"
#include "plant/plant_settings.h"
#include "protocol/engine.h"
#include "recording/data_logger.h"
#include "serial/com_map.h"
#include "station/station.h"
#include "station/trend_graphs.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <cstdio>
#include <limits>

namespace tarvek {

namespace {
// The station folder when none is given: the user's application data folder, which is writable
// on every system (the settings files, "Img" and "Datalogger" live there).
QString defaultFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
}

QCommandLineOption option(const char* name, const QString& description, const char* valueName = nullptr)
{
    return valueName ? QCommandLineOption(QString::fromLatin1(name), description, QString::fromLatin1(valueName))
                     : QCommandLineOption(QString::fromLatin1(name), description);
}

// --export-history's engine and range, checked before anything is read.
std::optional<int> parseExport(const QCommandLineParser& parser, Options& o)
{
    o.command = Options::Command::ExportHistory;
    o.exportFile = parser.value(QStringLiteral("export-history"));
    const QString engineText = parser.value(QStringLiteral("engine"));
    bool ok = false;
    o.exportEngine = engineText.toInt(&ok);
    if (!ok || o.exportEngine < 1 || o.exportEngine > kEngines)
        return usageError(QStringLiteral("--engine: 1 to 6, not ") + engineText);
    const QString fromText = parser.value(QStringLiteral("from")), toText = parser.value(QStringLiteral("to"));
    const auto from = parseHistoryTime(fromText), to = parseHistoryTime(toText);
    if (!from || !to)
        return usageError(QStringLiteral("--from and --to: \"YYYY-MM-DD hh:mm\", not \"%1\" and \"%2\"")
                              .arg(fromText, toText));
    if (*to <= *from)
        return usageError(QStringLiteral("--to must come after --from"));
    o.exportFrom = *from;
    o.exportTo = *to;
    return std::nullopt;
}
// --replay with --from and --speed; neither of those without it.
std::optional<int> parseReplay(const QCommandLineParser& parser, Options& o)
{
    const auto isSet = [&parser](const char* name) { return parser.isSet(QString::fromLatin1(name)); };
    if (!isSet("replay")) {
        if (isSet("from") || isSet("speed"))
            return usageError(QStringLiteral("--from and --speed go with --replay (or --from with --export-history)"));
        return std::nullopt;
    }
    o.replay = parser.value(QStringLiteral("replay"));
    if (!QFileInfo::exists(o.replay))
        return usageError(QStringLiteral("--replay: no file or folder ") + o.replay);
    if (isSet("from")) {
        const QString text = parser.value(QStringLiteral("from")).trimmed();
        QDateTime t = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
        if (!t.isValid())
            t = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd hh:mm"));
        if (!t.isValid())
            return usageError(QStringLiteral("--from: \"YYYY-MM-DD hh:mm\" or \"YYYY-MM-DD hh:mm:ss\", not \"%1\"").arg(text));
        o.replayFrom = t;
    }
    if (isSet("speed")) {
        bool ok = false;
        o.replaySpeed = parser.value(QStringLiteral("speed")).toInt(&ok);
        if (!ok || o.replaySpeed < 1 || o.replaySpeed > 60)
            return usageError(QStringLiteral("--speed: 1 to 60, not ") + parser.value(QStringLiteral("speed")));
    }
    return std::nullopt;
}
} // namespace

void setProgramIdentity()
{
    QCoreApplication::setApplicationName(QStringLiteral("tarvek-station"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(Station::kVersion).trimmed());
}

int usageError(const QString& text)
{
    std::fprintf(stderr, "tarvek-station: %s\nTry 'tarvek-station --help' for more information.\n",
                 qPrintable(text));
    return kUsageError;
}

std::optional<int> parseCommandLine(int argc, char** argv, Options& o)
{
    QCoreApplication core(argc, argv);
    setProgramIdentity();
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Tarvek Light Engine Control station"));
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption versionOption = parser.addVersionOption();
    parser.addOptions({
        option("folder",
               QStringLiteral("Station folder holding the settings files, Img and Datalogger (default: %1).")
                   .arg(QDir::toNativeSeparators(defaultFolder())),
               "DIR"),
        option("login-file",
               QStringLiteral("Log-in file with the user and service passwords (default: Name.inc in the station "
                              "folder)."),
               "FILE"),
        option("screenshot",
               QStringLiteral("Save a PNG picture of the main window (or of --screenshot-form) once started, then "
                              "exit."),
               "FILE"),
        option("screenshot-form",
               QStringLiteral("Window to picture with --screenshot: %1 (Log, the default, is the main window; "
                              "Graphs its graph page; Saisie the motor speed entry of LE1).")
                   .arg(screenshotFormNames().join(QStringLiteral(", "))),
               "NAME"),
        option("screenshot-mode",
               QStringLiteral("The picture shows the window in user or service mode, entered just before it is "
                              "taken (the program then ends; no password is asked, none is needed to use it)."),
               "user|service"),
        option("screenshot-start",
               QStringLiteral("The station starts these engines (e.g. 1,2,3,4,5,6) as START LE-n does, each as soon "
                              "as it answers at rest, for a picture of running engines (goes with --screenshot)."),
               "N,..."),
        option("quit-after",
               QStringLiteral("Exit after SECONDS (the screenshot is taken just before; default 2 with "
                              "--screenshot)."),
               "SECONDS"),
        option("com",
               QStringLiteral("Device for a COM number, e.g. 3=/dev/ttyUSB0; may be repeated. Overrides "
                              "ComDevices.ini in the station folder for this run."),
               "N=DEVICE"),
        option("link-stats",
               QStringLiteral("On exit, print each port's frames and its reply-to-frame delay inside the station, "
                              "how many deadlines of the link the machine woke it late for or its own work held up, "
                              "and the historian's transaction times.")),
        option("time-scale", QStringLiteral("Trend graph time scale at start: 50, 100, 200, 400 or 800 ms a pixel."),
               "MS"),
        option("show-graphs", QStringLiteral("Open the main window on its graph page.")),
        option("scroll", QStringLiteral("Start with Functions > Scroll checked: the trend graphs scroll instead of sweeping.")),
        option("logger-tick",
               QStringLiteral("Start the data logger at start-up on all six engines and every column, into "
                              "Datalogger/bench_LEn, with Timer42 ticking every MS ms instead of a minute and a "
                              "row each tick (for benchmarks; the saved logger choices are left as they are)."),
               "MS"),
        option("export-history",
               QStringLiteral("Write the recorded values of --engine from --from to --to as CSV to FILE and exit "
                              "(no window is opened)."),
               "FILE"),
        option("engine", QStringLiteral("Engine 1 to 6 for --export-history."), "N"),
        option("from",
               QStringLiteral("Start of the --export-history range, \"YYYY-MM-DD hh:mm\"; with --replay, where the "
                              "replay begins (\"YYYY-MM-DD hh:mm[:ss]\", local time)."),
               "TIME"),
        option("to", QStringLiteral("End of the --export-history range, \"YYYY-MM-DD hh:mm\"."), "TIME"),
        option("no-historian", QStringLiteral("Run without recording to Historian.sqlite.")),
        option("no-recorder", QStringLiteral("Run without recording the links' bytes to the Recorder folder.")),
        option("replay",
               QStringLiteral("Start the station with a recording as its engines: a file of the Recorder folder, "
                              "or a folder of them (a station folder: its Recorder folder). No port is opened and "
                              "nothing is written to the station folder."),
               "FILE-OR-FOLDER"),
        option("speed", QStringLiteral("Replay speed, 1 to 60 times the recorded pace (default 1)."), "N"),
        option("reset-passwords",
               QStringLiteral("Put the two default passwords back in the log-in file (the old file is kept beside "
                              "it under a dated name), then exit. For the administrator when the file is damaged "
                              "or the passwords are lost; opens no window.")),
        option("check-ports",
               QStringLiteral("Tell for each enabled port its device and whether this user can open it (missing, "
                              "in use, no permission...), then exit with 0 when every one can; opens no window.")),
        option("plant-broker",
               QStringLiteral("Publish the engines to the MQTT broker at HOST:PORT for this run, over Plant.ini."),
               "HOST:PORT"),
        option("plant-name", QStringLiteral("Publish the engines under tarvek/NAME/ for this run, over Plant.ini."),
               "NAME"),
    });
    const auto isSet = [&parser](const char* name) { return parser.isSet(QString::fromLatin1(name)); };
    const auto value = [&parser](const char* name) { return parser.value(QString::fromLatin1(name)); };

    // Single-dash words (-platform, -style...) are Qt's own options, taken by the application, and
    // so is the value that follows those of them that take one.
    static const QStringList qtValueOptions{"-platform", "-platformpluginpath", "-platformtheme", "-plugin",
                                            "-qwindowgeometry", "-qwindowtitle", "-qwindowicon", "-style",
                                            "-stylesheet", "-display", "-geometry", "-title", "-session", "-qmljsdebugger"};
    QStringList args;
    const QStringList all = QCoreApplication::arguments();
    for (qsizetype i = 0; i < all.size(); ++i) {
        const QString& a = all[i];
        if (a.size() <= 2 || !a.startsWith(QLatin1Char('-')) || a.startsWith(QLatin1String("--")))
            args << a;
        else if (qtValueOptions.contains(a))
            ++i;
    }
    if (!parser.parse(args))
        return usageError(parser.errorText());
    if (parser.isSet(helpOption)) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return 0;
    }
    if (parser.isSet(versionOption)) {
        std::printf("%s %s\n", qPrintable(QCoreApplication::applicationName()),
                    qPrintable(QCoreApplication::applicationVersion()));
        return 0;
    }
    if (!parser.positionalArguments().isEmpty())
        return usageError(QStringLiteral("no arguments are taken besides options, not ") +
                          parser.positionalArguments().join(QLatin1Char(' ')));

    o.folder = isSet("folder") ? value("folder") : defaultFolder();
    o.com = parser.values(QStringLiteral("com"));
    const QStringList badCom = ComMap().applyOverrides(o.com);
    if (!badCom.isEmpty())
        return usageError(QStringLiteral("--com: N=DEVICE with N from 1 to 14, not ") +
                          badCom.join(QStringLiteral(", ")));
    if (isSet("check-ports")) {
        o.command = Options::Command::CheckPorts;
        return std::nullopt;
    }
    if (isSet("export-history"))
        return parseExport(parser, o);
    o.noHistorian = isSet("no-historian");
    o.noRecorder = isSet("no-recorder");
    if (const auto rc = parseReplay(parser, o))
        return rc;
    o.loginFile = value("login-file");
    if (isSet("reset-passwords")) {
        o.command = Options::Command::ResetPasswords;
        return std::nullopt;
    }
    o.screenshot = value("screenshot");
    if (isSet("screenshot-form"))
        o.form = value("screenshot-form");
    if (!screenshotFormNames().contains(o.form))
        return usageError(QStringLiteral("--screenshot-form: one of %1, not ")
                              .arg(screenshotFormNames().join(QStringLiteral(", "))) + o.form);
    if (isSet("screenshot-mode")) {
        const QString mode = value("screenshot-mode");
        if (mode != QLatin1String("user") && mode != QLatin1String("service"))
            return usageError(QStringLiteral("--screenshot-mode: user or service, not ") + mode);
        if (!isSet("screenshot"))
            return usageError(QStringLiteral("--screenshot-mode goes with --screenshot FILE"));
        o.screenshotMode = mode == QLatin1String("user") ? 0 : 1;
    }
    if (isSet("screenshot-start")) {
        if (!isSet("screenshot"))
            return usageError(QStringLiteral("--screenshot-start goes with --screenshot FILE"));
        for (const QString& word : value("screenshot-start").split(QLatin1Char(','))) {
            bool ok = false;
            const int n = word.trimmed().toInt(&ok);
            if (!ok || n < 1 || n > kEngines)
                return usageError(QStringLiteral("--screenshot-start: engines 1 to 6 separated by commas, not ") +
                                  value("screenshot-start"));
            if (!o.screenshotStart.contains(n))
                o.screenshotStart << n;
        }
    }
    if (isSet("time-scale")) {
        o.timeScale = value("time-scale").toInt();
        const auto& scales = TrendGraphs::kScalesMs;
        if (std::find(scales.begin(), scales.end(), o.timeScale) == scales.end())
            return usageError(QStringLiteral("--time-scale: 50, 100, 200, 400 or 800, not ") + value("time-scale"));
    }
    if (isSet("quit-after")) {
        bool ok = false;
        o.quitAfter = value("quit-after").toDouble(&ok);
        // A timer counts milliseconds in an int: about 24 days at most.
        if (!ok || !(o.quitAfter >= 0) || o.quitAfter * 1000 > std::numeric_limits<int>::max())
            return usageError(QStringLiteral("--quit-after: a number of seconds from 0 to %1, not ")
                                  .arg(std::numeric_limits<int>::max() / 1000) +
                              value("quit-after"));
    } else if (isSet("screenshot")) {
        o.quitAfter = 2;
    }
    if (isSet("logger-tick")) {
        bool ok = false;
        o.loggerTickMs = value("logger-tick").toInt(&ok);
        if (!ok || o.loggerTickMs < 10 || o.loggerTickMs > DataLogger::kTickMs)
            return usageError(QStringLiteral("--logger-tick: 10 to 60000 ms, not ") + value("logger-tick"));
    }
    o.plantBroker = value("plant-broker");
    if (isSet("plant-broker") && !PlantSettings().setBroker(o.plantBroker))
        return usageError(QStringLiteral("--plant-broker: HOST:PORT, not ") + o.plantBroker);
    o.plantName = value("plant-name");
    if (isSet("plant-name") && !PlantSettings::nameProblem(o.plantName).isEmpty())
        return usageError(QStringLiteral("--plant-name: ") + PlantSettings::nameProblem(o.plantName));
    o.linkStats = isSet("link-stats");
    o.showGraphs = isSet("show-graphs");
    o.scroll = isSet("scroll");
    return std::nullopt;
}

} // namespace tarvek
