// The four service windows against simulated engines: a start followed step by step and counted,
// a coefficient reaching the main display, and hardware tests at rest only.
#include "app/service/coefficients_form.h"
#include "app/service/espion_start_form.h"
#include "app/service/tests_materiel_form.h"
#include "app/service/usures_form.h"
#include "test_registry.h"
#include "window_rig.h"

#include <QAction>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QSpinBox>
#include <QTableWidget>

using namespace tarvek;

namespace {
constexpr int kWaitMs = 30'000;

bool logInService(WindowRig& rig)
{
    rig.window->showLogIn(true);
    rig.logIn("dolphin");
    return rig.station->mode() == OperatingMode::Service;
}
} // namespace

class ServiceWindowsTest : public QObject {
    Q_OBJECT
private slots:
    // The station's clock moves only when LE1 reports a new phase, by the time that phase is to
    // take here, so every step has a known length however fast the simulator runs.
    void aStartIsFollowedStepByStepAndCounted()
    {
        WindowRig rig;
        QVERIFY(rig.start(true));
        Registers z = defaultRegisters();
        // Phases of 1.0, 0.8 and 1.0 s in the simulator, read before the start: long enough that
        // a busy machine still sees each one.
        z[18] = 10;
        z[19] = 8;
        z[20] = 10;
        rig.engines.model(1).setRegisters(z);
        QVERIFY(logInService(rig));
        Station& station = *rig.station;
        QTRY_VERIFY_WITH_TIMEOUT(station.tables().at(0).everReported && station.link().portOpen(1), kWaitMs);

        const std::array<qint64, 7> stepMs{0, 1000, 2500, 1000, 1000, 3000, 3000}; // phase 2 is the slow one
        qint64 runningMs = 0, lampMs = 0, pendingRunning = 0, pendingLamp = 0;
        int lastPhase = 0;
        connect(&station.link(), &SerialLink::statusReading, this, [&](int slot) {
            if (slot != 1)
                return;
            const int phase = station.tables().at(0).Phase;
            // In phase 5 the clock also moves with every reply, so running time builds up.
            const qint64 advance = phase != lastPhase ? stepMs.at(static_cast<std::size_t>(phase)) : (phase == 5 ? 3000 : 0);
            lastPhase = phase;
            rig.clock.advanceMs(advance);
            // What the counters will add when the next reply comes.
            runningMs += pendingRunning;
            lampMs += pendingLamp;
            pendingRunning = phase != 0 ? advance : 0;
            pendingLamp = phase >= 3 && phase <= 5 ? advance : 0;
        });

        station.selectEngine(1);
        rig.window->action("mnuEspion")->trigger();
        auto* espion = rig.window->findChild<EspionStartForm*>("EspionStart");
        QVERIFY(espion && espion->isVisible());
        QCOMPARE(rig.get<QLabel>("SpyState")->text(), QString("LE1: waiting for a start"));

        QTest::mouseClick(rig.button(1), Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(station.startSpy().trace(1).state, SpyState::Reached, kWaitMs);
        auto* table = rig.get<QTableWidget>("SpySteps");
        QStringList rows;
        for (int r = 2; r <= 5; ++r)
            rows << QStringList{table->item(r, 1)->text(), table->item(r, 2)->text(), table->item(r, 3)->text()}.join(" | ");
        QCOMPARE(rows, (QStringList{"1.0 s | 1.0 s | ok", "0.8 s | 2.5 s | SLOW", "1.0 s | 1.0 s | ok", " | 1.0 s | -"}));
        QCOMPARE(rig.get<QLabel>("SpyRegisters")->text(), QString("z1 1.0 s, z2 0.8 s, z3 1.0 s (read from the FADEC)"));
        QCOMPARE(rig.get<QLabel>("SpySlowest")->text(), QString("Slowest: Phase 2 z2 Ramp-up Time, 2.5 s against 0.8 s"));
        QCOMPARE(rig.get<QLabel>("SpyState")->text(), QString("LE1: phase 5 reached, 5.5 s after phase 1"));

        // A few replies in phase 5, then the stop: the run is on disk once LE1 is back at rest.
        const quint64 replies = station.link().repliesReceived(1);
        QTRY_VERIFY_WITH_TIMEOUT(station.link().repliesReceived(1) > replies + 5, kWaitMs);
        QTest::mouseClick(rig.button(1), Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(int(station.tables().at(0).Phase), 0, kWaitMs);
        const WearCount counted = station.wearCounters().count(1);
        QCOMPARE(counted.starts, 1);
        QCOMPARE(counted.runningMs, runningMs);
        QCOMPARE(counted.lampMs, lampMs);
        QVERIFY(lampMs > 3 * 3000); // several replies in phase 5 each added three seconds
        QCOMPARE(station.wearCounters().count(2), WearCount{});
        const QList<QByteArray> file = test::readBytes(station.files().pathOf("\\Usures.ini")).split('\n');
        QCOMPARE(file.mid(0, 3), (QList<QByteArray>{"1\r", QByteArray::number(runningMs / 1000) + "\r",
                                                      QByteArray::number(lampMs / 1000) + "\r"}));

        rig.window->action("mnuArdwUptime")->trigger();
        QVERIFY(rig.window->findChild<UsuresForm*>("Usures")->isVisible());
        QCOMPARE(rig.get<QLabel>("Starts1")->text(), QString("1"));
        QCOMPARE(rig.get<QLabel>("Lamp1")->text(), WearCounters::hoursText(lampMs));
        QCOMPARE(rig.get<QLabel>("Starts2")->text(), QString("0"));

        // A new lamp: asked first, then its hours start from zero and the history says so.
        QTest::mouseClick(rig.get<QPushButton>("LampReplaced1"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(rig.get<QMessageBox>("MessageQuestion"), kWaitMs);
        auto* question = rig.get<QMessageBox>("MessageQuestion");
        QCOMPARE(question->text(), QString("Lamp of LE1 replaced: its lamp hours start again from 0?"));
        QTest::mouseClick(question->button(QMessageBox::Yes), Qt::LeftButton);
        QCOMPARE(station.wearCounters().count(1), (WearCount{1, runningMs, 0}));
        QCOMPARE(rig.get<QLabel>("Lamp1")->text(), QString("0 h 00 min"));
        QCOMPARE(test::readBytes(station.files().pathOf("\\Usures.ini")).split('\n').at(2), QByteArray("0\r"));
        QCOMPARE(historyLines(station, "Lamp replaced LE 1 after " + WearCounters::hoursText(lampMs)), 1);
    }

    void hardwareTestsRunAtRestOnly()
    {
        WindowRig rig;
        QVERIFY(rig.start(true, true));
        QVERIFY(logInService(rig));
        Station& station = *rig.station;
        QTRY_VERIFY_WITH_TIMEOUT(station.tables().at(0).everReported && station.tables().at(1).everReported, kWaitMs);

        // LE1 running: the menu refuses with the text the operators know.
        station.engineOperation().press(1);
        QTRY_COMPARE_WITH_TIMEOUT(int(station.tables().at(0).Phase), 5, kWaitMs);
        station.selectEngine(1);
        rig.window->action("mnuTestMateriel")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(rig.get<QMessageBox>("MessageWarning"), kWaitMs);
        QCOMPARE(rig.get<QMessageBox>("MessageWarning")->text(), QString("Tests can be done when phase (0)! "));
        QVERIFY(!rig.window->findChild<TestsMaterielForm*>("TestsMateriel"));
        rig.get<QMessageBox>("MessageWarning")->close();

        // LE2 at rest: the form opens on it and each test passes on what the FADEC reports.
        station.selectEngine(2);
        rig.window->action("mnuTestMateriel")->trigger();
        auto* form = rig.window->findChild<TestsMaterielForm*>("TestsMateriel");
        QVERIFY(form && form->isVisible());
        QCOMPARE(rig.get<QLabel>("TestEngine")->text(), QString("Selected LE : 2"));
        sim::FadecModel& le2 = rig.engines.model(2);
        auto* results = rig.get<QListWidget>("TestResults");
        const struct {
            const char* button;
            const char* expected;
        } tests[] = {{"TestQth", "LE2 QTH lamps: passed, relay on and off, IR "},
                     {"TestAlarmReset", "LE2 Alarm reset: passed, alarm relay off, fault code 0"},
                     {"TestMotor", "LE2 Motor and fans: passed, M "}};
        int qthSeenOn = 0;
        connect(rig.engines.simulator->engine(2), &sim::SimulatedEngine::frameApplied, this,
                [&] { qthSeenOn += le2.qth(); });
        rig.get<QSpinBox>("TestMotorRpm")->setValue(2400);
        for (const auto& t : tests) {
            const int before = results->count();
            QTest::mouseClick(rig.get<QPushButton>(t.button), Qt::LeftButton);
            QTRY_COMPARE_WITH_TIMEOUT(results->count(), before + 1, kWaitMs);
            QVERIFY2(results->item(before)->text().contains(t.expected), qPrintable(results->item(before)->text()));
        }
        QVERIFY(qthSeenOn > 0);
        QVERIFY(results->item(2)->text().endsWith("for 2400 rpm"));
        // Every field a test used is back, and the simulator sees it.
        const LightEngineRecord& r = station.tables().at(1);
        const std::array<int, 4> fields{r.QthCommand, r.AlarmResetCommand, r.ModeCode, r.MotorSpeedSetPoint};
        QCOMPARE(fields, (std::array<int, 4>{0, 0, 0, 0}));
        QTRY_COMPARE_WITH_TIMEOUT(le2.mode(), 0, kWaitMs);
        QCOMPARE(le2.qth(), 0);

        // While a test runs LE2 is not at rest for a start: the start aborts the test.
        QTest::mouseClick(rig.get<QPushButton>("TestMotor"), Qt::LeftButton);
        QVERIFY(station.hardwareTests().running());
        station.engineOperation().press(2);
        QCOMPARE(station.hardwareTests().current().state, TestState::Aborted);
        QCOMPARE(r.ModeCode, 0);

        // Back to user mode: the form closes and a running test ends with the fields given back.
        station.selectEngine(2);
        QTRY_COMPARE_WITH_TIMEOUT(int(station.tables().at(1).Phase), 5, kWaitMs);
        station.engineOperation().press(2);
        QTRY_COMPARE_WITH_TIMEOUT(int(station.tables().at(1).Phase), 0, kWaitMs);
        QVERIFY(station.hardwareTests().run(2, HardwareTest::MotorAndFans, 3000));
        rig.window->showLogIn(false);
        rig.logIn("harvests");
        QVERIFY(!form->isVisible());
        QCOMPARE(station.hardwareTests().current().state, TestState::Aborted);
        QCOMPARE(r.ModeCode, 0);

        QCOMPARE(historyLines(station, "Test LE 2 "), 10); // begun and end of each of the five
        QCOMPARE(historyLines(station, "Test LE 2 Motor and fans: aborted, service mode ended"), 1);
        QCOMPARE(historyLines(station, "Test LE 2 QTH lamps: passed"), 1);
        QCOMPARE(historyLines(station, "Test LE 2 Motor and fans: aborted, a start of LE2 was asked for"), 1);

        // A saved coefficient reaches the display at once.
        QVERIFY(logInService(rig));
        QTRY_VERIFY_WITH_TIMEOUT(station.tables().at(2).everReported, kWaitMs);
        station.selectEngine(3);
        rig.window->action("mnuCoeff")->trigger();
        auto* coefficientsForm = rig.window->findChild<CoefficientsForm*>("Coefficients");
        QVERIFY(coefficientsForm && coefficientsForm->isVisible());

        // SBV: raw x 0.04 with two decimals today; x 0.5 with one decimal and 1 V added after.
        auto* raw = rig.get<QSpinBox>("Raw5");
        QCOMPARE(raw->value(), int(station.tables().at(2).reported[pos::Sbv]));
        raw->setValue(75);
        QCOMPARE(rig.get<QLabel>("Shown5")->text(), QString("3.00 V"));
        rig.get<QSpinBox>("Factor5")->setValue(5);
        rig.get<QSpinBox>("Decimals5")->setValue(1);
        rig.get<QSpinBox>("Offset5")->setValue(1);
        QCOMPARE(rig.get<QLabel>("Shown5")->text(), QString("38.5 V"));
        QCOMPARE(rig.get<QLabel>("InUse5")->text(), QString("3.00 V")); // nothing in use before the save

        rig.window->action("mnuRegulateActive")->setChecked(false);
        QTest::mouseClick(rig.get<QPushButton>("Command1"), Qt::LeftButton);
        const int reported = station.tables().at(2).reported[pos::Sbv];
        QCOMPARE(rig.get<QLabel>("LE3Sbv")->text(), QString::number(reported * 0.5 + 1, 'f', 1) + " V");
        QCOMPARE(rig.get<QLabel>("InUse5")->text(), QString("38.5 V"));
        const QList<QByteArray> lines = test::readBytes(station.files().pathOf("\\Coefficients.ini")).split('\n');
        QCOMPARE(lines.size(), 37);
        QCOMPARE(lines.mid(15, 3), (QList<QByteArray>{"1\r", "5\r", "1\r"}));
        QCOMPARE(historyLines(station, "LE Data saved: SBV offset 0->1, factor 4->5, decimals 2->1"), 1);

        // A station started on the folder reads them back.
        ManualClock clock;
        Station again(station.files().folder(), QString(), clock);
        QVERIFY(loadAndStart(again));
        QCOMPARE(coefficients::shown(75, again.coefficients().inUse(), coefficients::Sbv), QString("38.5 V"));
        again.quit();
    }
};

TARVEK_TEST(ServiceWindowsTest)
#include "tst_service_windows.moc"
