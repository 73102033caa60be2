// The whole station, from its start-up, against six simulated engines on pseudo-terminals.
#include "station/station.h"
#include "simulated_station.h"
#include "sim/simulated_engine.h"
#include "sim/simulator.h"
#include "test_registry.h"
#include "test_support.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace tarvek;

namespace {
struct StationRig {
    SimulatedEngines engines;
    ManualClock clock;
    std::unique_ptr<Station> station;
    sim::Simulator* simulator = nullptr;

    explicit StationRig(bool paced = false)
    {
        if (!engines.start(paced))
            qFatal("simulator did not start");
        simulator = engines.simulator.get();
        station = std::make_unique<Station>(engines.folder, QString(), clock);
    }
    int historyLines(const QString& text) const
    {
        return static_cast<int>(test::readBytes(station->files().pathOf("\\Histo.txt")).count(text.toLatin1()));
    }
};
} // namespace

class StationLinkTest : public QObject {
    Q_OBJECT
private slots:
    void startUpConnectsSixEngines()
    {
        StationRig rig;
        rig.station->load();
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->startedUp(), 5000);
        QVERIFY(rig.station->link().connected());
        for (int k = 1; k <= 6; ++k) {
            QVERIFY(rig.station->link().portOpen(k));
            QTRY_VERIFY_WITH_TIMEOUT(rig.station->portIndicator(k), 10000);
            QVERIFY(rig.station->tables().at(k - 1).everReported);
        }
        // Discovery confirms all six without dropping one.
        QTRY_COMPARE_WITH_TIMEOUT(rig.station->discovery().filter("COM(i) = 1").size(), 6, 10000);
        QVERIFY(rig.station->discovery().filter("Cancelled").isEmpty());
    }

    void aSilentEngineGivesOneHistoryLineAndOneWarningPerLoss()
    {
        StationRig rig;
        QSignalSpy warnings(rig.station.get(), &Station::linkLossWarning);
        rig.station->load();
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->tables().at(2).everReported, 10000);
        rig.simulator->engine(3)->model().setSilent(true);
        QVERIFY(warnings.wait(20000));
        QCOMPARE(warnings.count(), 1);
        QCOMPARE(warnings.at(0).at(0).toInt(), 3);
        QCOMPARE(warnings.at(0).at(1).toString(), QString(" Warning !"));
        const QStringList lines = warnings.at(0).at(2).toStringList();
        QCOMPARE(lines.at(0), QString("No communication with machine"));
        QCOMPARE(lines.at(1), QString("         System!"));
        QCOMPARE(lines.at(2), "LE3   " + rig.clock.dateText() + " / " + rig.clock.timeText());
        QVERIFY(rig.station->linkLost[2]);
        QCOMPARE(rig.historyLines("No communication with machine System!  LE3"), 1);
        QTest::qWait(3000); // still silent: nothing more
        QCOMPARE(warnings.count(), 1);
        QCOMPARE(rig.historyLines("No communication with machine System!"), 1);

        rig.simulator->engine(3)->model().setSilent(false);
        QTRY_VERIFY_WITH_TIMEOUT(!rig.station->linkLost[2], 10000);
        rig.simulator->engine(3)->model().setSilent(true);
        QTRY_COMPARE_WITH_TIMEOUT(warnings.count(), 2, 20000);
        QCOMPARE(rig.historyLines("No communication with machine System!  LE3"), 2);
        for (int i : {0, 1, 3, 4, 5})
            QVERIFY(!rig.station->linkLost[static_cast<std::size_t>(i)]);
    }

    void shtAlarmIsListedOnceAndMarksItsMenu()
    {
        StationRig rig;
        // A set-point below the room temperature of the simulated engines: every engine alarms.
        test::writeBytes(rig.engines.folder + "/SHTConsigne.ini", "10\r\n");
        QSignalSpy captions(rig.station.get(), &Station::alarmCaptionChanged);
        rig.station->load();
        QTRY_COMPARE_WITH_TIMEOUT(rig.station->events().filter("Alarm SHT").size(), 6, 10000);
        for (int k = 1; k <= 6; ++k) {
            QVERIFY(rig.station->events().contains(QString("LE%1  Alarm SHT (FADEC) ").arg(k)));
            QCOMPARE(rig.historyLines(QString("LE%1  Alarm SHT (FADEC) ").arg(k)), 1);
        }
        QVERIFY(!captions.isEmpty());
        QCOMPARE(captions.last().at(0).toString(), QString("mnuAlarmPlateau"));
        QCOMPARE(captions.last().at(1).toString(), QString("SHT (FADEC and PC) *"));
        QTest::qWait(1000); // the alarm holds: nothing more is listed
        QCOMPARE(rig.station->events().filter("Alarm").size(), 6);

        rig.station->settings().shtSetPoint = 90;
        QTRY_COMPARE_WITH_TIMEOUT(captions.last().at(1).toString(), QString(" SHT (FADEC and PC)"), 10000);
        QCOMPARE(rig.station->events().filter("Alarm").size(), 6);
        QCOMPARE(rig.historyLines("Alarm LFC"), 0);
    }

    // Each fault hits LE3 of six paced engines: LE3 is answered again once the fault is over, the
    // other five miss no frame, and the history tells what happened once.
    void eachLinkFaultCostsOnlyItsEngine_data()
    {
        QTest::addColumn<QStringList>("commands"); // "wait MS" pauses between them
        QTest::addColumn<int>("missedFrames");    // replies of LE3 left unanswered
        QTest::addColumn<QStringList>("journal"); // history lines written once each
        const QStringList none;
        QTest::newRow("nosync") << QStringList{"nosync 3"} << 1 << none;
        QTest::newRow("garbage") << QStringList{"garbage 3"} << 1 << none;
        for (const char* at : {"0", "77", "159"})
            QTest::newRow(qPrintable(QString("drop-byte %1").arg(at))) << QStringList{QString("drop-byte 3 ") + at} << 1 << none;
        QTest::newRow("two bursts") << QStringList{"stall 3 300 70"} << 0 << none;
        QTest::newRow("silence") << QStringList{"silence 3 on", "wait 6500", "silence 3 off"} << -1
                                 << QStringList{"No communication with machine System!  LE3",
                                                "Communication restored with machine System!  LE3"};
        QTest::newRow("vanish") << QStringList{"vanish 3 3"} << -1 << QStringList{"Port lost LE3", "Port back LE3"};
    }
    void eachLinkFaultCostsOnlyItsEngine()
    {
        QFETCH(QStringList, commands);
        QFETCH(int, missedFrames);
        QFETCH(QStringList, journal);
        StationRig rig(true);
        rig.station->load();
        for (int k = 1; k <= 6; ++k)
            QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(k), 15000);
        QTRY_VERIFY_WITH_TIMEOUT(!rig.station->portDiscovery().running(), 15000);
        std::array<int, 7> timeouts{};
        for (int k = 1; k <= 6; ++k)
            timeouts[k] = rig.simulator->engine(k)->timeouts();

        for (const QString& c : commands) {
            if (c.startsWith("wait "))
                QTest::qWait(c.mid(5).toInt());
            else
                QVERIFY2(!rig.simulator->execute(c).startsWith("error"), qPrintable(c));
        }
        const quint64 framesAfterFault = rig.station->link().framesSent(3);
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().framesSent(3) >= framesAfterFault + 10, 20000);
        if (missedFrames >= 0)
            QCOMPARE(rig.simulator->engine(3)->timeouts() - timeouts[3], missedFrames);
        for (int k : {1, 2, 4, 5, 6})
            QCOMPARE(rig.simulator->engine(k)->timeouts(), timeouts[k]);
        for (const QString& line : journal) {
            QTRY_COMPARE_WITH_TIMEOUT(rig.historyLines(line), 1, 10000);
            QCOMPARE(rig.station->events().filter(line).size(), 1); // the event list tells it too
        }
        if (journal.isEmpty())
            QVERIFY(test::readBytes(rig.station->files().pathOf("\\Histo.txt")).isEmpty());
        QVERIFY(rig.station->link().portOpen(3));
        QVERIFY(!rig.station->linkLost[2]);
    }

    void aDisconnectedLinkIsNotReopenedWhenADeviceReturns()
    {
        StationRig rig;
        rig.station->load();
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(2), 15000);
        QSignalSpy lost(&rig.station->link(), &SerialLink::portLost);
        rig.simulator->execute("vanish 2 1");
        QVERIFY(lost.wait(10000));
        QVERIFY(rig.station->link().reconnecting(2));
        rig.station->link().disconnectLink();
        QTest::qWait(2500); // the device is back by now
        QVERIFY(!rig.station->link().portOpen(2));
        QVERIFY(!rig.station->link().reconnectTimer(2)->isActive());
        rig.station->link().connectLink();
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(2), 15000);
        QCOMPARE(rig.historyLines("Port back LE2"), 0); // Connect opened it, not the reconnection
    }

    // Closing the links while an engine runs is asked first and shows as "closed", not stopped.
    void closingTheLinksIsADecision()
    {
        StationRig rig;
        rig.engines.shortenStarts();
        QSignalSpy questions(rig.station.get(), &Station::question);
        rig.station->load();
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(4), 15000);
        rig.station->engineOperation().press(4);
        QTRY_COMPARE_WITH_TIMEOUT(int(rig.station->tables().at(3).Phase), 5, 20000);
        rig.station->requestLinkToggle();
        QCOMPARE(questions.count(), 1);
        QCOMPARE(questions.last().at(1).toString(), QString(" Warning!"));
        QVERIFY(questions.last().at(2).toString().startsWith("LE4 is running."));
        rig.station->answer(questions.last().at(0).toInt(), false);
        QVERIFY(rig.station->link().connected());
        rig.station->requestLinkToggle();
        rig.station->answer(questions.last().at(0).toInt(), true);
        QVERIFY(!rig.station->link().connected());
        for (int k = 1; k <= 6; ++k)
            QCOMPARE(rig.station->linkState(k), LinkState::Closed);
        QCOMPARE(rig.station->events().filter("Links closed by the operator").size(), 1);
        QCOMPARE(rig.historyLines("Links closed by the operator"), 1);
        QTest::qWait(1500);
        QCOMPARE(rig.engines.model(4).statusFields()[pos::Phase], 5); // it runs on
        QVERIFY(rig.station->engineOperation().startedByUser(4));
        rig.station->requestLinkToggle(); // opening asks nothing
        QCOMPARE(questions.count(), 2);
        QTRY_COMPARE_WITH_TIMEOUT(rig.station->linkState(4), LinkState::Yes, 15000);
    }

    // A device that is not there when the station starts is waited for, and its arrival told once.
    void aDeviceMissingAtStartIsWaitedFor()
    {
        StationRig rig;
        const QString device = rig.engines.dir.filePath("ports/COM5");
        QVERIFY(QFile::rename(device, device + ".away"));
        rig.station->load();
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(1), 15000);
        QVERIFY(rig.station->link().deviceMissing(5));
        QVERIFY(rig.station->link().reconnecting(5));
        QCOMPARE(rig.station->linkState(5), LinkState::No);
        QVERIFY(QFile::rename(device + ".away", device));
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(5), 15000);
        QVERIFY(!rig.station->link().deviceMissing(5));
        QCOMPARE(rig.historyLines("Port back LE5"), 1);
        QCOMPARE(rig.station->events().filter("Port back LE5").size(), 1);
    }

    void quitClosesEveryPort()
    {
        StationRig rig;
        rig.station->load();
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().portOpen(6), 5000);
        rig.station->quit();
        for (int k = 1; k <= 6; ++k)
            QVERIFY(!rig.station->link().port(k)->isOpen());
        QVERIFY(!rig.station->displayTimer()->isActive());
    }
};

TARVEK_TEST(StationLinkTest)
#include "tst_station_link.moc"
