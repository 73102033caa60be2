// The main window's operation controls: their wiring, and pictures of engines in every state.
#include "app/colours.h"
#include "app/log_window.h"
#include "app/messages_error.h"
#include "station/station.h"
#include "window_rig.h"
#include "test_registry.h"
#include "test_support.h"

#include <QAction>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace tarvek;

namespace {
constexpr int kWaitMs = 20'000;

} // namespace

class OperationWindowTest : public QObject {
    Q_OBJECT
private slots:
    void controlsReachTheOperation()
    {
        WindowRig rig;
        QVERIFY(rig.start(false));
        // No port open: a start is refused with a box that does not block.
        QTest::mouseClick(rig.button(1), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(rig.get<QMessageBox>("MessageWarning"), kWaitMs);
        QCOMPARE(rig.get<QMessageBox>("MessageWarning")->text(), QString("Com Port not enabled"));
        QCOMPARE(rig.get<QMessageBox>("MessageWarning")->windowTitle(), QString(" Warning!"));

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
        QCOMPARE(codes->windowTitle(), QString(" FADEC Error Codes"));
        QCOMPARE(codes->lines().size(), 20);
        QCOMPARE(codes->lines().first(), QString("00\tArret LE"));
        QCOMPARE(codes->lines().at(18), QString("18\tStop activated"));
        QCOMPARE(codes->lines().last(), QString("19\tLFC level too low"));
        rig.save(codes, "messages_error.png");
    }

    void picturesOfEveryState()
    {
        WindowRig rig;
        QVERIFY(rig.start(true));
        rig.engines.shortenStarts();
        QTRY_COMPARE_WITH_TIMEOUT(rig.station->discovery().filter("COM(i) = 1").size(), 6, kWaitMs);
        EngineOperation& op = rig.station->engineOperation();
        const auto phase = [&](int n) { return int(rig.station->tables().at(n - 1).Phase); };
        // LE5 ran and rests; LE3 runs; LE2 waits for its parameters; LE4 cools; LE1, LE6 at rest.
        op.press(5);
        QTRY_COMPARE_WITH_TIMEOUT(phase(5), 5, kWaitMs);
        op.press(5);
        op.press(3);
        QTRY_COMPARE_WITH_TIMEOUT(phase(3), 5, kWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->restCountdown().running(5), kWaitMs);
        op.press(4);
        QTRY_COMPARE_WITH_TIMEOUT(phase(4), 5, kWaitMs);
        rig.engines.model(2).setBlockType(0);
        op.press(2);
        op.press(4);
        QTRY_COMPARE_WITH_TIMEOUT(phase(4), 6, kWaitMs);
        rig.station->qthLamps().press();
        rig.window->refreshDisplay();
        QCOMPARE(rig.button(2)->text(), QString("STOP LE-2"));
        QCOMPARE(rig.get<QLabel>("LE2Status")->text(), QString("Waiting for LE2 parameters"));
        QVERIFY(rig.get<QLabel>("LE5Status")->text().startsWith("Rest "));
        QCOMPARE(colours::background(rig.get<QLabel>("LE1Status")), colours::idle());
        QVERIFY(colours::background(rig.get<QLabel>("LE5Status")) != colours::idle());
        QCOMPARE(colours::background(rig.get<QPushButton>("CommHalOperator")), colours::qthOn());
        QCOMPARE(rig.get<QPushButton>("CommHalOperator")->text(), QString("QTH-Stop"));
        rig.save(rig.window.get(), "operation_states.png");
    }

    // What the columns say of an engine found running, of closed links and of a lost one.
    void columnsTellRunningClosedAndLost()
    {
        WindowRig rig;
        QVERIFY(rig.start(true, true));
        for (int k = 1; k <= 6; ++k)
            QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(k), kRigWaitMs);
        // LE2 is started from elsewhere: a frame asking for a start reaches its controller.
        const auto fields = rig.engines.model(2).statusFields();
        std::string start(34, '\0');
        for (std::size_t k = 0; k < 32; ++k)
            start[k] = static_cast<char>(fields[k] & 0xFF);
        start[2] = 1;
        start[32] = '\r';
        start[33] = '\n';
        QVERIFY(rig.engines.model(2).frame(start));
        QTRY_COMPARE_WITH_TIMEOUT(rig.get<QLabel>("LE2Status")->text(), QString("Running, not started here"), kRigWaitMs);
        QCOMPARE(rig.button(2)->text(), QString("STOP LE-2"));
        QCOMPARE(colours::background(rig.button(2)), colours::foundRunning());
        rig.save(rig.window.get(), "found_running.png");

        QSignalSpy questions(rig.station.get(), &tarvek::Station::question);
        rig.engines.model(3).setSilent(true);
        QTRY_COMPARE_WITH_TIMEOUT(rig.get<QLabel>("Label30_2")->text(), QString("lost"), kRigWaitMs);
        rig.save(rig.window.get(), "lost_link_events.png");
        QTest::mouseClick(rig.get<QPushButton>("ComOperStartRS232"), Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(questions.count(), 1, kRigWaitMs);
        rig.station->answer(questions.last().at(0).toInt(), true);
        for (int k = 1; k <= 6; ++k)
            QTRY_COMPARE_WITH_TIMEOUT(rig.get<QLabel>(QString("Label30_%1").arg(k - 1))->text(), QString("closed"), kRigWaitMs);
        QCOMPARE(rig.get<QLabel>("LE2Status")->text(), QString("Running, link closed"));
        QVERIFY(rig.get<QLabel>("LE2Phase")->text() != "---");
        rig.save(rig.window.get(), "closed_links.png");
    }
};

TARVEK_TEST(OperationWindowTest)
#include "tst_operation_window.moc"
