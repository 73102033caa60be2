// The station program's command line, run without any display: help, version and usage errors
// must not need a window system.
#include "simulated_station.h"
#include "test_registry.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

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
    }
    void answeredWithoutADisplay()
    {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        QFETCH(QString, err);
        QTemporaryDir dir;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            env.remove(name);
        QFile damaged(dir.filePath("Name.inc"));
        QVERIFY(damaged.open(QIODevice::WriteOnly) && damaged.write("\x01\xfe\x02") == 3);
        damaged.close();
        QProcess station;
        station.setProcessEnvironment(env);
        station.start(TARVEK_BINARY_DIR "/src/app/tarvek-station", QStringList{"--folder", dir.path()} + args);
        QVERIFY(station.waitForFinished(30'000));
        const QString stdOut = QString::fromLocal8Bit(station.readAllStandardOutput());
        const QString stdErr = QString::fromLocal8Bit(station.readAllStandardError());
        QCOMPARE(station.exitStatus(), QProcess::NormalExit);
        QVERIFY2(station.exitCode() == exitCode, qPrintable(stdErr));
        QVERIFY2(stdOut.contains(out), qPrintable(stdOut));
        QVERIFY2(stdErr.contains(err), qPrintable(stdErr));
        if (args == QStringList{"--reset-passwords"}) {
            QVERIFY(damaged.open(QIODevice::ReadOnly));
            QCOMPARE(damaged.readAll(), QByteArray("\"harvests\"\r\n\"dolphin\"\r\n"));
            QCOMPARE(QDir(dir.path()).entryList({"Name.inc.damaged-*"}).size(), 1);
        }
    }

    // SIGTERM ends the station as Quit does: every port closed with its lock file, the link
    // figures printed, a normal exit.
    void sigtermEndsInOrder()
    {
        SimulatedEngines engines;
        QVERIFY(engines.start());
        QProcess station;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        station.setProcessEnvironment(env);
        station.start(TARVEK_BINARY_DIR "/src/app/tarvek-station", {"--folder", engines.folder, "--link-stats"});
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
    }
};

TARVEK_TEST(CommandLineTest)
#include "tst_command_line.moc"
