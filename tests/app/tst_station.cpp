#include "simulated_station.h"
#include "station/station.h"
#include "test_registry.h"
#include "test_support.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tarvek;
using tarvek::test::writeBytes;

namespace {
constexpr int kWaitMs = 10'000;
} // namespace

class StationTest : public QObject {
    Q_OBJECT
private slots:
    void startUpRunsItsStepsInOrder()
    {
        QTemporaryDir dir;
        writeBytes(dir.filePath("ConsignePW.ini"), "70\r\n 80\r\n140\r\n20\r\n50\r\n130\r\n");
        ManualClock clock;
        Station s(dir.path(), {}, clock);
        QStringList order;
        connect(&s, &Station::selectedCaptionChanged, this, [&](const QString& c) { order << "caption:" + c; });
        connect(&s, &Station::titleChanged, this, [&](const QString&) { order << "title"; });
        connect(&s, &Station::formSizeRequested, this, [&](int w, int h) { order << QString("size:%1x%2").arg(w).arg(h); });
        connect(&s, &Station::eventsCleared, this, [&] { order << "List4 cleared"; });
        connect(&s, &Station::softwareSettingsChanged, this, [&] { order << "settings"; });
        connect(&s, &Station::functionKeyMarkerChanged, this, [&](const QString& m) { order << "key:" + m; });
        connect(&s, &Station::powerSetPointsLoaded, this, [&] { order << "power"; });
        connect(&s, &Station::portsRequested, this, [&] {
            order << "ports";
            // The records have their initial values before the ports open.
            QCOMPARE(s.engineStatusText(5), QString("Status = 16"));
            QVERIFY(!s.displayTimer()->isActive());
        });
        connect(&s, &Station::startupFinished, this, [&] { order << "done"; });

        QVERIFY(s.title().endsWith(" 1.08G)")); // a window made before the start-up shows it too
        auto* timer1 = s.findChild<QTimer*>("Timer1");
        QVERIFY(timer1);
        QVERIFY(!timer1->isActive());
        s.load();
        QVERIFY(timer1->isActive());
        QVERIFY(timer1->isSingleShot());
        QVERIFY(QDir(dir.filePath("Img")).exists());
        QVERIFY(QDir(dir.filePath("Datalogger")).exists());
        QVERIFY(!QFile::exists(dir.filePath("NS.ini"))); // files wait for the first tick
        QTRY_VERIFY_WITH_TIMEOUT(s.startedUp(), kWaitMs);

        QCOMPARE(order, (QStringList{"caption:Selected LE = ", "title", "size:12900x10920", "List4 cleared",
                                     "settings", "caption:Selected LE = ?", "key:F1", "power", "ports",
                                     "done"}));
        for (const auto& file : SettingsFiles::index())
            if (file.createdAtStart)
                QVERIFY2(QFile::exists(s.files().pathOf(file.name)), qPrintable(file.name));
        QVERIFY(!QFile::exists(s.files().pathOf(SoftwareSettings::kFileName)));
        const std::array<int, 6> power{70, 80, 130, 30, 50, 130}; // kept within 30..130
        for (int i = 0; i < kEngines; ++i)
            QCOMPARE(int(s.tables().at(i).PowerSetPoint), power[static_cast<std::size_t>(i)]);
        QVERIFY(s.displayTimer()->isActive());
        QCOMPARE(s.mode(), OperatingMode::NotLoggedIn);
        QVERIFY(!timer1->isActive());
    }

    // A settings file that cannot be read or replaced is told once, on the status line and in
    // List4, however often the station uses it; the station goes on with what it holds.
    void settingsFaultsAreToldOnceInTheEventList()
    {
        QTemporaryDir dir;
        QVERIFY(QDir().mkpath(dir.filePath("ConsignePW.ini")));
        QVERIFY(QDir().mkpath(dir.filePath("ParamLogStart.ini")));
        ManualClock clock;
        Station s(dir.path(), {}, clock);
        QSignalSpy status(&s, &Station::statusText);
        QVERIFY(loadAndStart(s));
        for (int i = 0; i < 3; ++i)
            QVERIFY(!s.setSoftwareSettings(s.software(), true));
        QStringList faults = s.events().filter("ConsignePW.ini");
        QCOMPARE(faults.size(), 1);
        QVERIFY2(faults[0].contains("Cannot read ") && faults[0].startsWith(clock.dateText()), qPrintable(faults[0]));
        faults = s.events().filter("ParamLogStart.ini"); // read at start-up, saved three times
        QCOMPARE(faults.size(), 2);
        QVERIFY2(faults[0].contains("Cannot read ") && faults[1].contains("Cannot write "), qPrintable(faults.join('\n')));
        int told = 0;
        for (const auto& args : status)
            told += args.first().toString().contains(".ini") ? 1 : 0;
        QCOMPARE(told, 3);
        QCOMPARE(s.tables().at(0).PowerSetPoint, 50);
    }
};

TARVEK_TEST(StationTest)
#include "tst_station.moc"
