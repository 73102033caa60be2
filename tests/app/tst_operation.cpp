// Operating the engines end to end: the station against six simulated engines on pseudo-terminals,
// and the main window's operation controls.
#include "app/common/colours.h"
#include "app/main_window/log_window.h"
#include "app/alarms/messages_error.h"
#include "simulated_station.h"
#include "station/station.h"
#include "test_registry.h"
#include "test_support.h"
#include "window_rig.h"

#include <QAction>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace tarvek;

namespace {
constexpr int kWaitMs = 20'000;

struct OperationRig : EngineStation {
    OperationRig() { engines.shortenStarts(); }
    EngineOperation& op() { return station->engineOperation(); }
    int phase(int engine) const { return station->tables().at(engine - 1).Phase; }
    QString history() const { return QString::fromUtf8(test::readBytes(station->files().pathOf("\\Histo.txt"))); }
    int historyCount(const QString& text) const { return static_cast<int>(history().count(text)); }
    QString file(const QString& name) const { return QString::fromLatin1(test::readBytes(station->files().pathOf(name))); }
    void answerLast(QSignalSpy& questions, bool yes) { station->answer(questions.last().at(0).toInt(), yes); }
    void startAndRun(int engine)
    {
        op().press(engine);
        QTRY_COMPARE_WITH_TIMEOUT(phase(engine), 5, kWaitMs);
    }
};
} // namespace

class OperationTest : public QObject {
    Q_OBJECT
private slots:
    // Each start reads its engine's parameters first; a second press stops it. A read answered with
    // a status reply leaves the start waiting, with no time-out, while the others cycle, until a
    // second press cancels it. The stop of an engine whose port has closed shows at once with its
    // warning but is not sent or logged.
    void singleEnginesStartAfterTheirReadAndStop()
    {
        OperationRig rig;
        QVERIFY(rig.ready());
        rig.engines.model(3).setBlockType(0);
        rig.op().press(3);
        QTRY_COMPARE_WITH_TIMEOUT(rig.engines.model(3).counts().parameterReads, 1, kWaitMs);
        std::array<quint64, 6> before{};
        for (int k = 1; k <= 6; ++k)
            before[static_cast<std::size_t>(k - 1)] = rig.station->link().repliesReceived(k);
        for (int k = 1; k <= 6; ++k)
            QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().repliesReceived(k) > before[static_cast<std::size_t>(k - 1)] + 20,
                                     kWaitMs);
        QCOMPARE(rig.op().readState(3), StartRead::Asked);
        QCOMPARE(rig.engines.model(3).counts().parameterReads, 1);
        QCOMPARE(rig.phase(3), 0);
        rig.op().press(3); // a late block starts nothing
        QCOMPARE(rig.op().readState(3), StartRead::Idle);
        QVERIFY(!rig.op().startedByUser(3));
        QCOMPARE(rig.station->engineStatusText(2), QString("Status = 16"));
        rig.engines.model(3).setBlockType(2);
        QTest::qWait(500);
        QCOMPARE(rig.phase(3), 0);
        QCOMPARE(rig.station->tables().at(2).RunCommand, 2);
        QCOMPARE(rig.historyCount("  OFF LE 3   "), 1);
        QCOMPARE(rig.historyCount("Start LE"), 0);

        // The read goes to the engine pressed, not to the selected one.
        rig.station->selectEngine(4);
        QSignalSpy buttons(&rig.op(), &EngineOperation::buttonState);
        for (int engine : {2, 1}) {
            rig.op().press(engine);
            QVERIFY(rig.op().startedByUser(engine));
            QCOMPARE(rig.op().readState(engine), StartRead::Asked);
            QCOMPARE(rig.station->engineStatusText(engine - 1), QString("Waiting for LE%1 parameters").arg(engine));
            QVERIFY(buttons.contains(QVariantList{engine, true}));
            QTRY_COMPARE_WITH_TIMEOUT(rig.phase(engine), 5, kWaitMs);
            QCOMPARE(rig.historyCount(QString("  Start LE %1   ").arg(engine)), 1);
            QCOMPARE(rig.engines.model(engine).counts().parameterReads, 1); // its echo asks no more
        }
        // Engine 2 replaced the list; engine 1 appended to it.
        QCOMPARE(rig.station->parameterList().lines().size(), 64);
        QCOMPARE(rig.station->parameterList().lines().at(32 + 13), QString("18  1   ")); // z1 of LE1
        QCOMPARE(rig.engines.model(4).counts().parameterReads, 0);

        for (int engine : {2, 1}) {
            rig.op().press(engine);
            QVERIFY(!rig.op().startedByUser(engine));
            QCOMPARE(rig.historyCount(QString("  OFF LE %1   ").arg(engine)), 1);
        }
        QCOMPARE(rig.op().startAux(1), 0);
        // Back at rest after cooling: the rest countdown shows in the status picture.
        for (int engine : {2, 1}) {
            QTRY_VERIFY_WITH_TIMEOUT(rig.station->restCountdown().running(engine), kWaitMs);
            QVERIFY(rig.station->engineStatusText(engine - 1).startsWith("Rest "));
            QVERIFY(!rig.station->engineStatusIdle(engine - 1));
        }

        QSignalSpy warnings(rig.station.get(), &Station::warning);
        rig.startAndRun(6);
        rig.station->link().closeSlot(6);
        rig.op().press(6);
        QCOMPARE(warnings.size(), 1);
        QCOMPARE(warnings.at(0), (QVariantList{" Warning!", "COMx unactivated"}));
        QVERIFY(!rig.op().startedByUser(6));
        QCOMPARE(rig.station->tables().at(5).RunCommand, 1);
        QCOMPARE(rig.historyCount("Start LE"), 3);
        QCOMPARE(rig.historyCount("OFF LE"), 3);
    }

    // The station ends while LE2 runs and comes up again: LE2 is found running, once, through a
    // pulled link too; a start is refused with its reason; a confirmed press stops it.
    void anEngineFoundRunningIsShownAndStoppedFromItsButton()
    {
        OperationRig rig;
        QVERIFY(rig.ready());
        rig.startAndRun(2);
        rig.station.reset(); // killed: nothing is stopped
        rig.station = std::make_unique<Station>(rig.engines.folder, QString(), rig.clock);
        QSignalSpy questions(rig.station.get(), &Station::question);
        QSignalSpy warnings(rig.station.get(), &Station::warning);
        QVERIFY(rig.ready());
        QTRY_VERIFY_WITH_TIMEOUT(rig.op().foundRunning(2), kWaitMs);
        QVERIFY(!rig.op().startedByUser(2) && !rig.op().foundRunning(1));
        QCOMPARE(rig.station->linkState(2), LinkState::Yes);
        rig.engines.simulator->execute("vanish 2 1");
        QTRY_COMPARE_WITH_TIMEOUT(rig.historyCount("Port back LE2"), 1, kWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(2), kWaitMs);
        QCOMPARE(rig.historyCount("LE 2 found running, not started from this station"), 1);

        rig.op().press(2);
        QCOMPARE(questions.count(), 1);
        QCOMPARE(questions.last().at(2).toString(), QString("LE2 is running without a start from this station. Stop LE2?"));
        QCOMPARE(rig.op().readState(2), StartRead::Idle); // no read asked of a running engine
        rig.answerLast(questions, true);
        QVERIFY(!rig.op().foundRunning(2));
        QTRY_COMPARE_WITH_TIMEOUT(rig.phase(2), 6, kWaitMs);
        rig.op().press(2); // cooling: a start is refused with its reason
        QCOMPARE(warnings.size(), 1);
        QCOMPARE(warnings.last().at(1).toString(), QString("LE2 cannot start now: it reports phase 6, a start needs phase 0"));
        QCOMPARE(rig.op().readState(2), StartRead::Idle);
        QTRY_COMPARE_WITH_TIMEOUT(rig.phase(2), 0, kWaitMs);
        QCOMPARE(rig.historyCount("  OFF LE 2   "), 1);
        QCOMPARE(rig.historyCount("found running"), 1);
    }

    // START All and STOP All take the checked engines in turn; the QTH lamps reach the frames and
    // the file.
    void startAllAndStopAllTakeTheCheckedEnginesInTurn()
    {
        OperationRig rig;
        QVERIFY(rig.ready());
        SoftwareSettings s = rig.station->software();
        s.groupCommands[3] = false; // LE4 takes no part
        rig.station->setSoftwareSettings(s, false);
        rig.startAndRun(2); // already running: START All leaves it
        QSignalSpy questions(rig.station.get(), &Station::question);
        QStringList order;
        connect(&rig.op(), &EngineOperation::startBegun, this, [&](int n) { order << QString("read %1").arg(n); });
        connect(&rig.op(), &EngineOperation::started, this, [&](int n) { order << QString("start %1").arg(n); });

        rig.station->groupOperation().requestStartAll();
        QCOMPARE(questions.last().at(2).toString(), QString("START All LE"));
        rig.answerLast(questions, true);
        QTRY_COMPARE_WITH_TIMEOUT(order.size(), 8, kWaitMs);
        QCOMPARE(order, (QStringList{"read 1", "start 1", "read 3", "start 3", "read 5", "start 5", "read 6", "start 6"}));
        for (int n : {1, 3, 5, 6})
            QTRY_COMPARE_WITH_TIMEOUT(rig.phase(n), 5, kWaitMs);
        QCOMPARE(rig.phase(4), 0);
        QCOMPARE(rig.historyCount("  Start LE 2   "), 1);
        QCOMPARE(rig.engines.model(2).counts().parameterReads, 1);

        // STOP All: one checked engine a tick of Timer16, in order.
        int ticks = 0;
        QStringList offs;
        connect(rig.station->groupOperation().offAllTimer(), &QTimer::timeout, this, [&] { ++ticks; });
        connect(rig.station.get(), &Station::eventAppended, this, [&](const QString& line) {
            if (line.contains("Off LE"))
                offs << QString("%1@%2").arg(line.mid(9, 1)).arg(ticks + 1);
        });
        rig.station->groupOperation().requestStopAll();
        QCOMPARE(questions.last().at(2).toString(), QString("STOP All LE"));
        rig.answerLast(questions, true);
        QTRY_COMPARE_WITH_TIMEOUT(offs.size(), 5, kWaitMs);
        QCOMPARE(offs, (QStringList{"1@1", "2@2", "3@3", "5@5", "6@6"}));
        QCOMPARE(rig.file("\\StartHalogen.ini"), QString("0\r\n"));
        for (int n : {1, 2, 3, 5, 6}) {
            QTRY_COMPARE_WITH_TIMEOUT(rig.phase(n), 0, kWaitMs);
            QVERIFY(rig.station->groupOperation().offMarker(n));
            QVERIFY(!rig.op().startedByUser(n));
        }
        QCOMPARE(rig.historyCount("Off LE"), 5);

        // The QTH lamps of the engines chosen for them.
        s.qthLamps[5] = false;
        rig.station->setSoftwareSettings(s, false);
        QthLamps& qth = rig.station->qthLamps();
        qth.press();
        QCOMPARE(qth.caption(), QString("QTH-Stop"));
        QVERIFY(qth.orange());
        QCOMPARE(rig.file("\\StartHalogen.ini"), QString("1\r\n"));
        for (int n = 1; n <= 5; ++n)
            QTRY_COMPARE_WITH_TIMEOUT(rig.engines.model(n).qth(), 1, kWaitMs);
        QCOMPARE(rig.engines.model(6).qth(), 0);

        // The next start finds the lamps as the operator left them.
        {
            ManualClock clock;
            Station again(rig.engines.folder, QString(), clock);
            QVERIFY(loadAndStart(again));
            QVERIFY(again.qthLamps().on());
            QCOMPARE(again.qthLamps().caption(), QString("QTH-Stop"));
            QCOMPARE(again.tables().at(0).QthCommand, 1);
            again.quit();
        }

        qth.press();
        QCOMPARE(qth.caption(), QString("QTH-Start"));
        QVERIFY(!qth.orange());
        QCOMPARE(rig.file("\\StartHalogen.ini"), QString("0\r\n"));
        for (int n = 1; n <= 5; ++n)
            QTRY_COMPARE_WITH_TIMEOUT(rig.engines.model(n).qth(), 0, kWaitMs);
    }

    // A fault is logged once per running engine, not at rest. The stop alarm is counted down, raised
    // once by the engine that keeps running, armed again without a second raise, and disarmed.
    void faultsAreLoggedOnceAndAnEngineThatKeepsRunningRaisesTheStopAlarmOnce()
    {
        OperationRig rig;
        QVERIFY(rig.ready());
        rig.engines.model(2).setKeepRunning(true);
        rig.engines.model(3).setFaultCode(7); // at rest: not logged
        rig.startAndRun(1);
        rig.startAndRun(2);
        const QString text = QString::fromUtf8("Temp. Magnetron > 50 \u00B0C FADEC internal  LE");
        rig.engines.model(1).setFaultCode(7);
        QTRY_COMPARE_WITH_TIMEOUT(rig.historyCount(text + "1"), 1, kWaitMs);
        QVERIFY(rig.history().contains("    007    " + text + "1"));
        rig.engines.model(2).setFaultCode(7);
        QTRY_COMPARE_WITH_TIMEOUT(rig.historyCount(text), 2, kWaitMs);
        QTest::qWait(500);
        QCOMPARE(rig.historyCount(text), 2);
        QCOMPARE(rig.station->events().filter(" Error " + text).size(), 2);
        QVERIFY(!rig.station->faultLogger().logged(3, 7));

        QStringList captions;
        connect(rig.station.get(), &Station::alarmCaptionChanged, this,
                [&](const QString& menu, const QString& caption) {
                    if (menu == "mnuStopAlarm")
                        captions << caption;
                });
        rig.station->alarms.stopAlarmSeconds = 2;
        StopAlarm& alarm = rig.station->stopAlarm();
        alarm.toggle();
        QTRY_COMPARE_WITH_TIMEOUT(alarm.caption(), QString("Stop Alarm (Actived)"), kWaitMs);
        QCOMPARE(captions, (QStringList{"Stop Alarm (2 sec.)", "Stop Alarm (1 sec.)", "Stop Alarm (0 sec.)",
                                        "Stop Alarm (Actived)"}));
        QVERIFY(alarm.watchTimer()->isActive() && !alarm.countdownTimer()->isActive());

        rig.op().press(2);
        QTRY_COMPARE_WITH_TIMEOUT(alarm.caption(), QString("Stop Alarm *"), kWaitMs);
        QCOMPARE(rig.historyCount("  Stop Alarm (Actived) LE2"), 1);
        QVERIFY(rig.station->events().contains("  Stop Alarm (Actived) LE2"));
        // The off sequence stops the others.
        QTRY_COMPARE_WITH_TIMEOUT(rig.phase(1), 0, kWaitMs);
        QCOMPARE(rig.phase(2), 5);
        QVERIFY(!alarm.watchTimer()->isActive());
        alarm.toggle();
        QTRY_VERIFY_WITH_TIMEOUT(alarm.watchTimer()->isActive(), kWaitMs);
        QTest::qWait(1500);
        QCOMPARE(alarm.caption(), QString("Stop Alarm (Actived)"));
        QCOMPARE(rig.historyCount("Stop Alarm"), 1);
        alarm.toggle();
        QCOMPARE(alarm.caption(), QString("Stop Alarm"));
        QVERIFY(!alarm.watchTimer()->isActive());
    }

    void controlsReachTheOperation()
    {
        WindowRig rig;
        QVERIFY(rig.start(false));
        // No port open: a start is refused with a box that does not block.
        QTest::mouseClick(rig.button(1), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(rig.get<QMessageBox>("MessageWarning"), kWaitMs);
        QCOMPARE(rig.get<QMessageBox>("MessageWarning")->text(), QString("Com Port not enabled"));
        QVERIFY(!rig.station->engineOperation().startedByUser(1));

        QTest::mouseRelease(rig.button(3), Qt::RightButton);
        QVERIFY(rig.station->engineOperation().rightClickMark());
        QVERIFY(rig.station->engineOperation().panelToggle());

        // A start made elsewhere shows on its button.
        rig.station->engineOperation().beginStart(2);
        QCOMPARE(rig.button(2)->text(), QString("STOP LE-2"));
        QCOMPARE(colours::background(rig.button(2)), colours::started());

        QTest::mouseClick(rig.get<QPushButton>("CommHalOperator"), Qt::LeftButton);
        QCOMPARE(rig.get<QPushButton>("CommHalOperator")->text(), QString("QTH-Start"));

        QSignalSpy questions(rig.station.get(), &Station::question);
        QTest::mouseClick(rig.get<QPushButton>("StartAllLE"), Qt::LeftButton);
        QCOMPARE(questions.last().at(2).toString(), QString("START All LE"));
        QTest::mouseClick(rig.get<QPushButton>("StopAllLE"), Qt::LeftButton);
        QCOMPARE(questions.last().at(2).toString(), QString("STOP All LE"));

        QAction* stopAlarm = rig.window->action("mnuStopAlarm");
        stopAlarm->trigger();
        QCOMPARE(stopAlarm->text(), QString("Stop Alarm (20 sec.)"));

        rig.window->action("mnuCodeError")->trigger();
        auto* codes = rig.get<MessagesError>("MessagesError");
        QVERIFY(codes && codes->isVisible());
    }
};

TARVEK_TEST(OperationTest)
#include "tst_operation.moc"
