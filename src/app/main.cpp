// tarvek-station: the control and monitoring station for light engines LE1..LE6. This file puts
// the station together: the core, the main window, and the observers beside it (historian, plant
// view); the options are read in program/command_line, the headless commands live in
// program/headless_commands.
#include "app/main_window/log_window.h"
#include "app/main_window/page_tabs.h"
#include "app/program/command_line.h"
#include "app/program/headless_commands.h"
#include "app/recording/historian_trends.h"
#include "app/replay/replay_session.h"
#include "app/settings/plant_form.h"
#include "common/termination_signals.h"
#include "historian/historian.h"
#include "plant/plant_publisher.h"
#include "recorder/recorder.h"
#include "recorder/recording_format.h"
#include "station/station.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QStatusBar>
#include <QStyleFactory>
#include <QTimer>

#include <cstdio>
#include <memory>

using namespace tarvek;

namespace {
// The plant publisher with its state on the status bar and its settings form in the Station menu.
std::unique_ptr<PlantPublisher> attachPlant(Station& station, LogWindow& window, const Options& options)
{
    auto plant = std::make_unique<PlantPublisher>(station);
    auto* plantState = new QLabel(&window);
    plantState->setObjectName(QStringLiteral("plantState"));
    window.statusBar()->addPermanentWidget(plantState);
    QObject::connect(plant.get(), &PlantPublisher::stateChanged, plantState, &QLabel::setText);
    QObject::connect(plant.get(), &PlantPublisher::stateChanged, plantState, &QLabel::setToolTip); // when cut off
    QObject::connect(plant.get(), &PlantPublisher::problem, &station, [&station](const QString& text) {
        std::fprintf(stderr, "%s\n", qPrintable(text));
        const Clock& clock = station.clock();
        station.appendEvent(QStringLiteral("%1 / %2  %3").arg(clock.dateText(), clock.timeText(), text)); // as every event
    });
    QObject::connect(&station, &Station::quitting, plant.get(), [p = plant.get()] {
        PlantSettings off = p->settings();
        off.enabled = false;
        p->apply(off); // says goodbye: the broker keeps the station's last word, not its will
    });
    // Read once the station has started up, after the event list is cleared, so that a damaged
    // Plant.ini is told where the operator sees it.
    QObject::connect(&station, &Station::startupFinished, plant.get(), [p = plant.get(), &station, &options] {
        PlantSettings plantSettings = PlantSettings::load(station.files());
        if (!options.plantBroker.isEmpty()) {
            plantSettings.setBroker(options.plantBroker);
            plantSettings.enabled = true;
        }
        if (!options.plantName.isEmpty()) {
            plantSettings.station = options.plantName;
            plantSettings.enabled = true;
        }
        p->apply(plantSettings);
    });
    // Its settings form: in the Station menu, in service mode only.
    if (auto* menu = window.findChild<QMenu*>(QStringLiteral("mnuStation"))) {
        QAction* entry = new QAction(QStringLiteral("Plant View Settings"), menu);
        entry->setObjectName(QStringLiteral("mnuPlant"));
        menu->insertAction(window.findChild<QAction*>(QStringLiteral("mnuParameterVB")), entry);
        entry->setEnabled(station.mode() == OperatingMode::Service);
        QObject::connect(&station, &Station::modeChanged, entry,
                         [entry](int mode) { entry->setEnabled(mode == int(OperatingMode::Service)); });
        QObject::connect(entry, &QAction::triggered, &window, [&station, &window, p = plant.get()] {
            auto* form = new PlantForm(*p, station.files(), &window);
            form->setAttribute(Qt::WA_DeleteOnClose);
            form->show();
        });
    }
    return plant;
}
} // namespace

int main(int argc, char** argv)
{
    // Qt's own event dispatcher times the 30 ms senders to a fraction of a millisecond and wakes
    // less often than the GLib one, which sleeps in whole milliseconds.
    if (qEnvironmentVariableIsEmpty("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
    // The C library looks at /etc/localtime again for every local time it is asked for while TZ is
    // unset: a few hundred file lookups a second here. Named once, the zone is read once; its
    // daylight-saving rules still apply, and a zone changed on the machine applies from the next
    // start.
    if (!qEnvironmentVariableIsSet("TZ") && QFileInfo::exists(QStringLiteral("/etc/localtime")))
        qputenv("TZ", ":/etc/localtime");
    Options options;
    if (const auto rc = parseCommandLine(argc, argv, options))
        return *rc;
    if (options.command == Options::Command::ExportHistory)
        return exportHistory(options);
    if (options.command == Options::Command::ResetPasswords)
        return resetPasswords(options);
    if (options.command == Options::Command::CheckPorts) {
        QCoreApplication core(argc, argv);
        return checkPorts(options);
    }
    // A replay writes nothing into the station folder, so it does not make one either.
    if (options.replay.isEmpty() && !QDir().mkpath(options.folder)) {
        std::fprintf(stderr, "cannot create the station folder %s\n", qPrintable(options.folder));
        return 1;
    }
    // Pictures need no screen: without a display they are made off screen.
    const bool headless = qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (headless && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && !options.screenshot.isEmpty())
        qputenv("QT_QPA_PLATFORM", "offscreen");

    QApplication app(argc, argv);
    setProgramIdentity();
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));

    // A replay runs on a copy of the station folder, with the recording as its engines and its clock.
    std::unique_ptr<ReplaySession> replay;
    if (!options.replay.isEmpty()) {
        replay = std::make_unique<ReplaySession>(options.replay, options.folder, options.loginFile, options.replayFrom,
                                                 options.replaySpeed);
        if (const QString why = replay->problem(); !why.isEmpty()) {
            std::fprintf(stderr, "tarvek-station: cannot replay: %s\n", qPrintable(why));
            return 1;
        }
    }
    SystemClock systemClock;
    Station station(replay ? replay->folder() : options.folder, replay ? QString() : options.loginFile,
                    replay ? replay->clock() : static_cast<Clock&>(systemClock));
    station.setComOverrides(options.com);
    if (replay)
        replay->attach(station);
    LogWindow window(station);
    if (replay)
        replay->showIn(window, station);
    // What an observer beside the station has to tell: once, on standard error, in the event list (with
    // its date and time) and on the status line.
    const auto tell = [&station](const QString& text) {
        std::fprintf(stderr, "%s\n", qPrintable(text));
        station.appendEvent(QStringLiteral("%1 / %2  %3").arg(station.clock().dateText(), station.clock().timeText(), text));
        station.showStatus(text);
    };
    // The black box: every byte of the links, on a thread of its own.
    std::unique_ptr<Recorder> recorder;
    if (!replay && !options.noRecorder) {
        recorder = std::make_unique<Recorder>(QDir(options.folder).filePath(QString::fromLatin1(recording::kFolderName)),
                                              RecorderLimits::load(station.files()));
        station.link().setByteTap(recorder.get());
        QObject::connect(recorder.get(), &Recorder::notice, &station, tell);
    }
    if (options.timeScale > 0)
        station.trendGraphs().setTimeScale(options.timeScale);
    if (!options.screenshotStart.isEmpty())
        startForPicture(station, options.screenshotStart);
    if (options.showGraphs)
        window.pages()->setCurrentIndex(1);
    if (options.scroll)
        if (auto* scroll = window.findChild<QAction*>(QStringLiteral("mnuScroll")))
            scroll->setChecked(true);
    if (options.loggerTickMs > 0)
        QObject::connect(&station, &Station::startupFinished, &station, [&station, &options] {
            // A run resumed at start-up goes on under the header pair it has just written.
            if (station.dataLogger().running()) {
                station.dataLogger().setTickInterval(options.loggerTickMs);
                return;
            }
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
    if (!options.noHistorian && !replay) {
        historian = std::make_unique<Historian>(station);
        QObject::connect(historian.get(), &Historian::notice, &station, tell);
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
    TerminationSignals signalQuit;
    QObject::connect(&signalQuit, &TerminationSignals::received, &station, [&station](const QString& name) {
        std::fprintf(stderr, "tarvek-station: %s received, ending\n", qPrintable(name));
        station.quit(name);
    });

    // The plant view: read-only to the plant, beside the serial side; the core does not know it.
    // A replay publishes nothing.
    std::unique_ptr<PlantPublisher> plant;
    if (!replay)
        plant = attachPlant(station, window, options);
    window.show();

    int exitCode = 0;
    if (options.quitAfter >= 0) {
        const auto finish = [&] {
            if (!options.screenshot.isEmpty() && !takeScreenshot(window, station, options.form, options.screenshot))
                exitCode = 1;
            station.quit(QStringLiteral("--quit-after"));
        };
        QTimer::singleShot(static_cast<int>(options.quitAfter * 1000), &app, [&, finish] {
            // The mode and what the form needs, only for the picture, taken once they have shown.
            const int settle = stageScreenshot(window, station, options);
            if (settle <= 0)
                return finish();
            QTimer::singleShot(settle, &app, finish);
        });
    }
    if (options.linkStats)
        station.link().watchDeadlines();
    const int rc = app.exec();
    station.link().setByteTap(nullptr);
    if (replay)
        std::fputs(qPrintable(replay->summary()), stdout);
    if (options.linkStats) {
        for (int k = 1; k <= 6; ++k) {
            const auto d = station.link().replyToFrameDelays(k);
            std::printf("link COM%d - frames %llu, reply to frame inside the station: median %.3f ms, "
                        "p99 %.3f ms, max %.3f ms; partial replies dropped after a quiet line: %llu\n",
                        k, static_cast<unsigned long long>(d.count), static_cast<double>(d.medianUs) / 1000.0,
                        static_cast<double>(d.p99Us) / 1000.0, static_cast<double>(d.maxUs) / 1000.0,
                        static_cast<unsigned long long>(station.link().staleDrops(k)));
        }
        const auto late = station.link().deadlineLateness();
        std::printf("link deadlines - %llu told; more than %.1f ms late: %llu woken late by the machine (the latest "
                    "by %.3f ms), %llu held up by the station's own work (the longest by %.3f ms)\n",
                    static_cast<unsigned long long>(late.told),
                    static_cast<double>(PreciseDeadlines::Lateness::kLateNs) / 1e6,
                    static_cast<unsigned long long>(late.wokeLate), static_cast<double>(late.maxWokeLateNs) / 1e6,
                    static_cast<unsigned long long>(late.heldByWork), static_cast<double>(late.maxHeldNs) / 1e6);
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
