#pragma once
// A station folder whose COM1..COM6 are six simulated engines on pseudo-terminals, all enabled.
#include "sim/simulator.h"
#include "station/station.h"
#include "test_support.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

struct SimulatedEngines {
    QTemporaryDir dir;
    std::unique_ptr<tarvek::sim::Simulator> simulator;
    QString folder; // the station folder

    bool start(bool paced = false)
    {
        tarvek::sim::SimulatorOptions options;
        options.directory = dir.filePath("ports");
        options.paced = paced;
        simulator = std::make_unique<tarvek::sim::Simulator>(options);
        if (!simulator->start())
            return false;
        folder = dir.filePath("station");
        QDir().mkpath(folder);
        QByteArray comx, devices;
        for (int n = 1; n <= 6; ++n) {
            comx += QStringLiteral("\"%1\"\r\n\"1\"\r\n").arg(n).toLatin1();
            devices += QStringLiteral("%1/COM%2\r\n").arg(options.directory).arg(n).toLatin1();
        }
        tarvek::test::writeBytes(folder + "/ParamComx.ini", comx);
        tarvek::test::writeBytes(folder + "/ComDevices.ini", devices);
        return true;
    }
    tarvek::sim::FadecModel& model(int engine) { return simulator->engine(engine)->model(); }
    // Phases 1..3 last a tenth of a second each: a start reaches phase 5 in about 1.3 s.
    void shortenStarts()
    {
        tarvek::Registers fast = tarvek::defaultRegisters();
        fast[18] = fast[19] = fast[20] = 1;
        for (int n = 1; n <= 6; ++n)
            model(n).setRegisters(fast);
    }
};

// Loads a station and waits, a minute at most, until its start-up has finished.
inline bool loadAndStart(tarvek::Station& station)
{
    station.load();
    return QTest::qWaitFor([&station] { return station.startedUp(); }, 60'000);
}

// The station on those engines, made but not yet loaded.
struct EngineStation {
    SimulatedEngines engines;
    tarvek::ManualClock clock;
    std::unique_ptr<tarvek::Station> station;

    explicit EngineStation(bool paced = false)
    {
        if (!engines.start(paced))
            qFatal("simulator did not start");
        station = std::make_unique<tarvek::Station>(engines.folder, QString(), clock);
    }
    // Loaded and started up with every port confirmed and none dropped, every engine heard, so
    // nothing but the test changes the link.
    bool ready()
    {
        station->load();
        return QTest::qWaitFor([this] {
            bool all = station->discovery().filter("COM(i) = 1").size() == 6;
            for (int k = 0; k < 6; ++k)
                all = all && station->tables().at(k).everReported;
            return all;
        }, 20'000) && station->discovery().filter("Cancelled").isEmpty() && station->link().connected();
    }
};

// The station program run on `args` without a window system, through the command `asUser` when
// given. Its exit code is -1 when it did not end normally within 30 s.
struct ProgramRun {
    int exitCode = -1;
    QString out, err;
};
inline ProgramRun runStationProgram(const QStringList& args, const QStringList& asUser = {})
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        env.remove(name);
    QProcess p;
    p.setProcessEnvironment(env);
    const QString program = TARVEK_BINARY_DIR "/src/app/tarvek-station";
    if (asUser.isEmpty())
        p.start(program, args);
    else
        p.start(asUser.first(), asUser.mid(1) + QStringList{"--", program} + args);
    if (!p.waitForFinished(30'000) || p.exitStatus() != QProcess::NormalExit)
        return {};
    return {p.exitCode(), QString::fromLocal8Bit(p.readAllStandardOutput()), QString::fromLocal8Bit(p.readAllStandardError())};
}
