// The frame cycle on the wire, the station set beside the least a program can do. On the same six
// paced simulated engines, one after the other in one invocation: first a bare answer (read a
// reply, wait 30 ms, write the echoed frame; bench/bare_answer.h), then the station program with
// everything on. For each it prints the cycle rate against the line-rate limit, the turnaround on
// the wire (the reply's last byte leaving the simulator to the frame arriving there), the CPU share
// of one core, the peak resident memory and the wake-ups per engine cycle; then the ratios, which
// hold on a busy machine where the absolute times do not, and the late frames of each and the
// bursts they came in. With --rounds N the pair runs N times in turn, and the medians follow.
// `frame_cycle --help` lists the options.
//
// It builds nothing and needs nothing running: it starts its own simulator, a Mosquitto on a free
// loopback port for the plant publishing, and the CPU hogs of --load, and ends them all. It exits
// non-zero only when something could not be set up, never because of a figure.
#include "bare_answer.h"
#include "cycle_figures.h"
#include "common/termination_signals.h"
#include "sim/simulated_engine.h"
#include "sim/simulator.h"
#include "station/trend_graphs.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <unistd.h>
#include <vector>

using namespace tarvek;
using namespace tarvek::bench;

namespace {

void writeLines(const QString& path, const QStringList& lines)
{
    QFile f(path);
    if (f.open(QIODevice::WriteOnly))
        for (const QString& l : lines)
            f.write(l.toLatin1() + "\r\n");
}

int freeLoopbackPort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0))
        return 0;
    return probe.serverPort();
}

// A Mosquitto of the bench's own on a free loopback port; empty when it would not come up.
QString startBroker(QProcess& broker, const QString& dir)
{
    const int port = freeLoopbackPort();
    const QString conf = dir + "/mosquitto.conf";
    writeLines(conf, {QStringLiteral("listener %1 127.0.0.1").arg(port), "allow_anonymous true", "persistence false"});
    // Mosquitto drops root for its own user, which must still read the file.
    QFile::setPermissions(dir, QFile::permissions(dir) | QFile::ReadOther | QFile::ExeOther);
    QFile::setPermissions(conf, QFile::permissions(conf) | QFile::ReadOther);
    const QString log = dir + "/mosquitto.log";
    broker.setStandardOutputFile(log);
    broker.setStandardErrorFile(log);
    broker.start(QStringLiteral("mosquitto"), {QStringLiteral("-c"), conf});
    const auto failed = [&log] {
        QFile f(log);
        if (f.open(QIODevice::ReadOnly))
            std::fprintf(stderr, "%s", f.readAll().constData());
        return QString();
    };
    if (!broker.waitForStarted(5000))
        return failed();
    for (int i = 0; i < 50; ++i) {
        QTcpSocket s;
        s.connectToHost(QHostAddress::LocalHost, quint16(port));
        if (s.waitForConnected(200))
            return QStringLiteral("127.0.0.1:%1").arg(port);
        if (broker.state() != QProcess::Running)
            return failed();
        QThread::msleep(100);
    }
    return failed();
}

void stopProcess(QProcess& p)
{
    if (p.state() == QProcess::NotRunning)
        return;
    p.terminate();
    if (!p.waitForFinished(5000)) {
        p.kill();
        p.waitForFinished(2000);
    }
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_NO_GLIB", "1"); // the simulator side times its lines as precisely as the station
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Runs a bare answer, then the station, against six paced simulated engines and prints both\n"
        "side by side: cycle rate against the line-rate limit, turnaround on the wire, CPU, memory and\n"
        "wake-ups, and the station's ratios to the bare answer. Everything is on by default: the graph\n"
        "page at 50 ms a pixel, the data logger on all six engines every second, the historian, and plant\n"
        "publishing to a Mosquitto the bench starts on a free loopback port.");
    parser.addHelpOption();
    const QCommandLineOption seconds("seconds", "Measured seconds of each run (default 30).", "S", "30");
    const QCommandLineOption warmup("warmup", "Seconds before measuring, in each run (default 5).", "S", "5");
    const QCommandLineOption load("load", "Run N CPU hogs beside the bench, to see which side degrades less.", "N", "0");
    const QCommandLineOption station("station", "The station program to run (another build, to compare).", "PROGRAM",
                                     QStringLiteral(TARVEK_STATION_BIN));
    const QCommandLineOption noBare("no-bare", "Run the station only.");
    const QCommandLineOption graphs("graphs", "Graph page time scale: 50, 100, 200, 400 or 800 ms a pixel (default 50).", "MS", "50");
    const QCommandLineOption scroll("scroll",
                                    "The graphs scroll (Functions > Scroll checked) instead of sweeping. They begin to "
                                    "once full, so the warm-up is at least the time that takes, unless --warmup is given.");
    const QCommandLineOption noGraphs("no-graphs", "Station on its main page, every curve hidden.");
    const QCommandLineOption loggerMs("logger-ms", "Data logger row interval (default 1000).", "MS", "1000");
    const QCommandLineOption noLogger("no-logger", "Data logger off.");
    const QCommandLineOption noHistorian("no-historian", "Historian off.");
    const QCommandLineOption noRecorder("no-recorder", "Recorder of the links' bytes off (with it on, the size of its files is printed).");
    const QCommandLineOption plantBroker("plant-broker", "Publish to this broker instead of the bench's own.", "HOST:PORT");
    const QCommandLineOption noPlant("no-plant", "Plant publishing off (no broker started).");
    const QCommandLineOption outOfStep("out-of-step",
                                       "Shift engine n by (n-1)/6 of a cycle during the warm-up, so that no two replies end "
                                       "together (the six start in step, where one wake serves several).");
    const QCommandLineOption screen("screen", "Size of the offscreen screen (default 1366x768).", "WxH", "1366x768");
    const QCommandLineOption rounds("rounds",
                                    "Run the pair N times, bare answer and station in turn, and print the medians "
                                    "too: the machine's drift reaches both sides of a round alike (default 1).",
                                    "N", "1");
    const QCommandLineOption callgrind(
        "callgrind",
        "Run the station under valgrind's callgrind and print the instructions it ran in the measured "
        "seconds: the same for the same work whatever else the machine does, where its CPU time is not. "
        "The station then runs many times slower, so its other figures say little; the warm-up is 30 s "
        "unless --warmup is given.");
    QCommandLineOption bare("bare-answer", "(internal) serve the devices given as a bare answer.");
    bare.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineOption bareTimes("bare-times", "(internal) where the bare answer writes its moments.", "FILE");
    bareTimes.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineOption hog("hog", "(internal) spin.");
    hog.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({seconds, warmup, load, station, noBare, graphs, scroll, noGraphs, loggerMs, noLogger, noHistorian,
                       noRecorder, plantBroker, noPlant, outOfStep, screen, rounds, callgrind, bare, bareTimes, hog});
    parser.process(app);

    if (parser.isSet(hog)) {
        std::atomic<unsigned long> spin = 0;
        for (;;)
            spin.fetch_add(1, std::memory_order_relaxed);
    }
    if (parser.isSet(bare)) {
        std::vector<std::string> devices;
        for (const QString& d : parser.positionalArguments())
            devices.push_back(d.toStdString());
        return bench::runBareAnswer(devices, parser.value(bareTimes).toStdString());
    }

    const int measured = std::max(1, parser.value(seconds).toInt());
    int warm = std::max(1, parser.value(warmup).toInt());
    if (parser.isSet(scroll) && !parser.isSet(warmup)) {
        // A graph is full after its width in columns; only then does a scroll move anything.
        const int fullS = (TrendGraphs::kWidth * parser.value(graphs).toInt() + 999) / 1000;
        warm = std::max(warm, fullS + 2);
    }
    // Under valgrind the station takes some twenty seconds to start and to catch up with its engines.
    const bool counting = parser.isSet(callgrind);
    if (counting && !parser.isSet(warmup))
        warm = std::max(warm, 30);
    if (counting && QStandardPaths::findExecutable(QStringLiteral("callgrind_control")).isEmpty()) {
        std::fprintf(stderr, "--callgrind: valgrind is not installed (sudo apt install valgrind)\n");
        return 2;
    }
    const int roundCount = std::max(1, parser.value(rounds).toInt());
    const QStringList screenSize = parser.value(screen).split(QLatin1Char('x'));
    if (screenSize.size() != 2 || screenSize[0].toInt() <= 0 || screenSize[1].toInt() <= 0) {
        std::fprintf(stderr, "--screen: WIDTHxHEIGHT, e.g. 1366x768\n");
        return 2;
    }

    QTemporaryDir dir(QDir::tempPath() + "/frame_cycle-XXXXXX");
    const QString ports = dir.filePath("ports");
    // Each round's station starts in a folder of its own, as the first did: the same settings, no
    // history, no recordings.
    QString folder;
    const QString settings = dir.filePath("settings");
    QDir().mkpath(settings);
    QStringList comx, devices;
    std::vector<QString> links;
    for (int n = 1; n <= 6; ++n) {
        comx << QStringLiteral("\"%1\"").arg(n) << QStringLiteral("\"1\"");
        devices << QStringLiteral("%1/COM%2").arg(ports).arg(n);
        links.push_back(devices.back());
    }
    for (int n = 7; n <= 14; ++n)
        devices << QString();
    writeLines(settings + "/ParamComx.ini", comx);
    writeLines(settings + "/ComDevices.ini", devices);
    {
        // The software settings: lines 19..24 say whether each engine's curve is drawn.
        QStringList software;
        for (int line = 1; line <= 18; ++line)
            software << QStringLiteral("1");
        for (int n = 1; n <= 6; ++n)
            software << (parser.isSet(noGraphs) ? QStringLiteral("0") : QStringLiteral("1"));
        software << QStringLiteral("0") << QStringLiteral("0") << QStringLiteral("1") << QStringLiteral("30");
        writeLines(settings + "/ParamLogStart.ini", software);
    }

    // Whatever ends the bench ends what it started: the destructors below run on the way out.
    TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::received, &app, [&app] { app.exit(3); });

    QProcess broker;
    QString brokerAddress = parser.value(plantBroker);
    if (!parser.isSet(noPlant) && brokerAddress.isEmpty()) {
        brokerAddress = startBroker(broker, dir.path());
        if (brokerAddress.isEmpty()) {
            std::fprintf(stderr, "could not start mosquitto on a loopback port (is it installed? --no-plant runs without)\n");
            return 1;
        }
    }

    sim::SimulatorOptions options;
    options.directory = ports;
    options.paced = true;
    sim::Simulator simulator(options);
    QString error;
    if (!simulator.start(&error)) {
        std::fprintf(stderr, "simulator: %s\n", qPrintable(error));
        return 1;
    }

    std::vector<std::unique_ptr<QProcess>> hogs;
    for (int i = 0; i < parser.value(load).toInt(); ++i) {
        hogs.push_back(std::make_unique<QProcess>());
        hogs.back()->start(app.applicationFilePath(), {QStringLiteral("--hog")});
        if (!hogs.back()->waitForStarted(5000)) {
            std::fprintf(stderr, "could not start a CPU hog\n");
            return 1;
        }
    }

    std::array<EngineFigures, 6> figures;
    QElapsedTimer steady; // when frames arrive
    steady.start();
    bool measuring = false;
    std::vector<StealSample> steal;
    QTimer stealSampler;
    stealSampler.setTimerType(Qt::PreciseTimer);
    QObject::connect(&stealSampler, &QTimer::timeout, &app, [&] {
        if (measuring)
            steal.push_back({steady.nsecsElapsed(), hostStealMs()});
    });
    stealSampler.start(kStealSampleMs);
    for (int n = 1; n <= 6; ++n) {
        auto& f = figures[static_cast<std::size_t>(n - 1)];
        QObject::connect(simulator.engine(n), &sim::SimulatedEngine::replySent, &app, [&f, &measuring] {
            f.replyEndNs = monotonicNs();
            if (measuring && f.sinceFrame.isValid())
                f.frameToReplyMs.push_back(static_cast<double>(f.sinceFrame.nsecsElapsed()) / 1e6);
            f.sinceFrame.invalidate();
            f.replyOut = true;
        });
        QObject::connect(simulator.engine(n), &sim::SimulatedEngine::frameApplied, &app, [&f, &measuring, &steady] {
            if (!measuring || !f.replyOut)
                return;
            const qint64 frameNs = monotonicNs();
            f.turnaroundMs.push_back(static_cast<double>(frameNs - f.replyEndNs) / 1e6);
            f.replyEndAndFrameNs.emplace_back(f.replyEndNs, frameNs);
            f.sinceFrame.start();
            f.replyOut = false;
            ++f.cycles;
            f.lastFrameNs = steady.nsecsElapsed();
            f.frameAtNs.push_back(f.lastFrameNs);
            if (f.cycles == 1)
                f.firstFrameNs = f.lastFrameNs;
        });
    }

    const double charMs = 1000.0 / sim::kCharactersPerSecond;
    const double limitMs = 160 * charMs + 30 + 34 * charMs;
    const bool logger = !parser.isSet(noLogger);
    const QString loggerInterval = parser.value(loggerMs);
    std::printf("frame_cycle: six paced simulated engines, %d s measured after %d s of warm-up, each run; %d round%s\n",
                measured, warm, roundCount, roundCount > 1 ? "s" : "");
    std::printf("station with: trend graphs %s; data logger %s; historian %s; recorder %s; plant publishing %s\n",
                parser.isSet(noGraphs) ? "hidden"
                                       : qPrintable("on its page at " + parser.value(graphs) + " ms a pixel" +
                                                    (parser.isSet(scroll) ? ", scrolling" : ", sweeping")),
                logger ? qPrintable("on all six engines, a row each " + loggerInterval + " ms") : "off",
                parser.isSet(noHistorian) ? "off" : "on", parser.isSet(noRecorder) ? "off" : "on",
                brokerAddress.isEmpty() ? "off" : qPrintable("to " + brokerAddress + (parser.isSet(plantBroker) ? "" : " (the bench's own Mosquitto)")));
    if (!hogs.empty())
        std::printf("load: %zu CPU hogs spinning beside the bench\n", hogs.size());
    if (parser.isSet(outOfStep))
        std::printf("engines out of step: engine n shifted by (n-1)/6 of a cycle before measuring\n");
    std::printf("line-rate limit: %.2f ms a cycle (160-char reply %.2f ms + 30 ms + 34-byte frame %.2f ms) = %.3f cycles/s\n",
                limitMs, 160 * charMs, 34 * charMs, 1000.0 / limitMs);
    std::fflush(stdout);

    // Both programs run the same way: started, warmed up, measured, ended.
    std::vector<Row> rows;
    QByteArray stationReport;
    // Under callgrind, the station's counts are set to zero as the measured seconds begin and written
    // to <folder>/callgrind.out.1 as they end.
    const auto callgrindControl = [](const char* what, qint64 pid) {
        QProcess control;
        control.setStandardOutputFile(QProcess::nullDevice());
        control.start(QStringLiteral("callgrind_control"), {QString::fromLatin1(what), QString::number(pid)});
        control.waitForFinished(10000);
    };
    WakeProbe probe;
    const auto measure = [&](const QString& name, QProcess& program, const std::function<void()>& done) {
        const bool counted = counting && name.startsWith(QLatin1String("station"));
        const qint64 pid = program.processId();
        auto cpu0 = std::make_shared<ThreadTimes>();
        auto wake0 = std::make_shared<long>(0);
        auto steal0 = std::make_shared<double>(0);
        auto window = std::make_shared<QElapsedTimer>();
        if (parser.isSet(outOfStep))
            QTimer::singleShot(warm * 500, &app, [&] {
                // A pause inside the next reply of each engine, of a sixth of a cycle more each.
                for (int n = 2; n <= 6; ++n)
                    simulator.engine(n)->stallNextReply(static_cast<int>((n - 1) * limitMs / 6), kReplyLength / 2);
            });
        QTimer::singleShot(warm * 1000, &app, [&, pid, cpu0, wake0, steal0, window, counted] {
            for (auto& f : figures) {
                f.turnaroundMs.clear();
                f.frameAtNs.clear();
                f.frameToReplyMs.clear();
                f.replyEndAndFrameNs.clear();
                f.cycles = 0;
                f.firstFrameNs = f.lastFrameNs = 0;
                f.replyOut = false;
            }
            measuring = true;
            steal.clear();
            *cpu0 = threadTimes(pid);
            *wake0 = wakeups(pid);
            *steal0 = hostStealMs();
            if (counted)
                callgrindControl("-z", pid);
            probe.start();
            window->start();
        });
        QTimer::singleShot((warm + measured) * 1000, &app, [&, name, pid, cpu0, wake0, steal0, window, done, counted] {
            measuring = false;
            const std::vector<double> probeLate = probe.stop(); // its last sleep ends within 30 ms
            if (counted)
                callgrindControl("-d", pid);
            const double elapsed = static_cast<double>(window->nsecsElapsed()) / 1e9;
            Row r;
            r.name = name;
            const ThreadTimes times = threadTimes(pid);
            r.cpuPercent = 100.0 * cpuSeconds(*cpu0, times) / elapsed;
            const long woke = wakeups(pid) - *wake0;
            r.stealMs = hostStealMs() - *steal0;
            r.waitedMs = static_cast<double>(times.mainWaitedNs - cpu0->mainWaitedNs) / 1e6;
            r.peakMb = static_cast<double>(statusField(QStringLiteral("/proc/%1/status").arg(pid), "VmHWM")) / 1024.0;
            std::vector<double> all;
            r.minEngineOfLimit = 1e9;
            for (const auto& f : figures) {
                all.insert(all.end(), f.turnaroundMs.begin(), f.turnaroundMs.end());
                r.simulatorShare.insert(r.simulatorShare.end(), f.frameToReplyMs.begin(), f.frameToReplyMs.end());
                r.minEngineOfLimit = std::min(r.minEngineOfLimit, f.rate() * limitMs / 1000.0);
                r.cyclesPerSecond += f.rate() / static_cast<double>(figures.size());
            }
            r.frames = all.size();
            r.ofLimit = r.cyclesPerSecond * limitMs / 1000.0;
            r.median = percentile(all, 0.5);
            r.p99 = percentile(all, 0.99);
            r.max = percentile(all, 1.0);
            r.wakeupsPerCycle = static_cast<double>(woke) / std::max<double>(1.0, static_cast<double>(all.size()));
            r.probeMedian = percentile(probeLate, 0.5);
            r.probeP99 = percentile(probeLate, 0.99);
            r.probeMax = percentile(probeLate, 1.0);
            countLate(r, figures);
            lookAtSteal(r, steal, figures);
            if (counted) {
                // The dump leaves with the bench's folder: a copy stays where the bench was started.
                const QString dump = folder + QStringLiteral("/callgrind.out.1");
                r.instructions = callgrindSummary(dump);
                const QString kept = QDir::current().filePath(
                    QStringLiteral("frame_cycle-%1.callgrind").arg(QString(name).replace(QLatin1Char(' '), QLatin1Char('-'))));
                QFile::remove(kept);
                if (r.instructions >= 0 && QFile::copy(dump, kept))
                    r.profile = kept;
            }
            rows.push_back(r);
            done();
        });
    };

    QProcess bareProcess;
    QProcess stationProcess;
    int round = 0;
    std::function<void()> runRound;
    const auto roundName = [&](const char* name) {
        return roundCount > 1 ? QStringLiteral("%1 %2").arg(QLatin1String(name)).arg(round + 1) : QString::fromLatin1(name);
    };
    const auto runStation = [&] {
        auto env = QProcessEnvironment::systemEnvironment();
        // The station lays its window out for the screen it finds; the offscreen platform's own is 800x600.
        const QString screenFile = dir.filePath("screen.json");
        writeLines(screenFile, {QStringLiteral("{\"screens\": [{\"name\": \"bench\", \"x\": 0, \"y\": 0, \"width\": %1, "
                                               "\"height\": %2, \"logicalDpi\": 96, \"logicalBaseDpi\": 96, \"dpr\": 1}]}")
                                    .arg(screenSize[0].toInt())
                                    .arg(screenSize[1].toInt())});
        env.insert("QT_QPA_PLATFORM", QStringLiteral("offscreen:configfile=") + screenFile);
        stationProcess.setProcessEnvironment(env);
        stationProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        folder = dir.filePath(QStringLiteral("station-%1").arg(round + 1));
        QDir().mkpath(folder);
        for (const QString& file : QDir(settings).entryList(QDir::Files))
            QFile::copy(settings + "/" + file, folder + "/" + file);
        QStringList args{"--folder", folder, "--link-stats", "--quit-after", QString::number(measured + warm + 2)};
        if (!parser.isSet(noGraphs))
            args << "--time-scale" << parser.value(graphs) << "--show-graphs";
        if (parser.isSet(scroll))
            args << "--scroll";
        if (logger)
            args << "--logger-tick" << loggerInterval;
        if (parser.isSet(noHistorian))
            args << "--no-historian";
        if (parser.isSet(noRecorder))
            args << "--no-recorder";
        if (!brokerAddress.isEmpty())
            args << "--plant-broker" << brokerAddress << "--plant-name" << "bench";
        if (counting)
            args = QStringList{QStringLiteral("--tool=callgrind"), QStringLiteral("--dump-instr=no"),
                               QStringLiteral("--callgrind-out-file=") + folder + QStringLiteral("/callgrind.out"),
                               parser.value(station)} + args;
        stationProcess.start(counting ? QStringLiteral("valgrind") : parser.value(station), args);
        if (!stationProcess.waitForStarted(10000)) {
            std::fprintf(stderr, "could not start the station %s\n", qPrintable(parser.value(station)));
            app.exit(1);
            return;
        }
        measure(roundName("station"), stationProcess, [&] {
            stationProcess.waitForFinished(15000);
            stationReport = stationProcess.readAllStandardOutput();
            readDeadlines(rows.back(), stationReport);
            if (!parser.isSet(noRecorder))
                splitTurnarounds(rows.back(), figures, recordedMoments(folder + "/Recorder"));
            if (++round < roundCount)
                runRound();
            else
                app.quit();
        });
    };
    runRound = [&] {
        if (parser.isSet(noBare)) {
            runStation();
            return;
        }
        const QString timesFile = dir.filePath(QStringLiteral("bare-%1.times").arg(round + 1));
        QStringList args{"--bare-answer", "--bare-times", timesFile};
        for (const QString& l : links)
            args << l;
        bareProcess.start(app.applicationFilePath(), args);
        if (!bareProcess.waitForStarted(5000)) {
            std::fprintf(stderr, "could not start the bare answer\n");
            app.exit(1);
            return;
        }
        measure(roundName("bare answer"), bareProcess, [&, timesFile] {
            stopProcess(bareProcess);
            readDeadlines(rows.back(), bareProcess.readAllStandardOutput());
            splitTurnarounds(rows.back(), figures, bareMoments(timesFile));
            runStation();
        });
    };
    runRound();
    const int status = app.exec();
    stopProcess(bareProcess);
    stopProcess(stationProcess);
    for (auto& h : hogs)
        stopProcess(*h);
    stopProcess(broker);
    if (status != 0 || rows.empty())
        return status != 0 ? status : 1;

    std::printf("\n%-14s %9s %9s %9s %9s %8s %8s %8s %8s %9s\n", "", "cycles/s", "of limit", "worst LE", "median ms",
                "p99 ms", "max ms", "CPU %", "peak MB", "wake/cyc");
    for (const Row& r : rows)
        printRow(r);
    std::vector<const Row*> bares, stations;
    for (const Row& r : rows)
        (r.name.startsWith(QLatin1String("bare")) ? bares : stations).push_back(&r);
    std::vector<Against> pairs;
    for (std::size_t i = 0; i < bares.size() && i < stations.size(); ++i)
        pairs.emplace_back(*bares[i], *stations[i]);
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i].print(roundCount > 1 ? qPrintable(QStringLiteral(" %1").arg(i + 1)) : "");
    if (roundCount > 1) {
        // The medians, and the median of the rounds' own ratios: the fairer figure when the machine
        // drifts, since both sides of one round ran within a minute of each other.
        std::printf("\nmedians of %d rounds:\n", roundCount);
        if (!bares.empty())
            printRow(medianRow(bares, QStringLiteral("bare answer")));
        printRow(medianRow(stations, QStringLiteral("station")));
        if (!pairs.empty())
            medianOf(pairs).print(", the median of the rounds'");
    }
    for (const Row& r : rows)
        std::printf("late frames with the %s (over its median + %.0f ms): %zu, in %d bursts; the widest held up %d engines at once\n",
                    qPrintable(r.name), kLateMs, r.lateFrames, r.lateBursts, r.widestBurst);
    // Whether the machine was quiet: a host that runs other machines on its CPUs (steal) holds up
    // every program of this one at once, and no program can answer while it is not run.
    for (const Row& r : rows)
        std::printf("machine with the %s: the host ran others for %.0f ms of the CPUs' %d s (steal), within %.1f s "
                    "before %d of its %d bursts and before %.0f %% of all moments; the thread that answers waited "
                    "%.1f ms for a CPU\n",
                    qPrintable(r.name), r.stealMs, measured * QThread::idealThreadCount(), kStealLookNs / 1e9,
                    r.burstsAfterSteal, r.lateBursts, 100.0 * r.momentsAfterSteal, r.waitedMs);
    // What the machine itself adds to a wake-up: the floor under every p99 and max above.
    for (const Row& r : rows)
        std::printf("machine's wake-ups with the %s: a thread of the bench sleeping 30 ms at a time woke late by "
                    "median %.3f ms, p99 %.3f ms, max %.3f ms\n",
                    qPrintable(r.name), r.probeMedian, r.probeP99, r.probeMax);
    // The same wake-ups as each program itself saw them, and where its turnaround went.
    for (const Row& r : rows)
        printOwnCounts(r);
    // The frames the host's steal did not reach, on each side and set against each other.
    for (const Row& r : rows)
        std::printf("frames with the %s after no steal for %.1f s: %zu of %zu; turnaround median %.2f ms, p99 %.2f ms, "
                    "max %.2f ms\n",
                    qPrintable(r.name), kStealLookNs / 1e9, r.quietFrames, r.frames, r.quietMedian, r.quietP99, r.quietMax);
    if (!pairs.empty()) {
        std::vector<double> p99, max, median;
        for (std::size_t i = 0; i < bares.size() && i < stations.size(); ++i) {
            p99.push_back(stations[i]->quietP99 - bares[i]->quietP99);
            max.push_back(stations[i]->quietMax - bares[i]->quietMax);
            median.push_back(stations[i]->quietMedian - bares[i]->quietMedian);
        }
        std::printf("station / bare on those frames%s: turnaround p99 %+.2f ms, max %+.2f ms, median %+.2f ms\n",
                    roundCount > 1 ? ", the median of the rounds'" : "", medianOf(p99), medianOf(max), medianOf(median));
    }
    for (const Row& r : rows)
        if (r.instructions >= 0)
            std::printf("%s under callgrind: %.1f M instructions in the measured %d s, %.2f M a second (all its "
                        "threads, in user space; its other figures are of a program many times slower)\n",
                        qPrintable(r.name), r.instructions / 1e6, measured, r.instructions / 1e6 / measured);
    for (const Row& r : rows)
        if (!r.profile.isEmpty())
            std::printf("%s's profile: %s (callgrind_annotate --inclusive=yes %s)\n", qPrintable(r.name),
                        qPrintable(r.profile), qPrintable(r.profile));
    // The simulator's share of a cycle, to tell its own timing from the programs'.
    for (const Row& r : rows)
        std::printf("simulator with the %s: frame to the end of the next reply mean %.2f ms, median %.2f ms, p99 %.2f ms "
                    "(line: %.2f ms)\n",
                    qPrintable(r.name), mean(r.simulatorShare), percentile(r.simulatorShare, 0.5),
                    percentile(r.simulatorShare, 0.99), 34 * charMs + 159 * charMs);
    // The station's own view: from a whole reply in its buffer to the frame's write.
    if (roundCount > 1)
        std::printf("the last round's station:\n");
    std::printf("%s", stationReport.constData());
    if (!parser.isSet(noRecorder)) {
        qint64 bytes = 0;
        for (const QFileInfo& f : QDir(folder + "/Recorder").entryInfoList(QDir::Files))
            bytes += f.size();
        std::printf("recorder files: %lld bytes over %d s, %.2f MB an hour\n", static_cast<long long>(bytes),
                    measured + warm, static_cast<double>(bytes) * 3600.0 / (measured + warm) / 1048576.0);
    }
    if (logger) {
        // Rows on disk, to show the logger kept up: header lines aside, one a tick.
        std::printf("logger rows:");
        for (int n = 1; n <= 6; ++n) {
            QFile f(QStringLiteral("%1/Datalogger/bench_LE%2.txt").arg(folder).arg(n));
            long count = 0;
            if (f.open(QIODevice::ReadOnly))
                count = static_cast<long>(f.readAll().count("\r\n")) - 4;
            std::printf(" LE%d %ld", n, count);
        }
        std::printf(" (%.0f ticks over the station's run)\n", (measured + warm + 2) * 1000.0 / loggerInterval.toDouble());
    }
    return 0;
}
