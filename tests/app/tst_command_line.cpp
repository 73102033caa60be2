// The station program's command line, run without any display: help, version and usage errors
// must not need a window system.
#include "test_registry.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

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
    }
};

TARVEK_TEST(CommandLineTest)
#include "tst_command_line.moc"
