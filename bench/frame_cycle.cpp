// Runs the station program against six paced simulated engines and prints, per engine, the cycle
// rate against the line-rate limit and the reply-to-frame turnaround seen by the simulator, then
// the station's CPU share and peak resident memory.
//   frame_cycle [--seconds 60] [--warmup 5] [--station PROGRAM] [--graphs MS | --no-graphs]
//               [--logger [--logger-ms 100]] [--screen 1366x768] [--no-historian]
//               [--plant-broker HOST:PORT]
// --screen is the size of the offscreen screen the station lays its window out on (default 1366x768,
// the screen it is made for; a smaller one makes its pages scroll).
// --plant-broker has the station publish its engines to that MQTT broker as "bench" (live, or a
// port where none listens, to see what a dead broker costs).
// --station runs another build of the station program (an earlier one, to compare).
// --graphs runs the station on its graph page with all six curves at MS ms a pixel; --no-graphs
// hides every curve, so the two runs show what the graphs cost.
// --logger has the station's data logger write a row for every engine, every column, at each of
// its ticks, every --logger-ms ms (a minute is the shortest interval an operator can choose), so
// the run can be set beside one without it.
// --no-historian runs the station without its historian (it records by default), to compare.
// --no-recorder runs it without the recorder of the links' bytes (on by default), to compare; with
// the recorder on, the size of its files is printed at the end.
#include "sim/simulated_engine.h"
#include "sim/simulator.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <unistd.h>
#include <vector>

using namespace tarvek;

namespace {
struct EngineFigures {
    QElapsedTimer sinceReply;
    bool replyOut = false;
    std::vector<double> turnaroundMs;
    std::vector<double> frameToReplyMs; // the frame's line time, then the whole next reply
    QElapsedTimer sinceFrame;
    int cycles = 0;
};

bool cpuTicks(qint64 pid, long long& ticks)
{
    QFile f(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = f.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 13)
        return false;
    ticks = fields[11].toLongLong() + fields[12].toLongLong(); // utime + stime
    return true;
}

// A field of /proc/<pid>/status such as "VmHWM" (kB) or "voluntary_ctxt_switches".
long statusField(qint64 pid, const QByteArray& name)
{
    QFile f(QStringLiteral("/proc/%1/status").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : f.readAll().split('\n'))
        if (line.startsWith(name + ':'))
            return line.mid(name.size() + 1).trimmed().split(' ').first().toLong();
    return -1;
}

double percentile(std::vector<double> v, double p)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    const auto i = static_cast<std::size_t>(p * static_cast<double>(v.size() - 1) + 0.5);
    return v[std::min(i, v.size() - 1)];
}

void writeLines(const QString& path, const QStringList& lines)
{
    QFile f(path);
    if (f.open(QIODevice::WriteOnly))
        for (const QString& l : lines)
            f.write(l.toLatin1() + "\r\n");
}
} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_NO_GLIB", "1"); // the simulator side times its lines as precisely as the station
    QCoreApplication app(argc, argv);
    int seconds = 60;
    int warmup = 5;
    QString program = QStringLiteral(TARVEK_STATION_BIN);
    QString graphsMs;
    int loggerMs = 100;
    QStringList screenSize{QStringLiteral("1366"), QStringLiteral("768")};
    const QStringList args = app.arguments();
    const bool noGraphs = args.contains(QStringLiteral("--no-graphs"));
    QString plantBroker;
    const bool logger = args.contains(QStringLiteral("--logger"));
    const bool noHistorian = args.contains(QStringLiteral("--no-historian"));
    const bool noRecorder = args.contains(QStringLiteral("--no-recorder"));
    for (int i = 1; i + 1 < args.size(); ++i) {
        if (args[i] == "--graphs")
            graphsMs = args[i + 1];
        if (args[i] == "--plant-broker")
            plantBroker = args[i + 1];
        if (args[i] == "--seconds")
            seconds = args[i + 1].toInt();
        if (args[i] == "--warmup")
            warmup = args[i + 1].toInt();
        if (args[i] == "--station")
            program = args[i + 1];
        if (args[i] == "--logger-ms")
            loggerMs = args[i + 1].toInt();
        if (args[i] == "--screen")
            screenSize = args[i + 1].split(QLatin1Char('x'));
    }
    if (screenSize.size() != 2) {
        std::fprintf(stderr, "--screen: WIDTHxHEIGHT\n");
        return 2;
    }

    QTemporaryDir dir;
    const QString ports = dir.filePath("ports");
    const QString station = dir.filePath("station");
    QDir().mkpath(station);
    QStringList comx, devices;
    for (int n = 1; n <= 6; ++n) {
        comx << QStringLiteral("\"%1\"").arg(n) << QStringLiteral("\"1\"");
        devices << QStringLiteral("%1/COM%2").arg(ports).arg(n);
    }
    for (int n = 7; n <= 14; ++n)
        devices << QString();
    writeLines(station + "/ParamComx.ini", comx);
    writeLines(station + "/ComDevices.ini", devices);
    if (noGraphs || !graphsMs.isEmpty()) {
        // The software settings: lines 19..24 say whether each engine's curve is drawn.
        QStringList software;
        for (int line = 1; line <= 18; ++line)
            software << QStringLiteral("1");
        for (int n = 1; n <= 6; ++n)
            software << (noGraphs ? QStringLiteral("0") : QStringLiteral("1"));
        software << QStringLiteral("0") << QStringLiteral("0") << QStringLiteral("1") << QStringLiteral("30");
        writeLines(station + "/ParamLogStart.ini", software);
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

    std::array<EngineFigures, 6> figures;
    bool measuring = false;
    for (int n = 1; n <= 6; ++n) {
        auto& f = figures[static_cast<std::size_t>(n - 1)];
        QObject::connect(simulator.engine(n), &sim::SimulatedEngine::replySent, &app, [&f, &measuring] {
            if (measuring && f.sinceFrame.isValid())
                f.frameToReplyMs.push_back(static_cast<double>(f.sinceFrame.nsecsElapsed()) / 1e6);
            f.sinceFrame.invalidate();
            f.sinceReply.start();
            f.replyOut = true;
        });
        QObject::connect(simulator.engine(n), &sim::SimulatedEngine::frameApplied, &app, [&f, &measuring] {
            if (!measuring || !f.replyOut)
                return;
            f.turnaroundMs.push_back(static_cast<double>(f.sinceReply.nsecsElapsed()) / 1e6);
            f.sinceFrame.start();
            f.replyOut = false;
            ++f.cycles;
        });
    }

    QProcess stationProcess;
    auto env = QProcessEnvironment::systemEnvironment();
    // The station lays its window out for the screen it finds; the offscreen platform's own is 800x600.
    const QString screen = dir.filePath("screen.json");
    writeLines(screen, {QStringLiteral("{\"screens\": [{\"name\": \"bench\", \"x\": 0, \"y\": 0, \"width\": %1, "
                                       "\"height\": %2, \"logicalDpi\": 96, \"logicalBaseDpi\": 96, \"dpr\": 1}]}")
                            .arg(screenSize[0].toInt())
                            .arg(screenSize[1].toInt())});
    std::printf("screen: %dx%d\n", screenSize[0].toInt(), screenSize[1].toInt());
    env.insert("QT_QPA_PLATFORM", QStringLiteral("offscreen:configfile=") + screen);
    stationProcess.setProcessEnvironment(env);
    stationProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QStringList stationArgs{"--folder", station, "--link-stats", "--quit-after", QString::number(seconds + warmup + 2)};
    if (!graphsMs.isEmpty())
        stationArgs << "--time-scale" << graphsMs << "--show-graphs";
    if (logger)
        stationArgs << "--logger-tick" << QString::number(loggerMs);
    if (noHistorian)
        stationArgs << "--no-historian";
    std::printf("historian: %s\n", noHistorian ? "off" : "on");
    if (noRecorder)
        stationArgs << "--no-recorder";
    std::printf("recorder: %s\n", noRecorder ? "off" : "on");
    if (!plantBroker.isEmpty())
        stationArgs << "--plant-broker" << plantBroker << "--plant-name" << "bench";
    std::printf("plant publishing: %s\n", plantBroker.isEmpty() ? "off" : qPrintable("to " + plantBroker));
    std::printf("data logger: %s\n", logger ? qPrintable(QStringLiteral("every engine, every column, a row each %1 ms").arg(loggerMs))
                                              : "off");
    std::printf("trend graphs: %s\n", noGraphs ? "none" : graphsMs.isEmpty() ? "default" : qPrintable(graphsMs + " ms/pixel, all six shown"));
    stationProcess.start(program, stationArgs);
    if (!stationProcess.waitForStarted(10000)) {
        std::fprintf(stderr, "could not start the station\n");
        return 1;
    }
    const qint64 pid = stationProcess.processId();

    long long ticksAtStart = 0;
    long wakeupsAtStart = 0;
    QElapsedTimer window;
    QTimer::singleShot(warmup * 1000, &app, [&] {
        measuring = true;
        cpuTicks(pid, ticksAtStart);
        wakeupsAtStart = statusField(pid, "voluntary_ctxt_switches");
        window.start();
    });
    QTimer::singleShot((warmup + seconds) * 1000, &app, [&] {
        measuring = false;
        long long ticksAtEnd = 0;
        cpuTicks(pid, ticksAtEnd);
        const long wakeups = statusField(pid, "voluntary_ctxt_switches") - wakeupsAtStart;
        const double elapsed = static_cast<double>(window.nsecsElapsed()) / 1e9;
        const long peak = statusField(pid, "VmHWM");
        const double tick = static_cast<double>(sysconf(_SC_CLK_TCK));
        const double charMs = 1000.0 / sim::kCharactersPerSecond;
        const double limitMs = 160 * charMs + 30 + 34 * charMs;
        std::printf("Line-rate limit: %.2f ms a cycle (160-char reply %.2f ms + 30 ms + 34-byte frame %.2f ms) = %.3f cycles/s\n",
                    limitMs, 160 * charMs, 34 * charMs, 1000.0 / limitMs);
        std::printf("%-4s %10s %10s %10s %10s %10s\n", "LE", "cycles/s", "of limit", "median ms", "p99 ms", "max ms");
        std::vector<double> all, rest;
        for (int n = 1; n <= 6; ++n) {
            const auto& f = figures[static_cast<std::size_t>(n - 1)];
            const double rate = f.cycles / elapsed;
            std::printf("LE%-2d %10.3f %9.1f%% %10.2f %10.2f %10.2f\n", n, rate, 100.0 * rate * limitMs / 1000.0,
                        percentile(f.turnaroundMs, 0.5), percentile(f.turnaroundMs, 0.99), percentile(f.turnaroundMs, 1.0));
            all.insert(all.end(), f.turnaroundMs.begin(), f.turnaroundMs.end());
            rest.insert(rest.end(), f.frameToReplyMs.begin(), f.frameToReplyMs.end());
        }
        // The simulator's share of a cycle, to tell its own timing from the station's.
        std::printf("frame to the end of the next reply: median %.2f ms, p99 %.2f ms (line: %.2f ms)\n",
                    percentile(rest, 0.5), percentile(rest, 0.99), 34 * charMs + 159 * charMs);
        std::printf("all  turnaround min %.2f ms, median %.2f ms, p99 %.2f ms, max %.2f ms over %zu frames\n",
                    percentile(all, 0.0), percentile(all, 0.5), percentile(all, 0.99), percentile(all, 1.0), all.size());
        std::printf("station CPU: %.2f %% of one core over %.1f s; peak resident memory: %.1f MB\n",
                    100.0 * static_cast<double>(ticksAtEnd - ticksAtStart) / tick / elapsed, elapsed,
                    static_cast<double>(peak) / 1024.0);
        // Each time the station sleeps and is woken costs a poll and a switch: the bulk of its CPU.
        std::printf("station wakeups: %.0f a second (%.1f a cycle of one engine)\n", static_cast<double>(wakeups) / elapsed,
                    static_cast<double>(wakeups) / std::max(1.0, static_cast<double>(all.size())));
        // The station's own view: from a whole reply in its buffer to the frame's write.
        stationProcess.waitForFinished(15000);
        std::printf("%s", stationProcess.readAllStandardOutput().constData());
        if (!noRecorder) {
            qint64 bytes = 0;
            for (const QFileInfo& f : QDir(station + "/Recorder").entryInfoList(QDir::Files))
                bytes += f.size();
            std::printf("recorder files: %lld bytes over %d s, %.2f MB an hour\n", static_cast<long long>(bytes),
                        seconds + warmup, static_cast<double>(bytes) * 3600.0 / (seconds + warmup) / 1048576.0);
        }
        if (logger) {
            // Rows on disk, to show the logger kept up: header lines aside, one a tick.
            std::printf("logger rows:");
            for (int n = 1; n <= 6; ++n) {
                QFile f(QStringLiteral("%1/Datalogger/bench_LE%2.txt").arg(station).arg(n));
                long rows = 0;
                if (f.open(QIODevice::ReadOnly))
                    rows = static_cast<long>(f.readAll().count("\r\n")) - 4;
                std::printf(" LE%d %ld", n, rows);
            }
            std::printf(" (%.0f ticks expected over the whole run)\n", (seconds + warmup + 2) * 1000.0 / loggerMs);
        }
        app.quit();
    });
    return app.exec();
}
