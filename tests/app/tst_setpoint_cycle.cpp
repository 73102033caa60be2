// Set-points end to end: the station against six simulated engines on pseudo-terminals.
#include "station/station.h"
#include "simulated_station.h"
#include "test_registry.h"
#include "test_support.h"

#include <QTest>

#include <memory>

using namespace tarvek;

namespace {
constexpr int kCycleWaitMs = 20'000;
int sent(const sim::FadecModel& m, int position) { return static_cast<unsigned char>(m.lastFrame().at(static_cast<std::size_t>(position))); }
} // namespace

class SetPointCycleTest : public QObject {
    Q_OBJECT
private slots:
    void setPointsAreStoredAtOnceAndTravelWhenTheyMay()
    {
        SimulatedEngines engines;
        QVERIFY(engines.start());
        engines.shortenStarts();
        ManualClock clock;
        Station station(engines.folder, QString(), clock);
        station.load();
        QTRY_COMPARE_WITH_TIMEOUT(station.discovery().filter("COM(i) = 1").size(), 6, kCycleWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(station.tables().at(1).everReported, kCycleWaitMs);
        sim::FadecModel& le2 = engines.model(2);

        // At rest: stored and filed at once, but position 4 keeps echoing what the FADEC reports.
        station.powerSetPoints().confirm({50, 120, 50, 50, 50, 50});
        QCOMPARE(station.tables().at(1).PowerSetPoint, 120);
        QCOMPARE(test::readBytes(station.files().pathOf("\\ConsignePW.ini")), QByteArray("50\r\n120\r\n50\r\n50\r\n50\r\n50\r\n"));
        const quint64 replies = station.link().repliesReceived(2);
        QTRY_VERIFY_WITH_TIMEOUT(station.link().repliesReceived(2) > replies + 5, kCycleWaitMs);
        QCOMPARE(sent(le2, pos::Power), 50);
        QCOMPARE(le2.power(), 50);

        // The motor speed goes with the next frame, whatever the phase.
        station.selectEngine(2);
        station.valueEntry().open(*station.powerSetPoints().motorSpeedEntry());
        QVERIFY(station.valueEntry().validate("3000"));
        QCOMPARE(station.tables().at(1).MotorSpeedSetPoint, 100);
        QTRY_COMPARE_WITH_TIMEOUT(le2.motorSetPoint(), 100, kCycleWaitMs);

        // Phase 5: the stored power goes out and the lamp takes it.
        station.engineOperation().press(2);
        QTRY_COMPARE_WITH_TIMEOUT(int(station.tables().at(1).Phase), 5, kCycleWaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(le2.power(), 120, kCycleWaitMs);
        QCOMPARE(sent(le2, pos::Power), 120);
        QCOMPARE(engines.model(1).power(), 50); // LE1 was never touched

        const QString history = QString::fromUtf8(test::readBytes(station.files().pathOf("\\Histo.txt")));
        QCOMPARE(history.count("    PWe LE 2 = 1200 We"), 1);
        QCOMPARE(history.count("    M speed LE 2 = 3000 rpm"), 1);
        QCOMPARE(history.count("PWe LE"), 1);
    }
};

TARVEK_TEST(SetPointCycleTest)
#include "tst_setpoint_cycle.moc"
