// The station program's command line, run without any display: help, version and usage errors
// must not need a window system.
#include "recording/data_logger.h"
#include "pty_peer.h"
#include "simulated_station.h"
#include "test_registry.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using tarvek::test::readBytes;

namespace {
// The serial-port lock files a process holds: those naming its id (the machine is shared).
QStringList lockFilesOf(qint64 pid)
{
    QStringList found;
    for (const char* folder : {"/var/lock", "/run/lock", "/tmp"})
        for (const QString& name : QDir(folder).entryList({"LCK..*"}, QDir::Files)) {
            const QString path = QDir(folder).canonicalPath() + '/' + name;
            if (!found.contains(path) && readBytes(path).split('\n').first().trimmed().toLongLong() == pid)
                found << path;
        }
    return found;
}
} // namespace

class CommandLineTest : public QObject {
    Q_OBJECT
private slots:
    void answeredWithoutADisplay_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err");
        const QString tryHelp = "Try 'tarvek-station --help'";
        QTest::newRow("help") << QStringList{"--help"} << 0 << "--screenshot-form <NAME>" << "";
        QTest::newRow("version") << QStringList{"--version"} << 0 << "tarvek-station 1.08G" << "";
        QTest::newRow("unknown option") << QStringList{"--bogus"} << 64 << "" << "Unknown option 'bogus'";
        QTest::newRow("unknown option, help pointer") << QStringList{"--bogus"} << 64 << "" << tryHelp;
        QTest::newRow("value missing") << QStringList{"--folder"} << 64 << "" << "Missing value after '--folder'";
        QTest::newRow("bad form") << QStringList{"--screenshot-form", "Nope"} << 64 << "" << "not Nope";
        QTest::newRow("bad time") << QStringList{"--quit-after", "soon"} << 64 << "" << tryHelp;
        QTest::newRow("logger tick too short") << QStringList{"--logger-tick", "5"} << 64 << "" << "--logger-tick: 10 to 60000 ms, not 5";
        QTest::newRow("quit beyond a timer") << QStringList{"--quit-after", "3e6"} << 64 << "" << "from 0 to 2147483";
        QTest::newRow("stray argument") << QStringList{"extra"} << 64 << "" << "not extra";
        QTest::newRow("Qt's own option and its value") << QStringList{"-platform", "offscreen", "--logger-tick", "5"} << 64 << "" << "--logger-tick: 10 to 60000 ms, not 5";
        // The administrator's way back in, with no screen: the damaged file is kept beside the new one.
        QTest::newRow("reset passwords") << QStringList{"--reset-passwords"} << 0 << "the old one is kept as" << "";
        QTest::newRow("export, bad engine") << QStringList{"--export-history", "x.csv", "--engine", "7", "--from", "2026-11-23 09:00", "--to", "2026-11-23 10:00"} << 64 << "" << "--engine: 1 to 6, not 7";
        QTest::newRow("export, bad range") << QStringList{"--export-history", "x.csv", "--engine", "1", "--from", "2026-11-23", "--to", "2026-11-23 10:00"} << 64 << "" << "YYYY-MM-DD hh:mm";
        QTest::newRow("export, range backwards") << QStringList{"--export-history", "x.csv", "--engine", "1", "--from", "2026-11-23 11:00", "--to", "2026-11-23 10:00"} << 64 << "" << "--to must come after --from";
        QTest::newRow("export, nothing recorded") << QStringList{"--export-history", "x.csv", "--engine", "1", "--from", "2026-11-23 09:00", "--to", "2026-11-23 10:00"} << 1 << "" << "cannot read the history";
        QTest::newRow("plant name with a level") << QStringList{"--plant-name", "hall/2"} << 64 << "" << "holds '/'";
        QTest::newRow("plant name with a blank") << QStringList{"--plant-name", "hall 2"} << 64 << "" << "holds 'a blank'";
        QTest::newRow("plant broker without port") << QStringList{"--plant-broker", "hall"} << 64 << "" << "HOST:PORT, not hall";
        QTest::newRow("bad com") << QStringList{"--com", "15=/dev/x"} << 64 << "" << "not 15=/dev/x";
        QTest::newRow("replay of nothing") << QStringList{"--replay", "/nonexistent/rec"} << 64 << "" << "--replay: no file or folder /nonexistent/rec";
        QTest::newRow("replay too fast") << QStringList{"--replay", "/", "--speed", "61"} << 64 << "" << "--speed: 1 to 60, not 61";
        QTest::newRow("replay from no time") << QStringList{"--replay", "/", "--from", "tonight"} << 64 << "" << "not \"tonight\"";
        QTest::newRow("speed without replay") << QStringList{"--speed", "2"} << 64 << "" << "go with --replay";
        QTest::newRow("bad picture mode") << QStringList{"--screenshot", "x.png", "--screenshot-mode", "admin"} << 64 << "" << "user or service, not admin";
        QTest::newRow("bad picture start") << QStringList{"--screenshot", "x.png", "--screenshot-start", "1,7"} << 64 << "" << "engines 1 to 6 separated by commas, not 1,7";
        QTest::newRow("picture start without picture") << QStringList{"--screenshot-start", "2"} << 64 << "" << "--screenshot-start goes with --screenshot FILE";
    }
    void answeredWithoutADisplay()
    {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        QFETCH(QString, err);
        QTemporaryDir dir;
        QFile damaged(dir.filePath("Name.inc"));
        QVERIFY(damaged.open(QIODevice::WriteOnly) && damaged.write("\x01\xfe\x02") == 3);
        damaged.close();
        const ProgramRun run = runStationProgram(QStringList{"--folder", dir.path()} + args);
        QVERIFY2(run.exitCode == exitCode, qPrintable(run.err));
        QVERIFY2(run.out.contains(out), qPrintable(run.out));
        QVERIFY2(run.err.contains(err), qPrintable(run.err));
        if (args == QStringList{"--reset-passwords"}) {
            QVERIFY(damaged.open(QIODevice::ReadOnly));
            QCOMPARE(damaged.readAll(), QByteArray("\"harvests\"\r\n\"dolphin\"\r\n"));
            QCOMPARE(QDir(dir.path()).entryList({"Name.inc.damaged-*"}).size(), 1);
        }
    }

    // --check-ports names, per port, what keeps its device from carrying it, in the words the port
    // form uses (each kind of refusal is walked there).
    void checkPortsTellsWhyADeviceCannotServe()
    {
        QTemporaryDir dir;
        PtyPeer free(false);
        QVERIFY(!free.device().isEmpty());
        const QStringList devices{dir.filePath("gone"), "/dev/null", free.device()};
        QByteArray comx, map;
        for (int n = 1; n <= 6; ++n) {
            comx += QString("\"%1\"\r\n\"%2\"\r\n").arg(n).arg(n <= 3 ? 1 : 0).toLatin1();
            map += devices.value(n - 1).toLocal8Bit() + "\r\n";
        }
        tarvek::test::writeBytes(dir.filePath("ParamComx.ini"), comx);
        tarvek::test::writeBytes(dir.filePath("ComDevices.ini"), map);
        const ProgramRun checked = runStationProgram({"--folder", dir.path(), "--check-ports"});
        QCOMPARE(checked.exitCode, 1);
        const QStringList expected{"LE1  COM1  " + devices[0] + "  missing: " + devices[0] + " does not exist",
                                   "LE2  COM2  /dev/null  refused: /dev/null is not a serial port (",
                                   "LE3  COM3  " + free.device() + "  can be opened"};
        for (const QString& line : expected)
            QVERIFY2(checked.out.contains(line), qPrintable(checked.out));

        // A device this user may not open: root takes another user's place, anyone else locks
        // their own terminal.
        QStringList asUser;
        if (::geteuid() == 0) {
            QVERIFY(QFile::setPermissions(dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                          QFileDevice::ExeOwner | QFileDevice::ReadOther |
                                                          QFileDevice::ExeOther));
            asUser = QStringList{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        } else {
            QCOMPARE(::chmod(QFile::encodeName(free.device()).constData(), 0), 0);
        }
        const ProgramRun refused = runStationProgram({"--folder", dir.path(), "--check-ports"}, asUser);
        QCOMPARE(refused.exitCode, 1);
        const QString line = "LE3  COM3  " + free.device() + "  refused by the system: no permission to open " +
                             free.device() + ": the user ";
        QVERIFY2(refused.out.contains(line) && refused.out.contains("must be in the group "), qPrintable(refused.out));
    }

    // SIGTERM ends the station as Quit does: every port closed with its lock file, the link
    // figures printed, a normal exit. The data logger it ran goes on at the next start under one
    // new header pair.
    void sigtermEndsInOrder()
    {
        SimulatedEngines engines;
        QVERIFY(engines.start());
        QProcess station;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        station.setProcessEnvironment(env);
        const QStringList logger{"--folder", engines.folder, "--logger-tick", "100"};
        station.start(TARVEK_BINARY_DIR "/src/app/tarvek-station", logger + QStringList{"--link-stats"});
        QVERIFY(station.waitForStarted(30'000));
        const qint64 pid = station.processId();
        QTRY_COMPARE_WITH_TIMEOUT(lockFilesOf(pid).size(), 6, 30'000);
        station.terminate();
        QVERIFY(station.waitForFinished(30'000));
        QCOMPARE(station.exitStatus(), QProcess::NormalExit);
        QCOMPARE(station.exitCode(), 0);
        const QString out = QString::fromLocal8Bit(station.readAllStandardOutput());
        QVERIFY2(out.contains("link COM6 - frames "), qPrintable(out));
        QCOMPARE(lockFilesOf(pid), QStringList{});
        QCOMPARE(readBytes(engines.folder + "/Histo.txt").count("Station ended (SIGTERM): no engine running"), 1);

        station.start(TARVEK_BINARY_DIR "/src/app/tarvek-station", logger + QStringList{"--quit-after", "2"});
        QVERIFY(station.waitForFinished(30'000));
        const QByteArray names = tarvek::DataLogger::header(false, {true, true, true, true, true, true, true, true}).split('\n').at(1);
        QCOMPARE(readBytes(engines.folder + "/Datalogger/bench_LE1.txt").count(names), 2);
    }
};

TARVEK_TEST(CommandLineTest)
#include "tst_command_line.moc"
