// tarvek-station: the control and monitoring station for light engines LE1..LE6.
#include "app/service/change_password_form.h"
#include "app/service/coefficients_form.h"
#include "app/settings/configuration_rs232.h"
#include "app/recording/datalogger_form.h"
#include "app/service/espion_start_form.h"
#include "app/service/fadec_parameters.h"
#include "app/recording/graphique_screen.h"
#include "app/recording/histo_window.h"
#include "app/recording/historian_trends.h"
#include "historian/historian.h"
#include "settings/display_coefficients.h"
#include "app/main_window/log_window.h"
#include "app/alarms/messages_error.h"
#include "app/main_window/page_tabs.h"
#include "app/settings/plant_form.h"
#include "app/service/protocol_trace_window.h"
#include "app/setpoints/pw6_sliders.h"
#include "app/common/question_window.h"
#include "app/setpoints/saisie.h"
#include "app/common/signal_quit.h"
#include "app/settings/software_settings_form.h"
#include "app/recording/trend_graph.h"
#include "plant/plant_publisher.h"
#include "station/station.h"
#include "app/service/tests_materiel_form.h"
#include "app/service/usures_form.h"
#include "app/service/valeur_des_param.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDialog>
#include <QDir>
#include <QFileInfo>
#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QStatusBar>
#include <QStandardPaths>
#include <QStyleFactory>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <numeric>
#include <optional>
#include <span>
#include <vector>

using namespace tarvek;

namespace {
constexpr int kUsageError = 64; // EX_USAGE: the command line was wrong

struct Options {
    QString folder;
    QString loginFile;
    QString screenshot;
    QString form;
    double quitAfter = -1;
    QStringList com;
    bool linkStats = false;
    int timeScale = 0; // ms/pixel of the trend graphs; 0 keeps the menu's default
    bool showGraphs = false;
    int loggerTickMs = 0; // 0: the data logger waits for the operator
    bool noHistorian = false;
    QString plantBroker;  // HOST:PORT, over "\\Plant.ini" for this run
    QString plantName;
};

// The station folder when none is given: the user's application data folder, which is writable
// on every system (the settings files, "Img" and "Datalogger" live there).
QString defaultFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
}

void setIdentity()
{
    QCoreApplication::setApplicationName(QStringLiteral("tarvek-station"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(Station::kVersion).trimmed());
}

// Every form --screenshot-form can picture, and how the main window opens it; one line a form.
struct ScreenshotForm {
    const char* name;
    std::function<QWidget*(LogWindow&, Station&)> open;
};
const std::vector<ScreenshotForm>& screenshotForms()
{
    using W = LogWindow;
    using S = Station;
    static const std::vector<ScreenshotForm> forms = {
        {"Log", [](W& w, S&) -> QWidget* { return &w; }},
        {"Graphs", [](W& w, S&) -> QWidget* {
             w.pages()->setCurrentIndex(1);
             // The picture shows a cursor too: LE1 read two thirds along what it has drawn.
             if (auto* g = w.findChild<TrendGraph*>(QStringLiteral("PictureLE1")); g && g->lastColumn() > 2)
                 g->setCursorColumn(g->lastColumn() * 2 / 3);
             return &w;
         }},
        {"ParamLogicielVB", [](W& w, S&) -> QWidget* { return w.openSoftwareSettings(); }},
        {"MessagesError", [](W& w, S&) -> QWidget* { return w.openMessagesError(); }},
        {"ChangePassword", [](W& w, S&) -> QWidget* { return w.openChangePassword(); }},
        {"GraphiqueScreen", [](W& w, S&) -> QWidget* { return w.openGraphiqueScreen(); }},
        {"PW6Sliders", [](W& w, S&) -> QWidget* { return w.openPowerSetPoints(); }},
        {"Saisie", [](W& w, S& s) -> QWidget* { s.selectEngine(1); return w.openMotorSpeedEntry(); }},
        {"ConfigurationRS232", [](W& w, S&) -> QWidget* { return w.openPortConfiguration(); }},
        {"Histo", [](W& w, S&) -> QWidget* {
             HistoWindow* histo = w.openHistory();
             histo->loadList(); // what Timer1 does just after the window opens
             return histo;
         }},
        {"FenQuestion", [](W& w, S&) -> QWidget* {
             w.questions().ask(QStringLiteral(" Warning!"), QStringLiteral("STOP All LE"));
             return w.findChild<FenQuestion*>();
         }},
        {"Datalogger", [](W& w, S&) -> QWidget* { return w.openDatalogger(); }},
        {"Halogen", [](W& w, S&) { return w.openAlarmForm(QStringLiteral("Halogen")); }},
        {"SHTPC", [](W& w, S&) { return w.openAlarmForm(QStringLiteral("SHTPC")); }},
        {"ControlLfcAlarm", [](W& w, S&) { return w.openAlarmForm(QStringLiteral("ControlLfcAlarm")); }},
        {"AlarmSummary", [](W& w, S&) { return w.openAlarmForm(QStringLiteral("AlarmSummary")); }},
        {"BoiteDialogue", [](W& w, S&) { return w.openAlarmForm(QStringLiteral("BoiteDialogue")); }},
        {"FadecParameters", [](W& w, S& s) -> QWidget* {
             s.selectEngine(1);
             s.parameterEditor().paramDefault();
             return w.openFadecParameters();
         }},
        {"ValeurDesParam", [](W& w, S& s) -> QWidget* {
             QWidget* form = w.openValeurDesParam(true);
             for (int n = 1; n <= 6; ++n)
                 if (s.link().portOpen(n))
                     s.ioReadOut().read(n);
             return form;
         }},
        // The plant view's settings, as service mode opens them.
        {"PlantForm", [](W& w, S&) -> QWidget* {
             auto* entry = w.findChild<QAction*>(QStringLiteral("mnuPlant"));
             if (!entry)
                 return nullptr;
             entry->setEnabled(true);
             entry->trigger();
             return w.findChild<QDialog*>(QStringLiteral("PlantForm"));
         }},
        {"ProtocolTraceWindow", [](W& w, S&) -> QWidget* { return w.openProtocolTrace(); }},
        {"Coefficients", [](W& w, S&) -> QWidget* { return w.openCoefficients(); }},
        {"Usures", [](W& w, S&) -> QWidget* { return w.openUsures(); }},
        {"EspionStart", [](W& w, S& s) -> QWidget* { s.selectEngine(1); return w.openEspionStart(); }},
        // The picture shows the form itself, whatever phase LE1 is in.
        {"TestsMateriel", [](W& w, S& s) -> QWidget* {
             auto* form = new TestsMaterielForm(s.hardwareTests(), s.clock(), &w);
             form->setEngine(1);
             form->show();
             return form;
         }},
    };
    return forms;
}

QStringList screenshotFormNames()
{
    QStringList names;
    for (const ScreenshotForm& f : screenshotForms())
        names << QString::fromLatin1(f.name);
    return names;
}

int usageError(const QString& text)
{
    std::fprintf(stderr, "tarvek-station: %s\nTry 'tarvek-station --help' for more information.\n",
                 qPrintable(text));
    return kUsageError;
}

// --reset-passwords: the log-in file gets its defaults back; the old one stays beside it.
int resetPasswords(const Options& o)
{
    SettingsFiles files(o.folder, o.loginFile);
    QString failure;
    QObject::connect(&files, &SettingsFiles::fileError, &files,
                     [&failure](const QString&, const QString& reason) { failure = reason; });
    const QString name = SettingsFiles::loginFileName();
    const QString path = QDir::toNativeSeparators(files.pathOf(name));
    const bool existed = QFileInfo::exists(files.pathOf(name));
    const QString aside = existed ? files.repair(name, QStringLiteral("is reset")) : QString();
    if (!(existed ? !aside.isEmpty() : files.ensure(name)) || !failure.isEmpty()) {
        std::fprintf(stderr, "tarvek-station: cannot reset the password file %s: %s\n", qPrintable(path),
                     qPrintable(failure.isEmpty() ? QStringLiteral("it cannot be moved aside") : failure));
        return 1;
    }
    std::printf("The password file %s holds the default passwords again%s.\n"
                "Log in to service mode and set new ones (Functions, Change Password).\n",
                qPrintable(path), qPrintable(aside.isEmpty() ? QString() : QStringLiteral("; the old one is kept as ") +
                                                                           QDir::toNativeSeparators(aside)));
    return 0;
}

// --export-history: the historian's rows of one engine over a range as CSV, without a window.
int exportHistory(const QString& folder, const QString& file, const QString& engineText, const QString& fromText,
                  const QString& toText)
{
    bool ok = false;
    const int engine = engineText.toInt(&ok);
    if (!ok || engine < 1 || engine > kEngines)
        return usageError(QStringLiteral("--engine: 1 to 6, not ") + engineText);
    const auto from = parseHistoryTime(fromText), to = parseHistoryTime(toText);
    if (!from || !to)
        return usageError(QStringLiteral("--from and --to: \"YYYY-MM-DD hh:mm\", not \"%1\" and \"%2\"")
                              .arg(fromText, toText));
    if (*to <= *from)
        return usageError(QStringLiteral("--to must come after --from"));
    HistorianStore store(QDir(folder).filePath(HistorianStore::fileName()));
    if (!store.open(true)) {
        std::fprintf(stderr, "tarvek-station: cannot read the history: %s\n", qPrintable(store.lastError()));
        return 1;
    }
    // The values as the station shows them: its display coefficients, when it uses them.
    SettingsFiles files(folder);
    StationSettings settings;
    files.readNumbers(QStringLiteral("\\CocheSelect.ini"), std::span<int>(&settings.displayWithCoefficients, 1));
    if (files.readNumbers(QStringLiteral("\\Coefficients.ini"), settings.coefficients) < coefficients::kValues)
        std::copy(coefficients::defaults().begin(), coefficients::defaults().end(), settings.coefficients.begin());
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        std::fprintf(stderr, "tarvek-station: cannot write %s\n", qPrintable(file));
        return 1;
    }
    std::vector<int> rows(kEngineRows);
    std::iota(rows.begin(), rows.end(), 0);
    const qint64 n = writeHistoryCsv(store, out, {engine}, rows, from->toSecsSinceEpoch(), to->toSecsSinceEpoch(),
                                     [&settings](int row, int raw) {
                                         return QString::number(engineRowValue(settings, row, raw), 'f',
                                                                engineRowDecimals(settings, row));
                                     });
    if (!out.flush()) {
        std::fprintf(stderr, "tarvek-station: cannot write %s\n", qPrintable(file));
        return 1;
    }
    std::fprintf(stderr, "%lld rows written to %s\n", static_cast<long long>(n), qPrintable(file));
    return 0;
}

// Reads the command line on a core application, before any window system is asked for: help,
// version and usage errors work without a display. Returns an exit code when the program ends here.
std::optional<int> parseCommandLine(int argc, char** argv, Options& o)
{
    QCoreApplication core(argc, argv);
    setIdentity();
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Tarvek Light Engine Control station"));
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption versionOption = parser.addVersionOption();
    const QCommandLineOption folderOption(
        QStringLiteral("folder"),
        QStringLiteral("Station folder holding the settings files, Img and Datalogger (default: %1).")
            .arg(QDir::toNativeSeparators(defaultFolder())),
        QStringLiteral("DIR"));
    const QCommandLineOption loginOption(
        QStringLiteral("login-file"),
        QStringLiteral("Log-in file with the user and service passwords (default: Name.inc in the station folder)."),
        QStringLiteral("FILE"));
    const QCommandLineOption shotOption(
        QStringLiteral("screenshot"),
        QStringLiteral("Save a PNG picture of the main window (or of --screenshot-form) once started, then exit."),
        QStringLiteral("FILE"));
    const QCommandLineOption formOption(
        QStringLiteral("screenshot-form"),
        QStringLiteral("Window to picture with --screenshot: %1 (Log, the default, is the main window; Graphs its "
                       "graph page; Saisie the motor speed entry of LE1).")
            .arg(screenshotFormNames().join(QStringLiteral(", "))),
        QStringLiteral("NAME"), QStringLiteral("Log"));
    const QCommandLineOption quitOption(
        QStringLiteral("quit-after"),
        QStringLiteral("Exit after SECONDS (the screenshot is taken just before; default 2 with --screenshot)."),
        QStringLiteral("SECONDS"));
    const QCommandLineOption comOption(
        QStringLiteral("com"),
        QStringLiteral("Device for a COM number, e.g. 3=/dev/ttyUSB0; may be repeated. Overrides "
                       "ComDevices.ini in the station folder for this run."),
        QStringLiteral("N=DEVICE"));
    const QCommandLineOption statsOption(
        QStringLiteral("link-stats"),
        QStringLiteral("On exit, print each port's frames and its reply-to-frame delay inside the station, and the "
                       "historian's transaction times."));
    const QCommandLineOption scaleOption(
        QStringLiteral("time-scale"),
        QStringLiteral("Trend graph time scale at start: 50, 100, 200, 400 or 800 ms a pixel."),
        QStringLiteral("MS"));
    const QCommandLineOption graphsOption(QStringLiteral("show-graphs"),
                                          QStringLiteral("Open the main window on its graph page."));
    const QCommandLineOption loggerOption(
        QStringLiteral("logger-tick"),
        QStringLiteral("Start the data logger at start-up on all six engines and every column, into "
                       "Datalogger/bench_LEn, with Timer42 ticking every MS ms instead of a minute and a row "
                       "each tick (for benchmarks; the saved logger choices are left as they are)."),
        QStringLiteral("MS"));
    const QCommandLineOption resetOption(
        QStringLiteral("reset-passwords"),
        QStringLiteral("Put the two default passwords back in the log-in file (the old file is kept beside it "
                       "under a dated name), then exit. For the administrator when the file is damaged or the "
                       "passwords are lost; opens no window."));
    const QCommandLineOption exportOption(
        QStringLiteral("export-history"),
        QStringLiteral("Write the recorded values of --engine from --from to --to as CSV to FILE and exit "
                       "(no window is opened)."),
        QStringLiteral("FILE"));
    const QCommandLineOption engineOption(QStringLiteral("engine"), QStringLiteral("Engine 1 to 6 for --export-history."),
                                          QStringLiteral("N"));
    const QCommandLineOption fromOption(QStringLiteral("from"),
                                        QStringLiteral("Start of the --export-history range, \"YYYY-MM-DD hh:mm\"."),
                                        QStringLiteral("TIME"));
    const QCommandLineOption toOption(QStringLiteral("to"),
                                      QStringLiteral("End of the --export-history range, \"YYYY-MM-DD hh:mm\"."),
                                      QStringLiteral("TIME"));
    const QCommandLineOption noHistorianOption(QStringLiteral("no-historian"),
                                               QStringLiteral("Run without recording to Historian.sqlite."));
    const QCommandLineOption brokerOption(
        QStringLiteral("plant-broker"),
        QStringLiteral("Publish the engines to the MQTT broker at HOST:PORT for this run, over Plant.ini."),
        QStringLiteral("HOST:PORT"));
    const QCommandLineOption plantNameOption(
        QStringLiteral("plant-name"),
        QStringLiteral("Publish the engines under tarvek/NAME/ for this run, over Plant.ini."), QStringLiteral("NAME"));
    parser.addOptions({folderOption, loginOption, shotOption, formOption, quitOption, comOption, statsOption,
                       scaleOption, graphsOption, loggerOption, exportOption, engineOption, fromOption, toOption,
                       noHistorianOption, resetOption, brokerOption, plantNameOption});

    // Single-dash words (-platform, -style...) are Qt's own options, taken by the application.
    QStringList args;
    for (const QString& a : QCoreApplication::arguments())
        if (a.size() <= 2 || !a.startsWith(QLatin1Char('-')) || a.startsWith(QLatin1String("--")))
            args << a;
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
    o.folder = parser.isSet(folderOption) ? parser.value(folderOption) : defaultFolder();
    if (parser.isSet(exportOption))
        return exportHistory(o.folder, parser.value(exportOption), parser.value(engineOption),
                             parser.value(fromOption), parser.value(toOption));
    o.noHistorian = parser.isSet(noHistorianOption);
    o.loginFile = parser.value(loginOption);
    if (parser.isSet(resetOption))
        return resetPasswords(o);
    o.screenshot = parser.value(shotOption);
    o.form = parser.value(formOption);
    if (!screenshotFormNames().contains(o.form))
        return usageError(QStringLiteral("--screenshot-form: one of %1, not ")
                              .arg(screenshotFormNames().join(QStringLiteral(", "))) + o.form);
    if (parser.isSet(scaleOption)) {
        o.timeScale = parser.value(scaleOption).toInt();
        const auto& scales = TrendGraphs::kScalesMs;
        if (std::find(scales.begin(), scales.end(), o.timeScale) == scales.end())
            return usageError(QStringLiteral("--time-scale: 50, 100, 200, 400 or 800, not ") + parser.value(scaleOption));
    }
    if (parser.isSet(quitOption)) {
        bool ok = false;
        o.quitAfter = parser.value(quitOption).toDouble(&ok);
        // A timer counts milliseconds in an int: about 24 days at most.
        if (!ok || !(o.quitAfter >= 0) || o.quitAfter * 1000 > std::numeric_limits<int>::max())
            return usageError(QStringLiteral("--quit-after: a number of seconds from 0 to %1, not ")
                                  .arg(std::numeric_limits<int>::max() / 1000) +
                              parser.value(quitOption));
    } else if (parser.isSet(shotOption)) {
        o.quitAfter = 2;
    }
    if (parser.isSet(loggerOption)) {
        bool ok = false;
        o.loggerTickMs = parser.value(loggerOption).toInt(&ok);
        if (!ok || o.loggerTickMs < 10 || o.loggerTickMs > DataLogger::kTickMs)
            return usageError(QStringLiteral("--logger-tick: 10 to 60000 ms, not ") + parser.value(loggerOption));
    }
    o.com = parser.values(comOption);
    const QStringList badCom = ComMap().applyOverrides(o.com);
    if (!badCom.isEmpty())
        return usageError(QStringLiteral("--com: N=DEVICE with N from 1 to 14, not ") + badCom.join(QStringLiteral(", ")));
    o.plantBroker = parser.value(brokerOption);
    if (parser.isSet(brokerOption) && !PlantSettings().setBroker(o.plantBroker))
        return usageError(QStringLiteral("--plant-broker: HOST:PORT, not ") + o.plantBroker);
    o.plantName = parser.value(plantNameOption);
    if (parser.isSet(plantNameOption) && !PlantSettings::nameProblem(o.plantName).isEmpty())
        return usageError(QStringLiteral("--plant-name: ") + PlantSettings::nameProblem(o.plantName));
    o.linkStats = parser.isSet(statsOption);
    o.showGraphs = parser.isSet(graphsOption);
    return std::nullopt;
}

bool saveShot(QWidget* w, const QString& file)
{
    const bool ok = w->grab().save(file, "PNG");
    std::fprintf(stderr, ok ? "screenshot saved: %s\n" : "cannot save screenshot: %s\n",
                 qPrintable(QDir::toNativeSeparators(file)));
    return ok;
}
} // namespace

int main(int argc, char** argv)
{
    // Qt's own event dispatcher times the 30 ms senders to a fraction of a millisecond and wakes
    // less often than the GLib one, which sleeps in whole milliseconds.
    if (qEnvironmentVariableIsEmpty("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
    Options options;
    if (const auto rc = parseCommandLine(argc, argv, options))
        return *rc;
    if (!QDir().mkpath(options.folder)) {
        std::fprintf(stderr, "cannot create the station folder %s\n", qPrintable(options.folder));
        return 1;
    }
    // Pictures need no screen: without a display they are made off screen.
    const bool headless = qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (headless && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && !options.screenshot.isEmpty())
        qputenv("QT_QPA_PLATFORM", "offscreen");

    QApplication app(argc, argv);
    setIdentity();
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));

    SystemClock clock;
    Station station(options.folder, options.loginFile, clock);
    station.setComOverrides(options.com);
    LogWindow window(station);
    if (options.timeScale > 0)
        station.trendGraphs().setTimeScale(options.timeScale);
    if (options.showGraphs)
        window.pages()->setCurrentIndex(1);
    if (options.loggerTickMs > 0)
        QObject::connect(&station, &Station::startupFinished, &station, [&station, &options] {
            LoggerChoices all = station.dataLogger().choices();
            all.engines.fill(true);
            all.columns.fill(true);
            all.interval = 0;
            all.name = QStringLiteral("bench");
            station.dataLogger().setChoices(all, false);
            station.dataLogger().setTickInterval(options.loggerTickMs);
            station.dataLogger().start();
        });
    std::unique_ptr<Historian> historian;
    if (!options.noHistorian) {
        historian = std::make_unique<Historian>(station);
        QObject::connect(historian.get(), &Historian::notice, &station, [&station](const QString& text) {
            std::fprintf(stderr, "%s\n", qPrintable(text));
            station.appendEvent(text);
            station.showStatus(text);
        });
        // HistorianTrends from the Recording menu, and for one engine from its column's heading.
        const auto openTrends = [&window, &station, path = historian->path()](int engine) {
            auto* trends = new HistorianTrends(station, path, &window);
            if (engine > 0)
                trends->showEngine(engine);
            trends->show();
        };
        if (auto* menu = window.findChild<QMenu*>(QStringLiteral("mnuRecording"))) {
            QAction* a = menu->addAction(QStringLiteral("Historian Trends"));
            a->setObjectName(QStringLiteral("mnuHistorianTrends"));
            QObject::connect(a, &QAction::triggered, &window, [openTrends] { openTrends(0); });
        }
        for (int n = 1; n <= kEngines; ++n)
            if (auto* title = window.findChild<QLabel*>(QStringLiteral("LE%1Title").arg(n))) {
                auto* a = new QAction(QStringLiteral("Historian Trends of LE%1").arg(n), title);
                title->addAction(a);
                title->setContextMenuPolicy(Qt::ActionsContextMenu);
                QObject::connect(a, &QAction::triggered, &window, [openTrends, n] { openTrends(n); });
            }
    }
    QObject::connect(&station, &Station::finished, &app, &QApplication::quit, Qt::QueuedConnection);
    // SIGTERM or SIGINT: the same end as Quit, without the question.
    SignalQuit signalQuit;
    QObject::connect(&signalQuit, &SignalQuit::received, &station, [&station](const QString& name) {
        std::fprintf(stderr, "tarvek-station: %s received, ending\n", qPrintable(name));
        station.quit();
    });

    // The plant view: read-only to the plant, beside the serial side; the core does not know it.
    PlantPublisher plant(station);
    auto* plantState = new QLabel(&window);
    plantState->setObjectName(QStringLiteral("plantState"));
    window.statusBar()->addPermanentWidget(plantState);
    QObject::connect(&plant, &PlantPublisher::stateChanged, plantState, &QLabel::setText);
    QObject::connect(&plant, &PlantPublisher::problem, &station, [&station](const QString& text) {
        std::fprintf(stderr, "%s\n", qPrintable(text));
        station.appendEvent(text);
    });
    QObject::connect(&station, &Station::quitting, &plant, [&plant] {
        PlantSettings off = plant.settings();
        off.enabled = false;
        plant.apply(off); // says goodbye: the broker keeps the station's last word, not its will
    });
    PlantSettings plantSettings = PlantSettings::load(station.files());
    if (!options.plantBroker.isEmpty()) {
        plantSettings.setBroker(options.plantBroker);
        plantSettings.enabled = true;
    }
    if (!options.plantName.isEmpty()) {
        plantSettings.station = options.plantName;
        plantSettings.enabled = true;
    }
    plant.apply(plantSettings);
    // Its settings form: in the Station menu, in service mode only.
    if (auto* menu = window.findChild<QMenu*>(QStringLiteral("mnuStation"))) {
        QAction* entry = new QAction(QStringLiteral("Plant View Settings"), menu);
        entry->setObjectName(QStringLiteral("mnuPlant"));
        menu->insertAction(window.findChild<QAction*>(QStringLiteral("mnuParameterVB")), entry);
        entry->setEnabled(station.mode() == OperatingMode::Service);
        QObject::connect(&station, &Station::modeChanged, entry,
                         [entry](int mode) { entry->setEnabled(mode == int(OperatingMode::Service)); });
        QObject::connect(entry, &QAction::triggered, &window, [&] {
            auto* form = new PlantForm(plant, station.files(), &window);
            form->setAttribute(Qt::WA_DeleteOnClose);
            form->show();
        });
    }
    window.show();

    int exitCode = 0;
    if (options.quitAfter >= 0) {
        QTimer::singleShot(static_cast<int>(options.quitAfter * 1000), &app, [&] {
            if (!options.screenshot.isEmpty()) {
                QWidget* target = &window;
                for (const ScreenshotForm& f : screenshotForms())
                    if (options.form == QLatin1String(f.name))
                        target = f.open(window, station);
                if (!target || !saveShot(target, options.screenshot))
                    exitCode = 1;
            }
            station.quit();
        });
    }
    const int rc = app.exec();
    if (options.linkStats) {
        for (int k = 1; k <= 6; ++k) {
            const auto d = station.link().replyToFrameDelays(k);
            std::printf("link COM%d - frames %llu, reply to frame inside the station: median %.3f ms, "
                        "p99 %.3f ms, max %.3f ms; partial replies dropped after a quiet line: %llu\n",
                        k, static_cast<unsigned long long>(d.count), static_cast<double>(d.medianUs) / 1000.0,
                        static_cast<double>(d.p99Us) / 1000.0, static_cast<double>(d.maxUs) / 1000.0,
                        static_cast<unsigned long long>(station.link().staleDrops(k)));
        }
        if (historian) {
            const Historian::CommitStats c = historian->commitStats();
            std::printf("historian - %lld transactions on its own thread: mean %.3f ms, max %.3f ms\n",
                        static_cast<long long>(c.commits),
                        c.commits ? static_cast<double>(c.totalUs) / static_cast<double>(c.commits) / 1000.0 : 0.0,
                        static_cast<double>(c.maxUs) / 1000.0);
        }
        std::fflush(stdout);
    }
    return exitCode != 0 ? exitCode : rc;
}
