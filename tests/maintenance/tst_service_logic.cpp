// Wear counters, the start spy and the guards of the hardware tests and the register write, fed
// with phases on a manual clock.
#include "maintenance/hardware_tests.h"
#include "maintenance/parameter_editor.h"
#include "maintenance/start_spy.h"
#include "maintenance/wear_counters.h"
#include "recording/history.h"
#include "settings/settings_files.h"
#include "test_registry.h"
#include "test_support.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tarvek;

namespace {
// "3:1500" is a reply reporting phase 3, then 1.5 s pass; "press:300" and "request:0" are the
// start button and the start going out.
struct Token {
    QString what;
    int phase = -1;
    qint64 ms = 0;
};
QList<Token> tokens(const QString& script)
{
    QList<Token> out;
    for (const QString& t : script.split(' ', Qt::SkipEmptyParts)) {
        const QStringList parts = t.split(':');
        bool number = false;
        const int phase = parts[0].toInt(&number);
        out << Token{parts[0], number ? phase : -1, parts.value(1).toLongLong()};
    }
    return out;
}
} // namespace

class ServiceLogicTest : public QObject {
    Q_OBJECT
private slots:
    // A whole run is counted in the Usures window's case; here the runs the simulator cannot make.
    void wearCountersCountFromThePhases_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<int>("starts");
        QTest::addColumn<int>("runningMs");
        QTest::addColumn<int>("lampMs");
        QTest::newRow("a lost link adds nothing") << "0:100 5:20000 5:1000 0:0" << 1 << 1000 << 1000;
        QTest::newRow("already running when first seen") << "5:1000 5:1000 0:0" << 0 << 2000 << 2000;
        QTest::newRow("failed starts count") << "0:100 1:500 0:100 1:500 6:100 0:0" << 2 << 1100 << 0;
        QTest::newRow("clock set back") << "0:0 5:-5000 5:1000 0:0" << 1 << 1000 << 1000;
    }
    void wearCountersCountFromThePhases()
    {
        QFETCH(QString, script);
        QFETCH(int, starts);
        QFETCH(int, runningMs);
        QFETCH(int, lampMs);
        QTemporaryDir dir;
        SettingsFiles files(dir.path());
        ManualClock clock;
        WearCounters counters(files, clock);
        counters.load();
        QCOMPARE(test::readBytes(files.pathOf(WearCounters::fileName())), QByteArray("0\r\n").repeated(18));
        for (const Token& t : tokens(script)) {
            counters.observe(3, t.phase);
            clock.advanceMs(t.ms);
        }
        QCOMPARE(counters.count(3), (WearCount{starts, runningMs, lampMs}));
        QCOMPARE(counters.count(1), WearCount{});

        // Every start and every run end was written without being asked: a crash now loses nothing.
        WearCounters reread(files, clock);
        reread.load();
        QCOMPARE(reread.count(3), (WearCount{starts, runningMs / 1000 * 1000, lampMs / 1000 * 1000}));

        // Counters that can no longer be read are told in a box, the file kept for the records.
        test::writeBytes(files.pathOf(WearCounters::fileName()), {});
        WearCounters damaged(files, clock);
        QSignalSpy warning(&damaged, &WearCounters::warning);
        damaged.load();
        QCOMPARE(warning.size(), 1);
        QVERIFY(warning.first().at(1).toString().contains("The wear counters cannot be read"));
        QCOMPARE(QDir(dir.path()).entryList({"Usures.ini.damaged-*"}).size(), 1);
    }

    void startSpyJudgesEachStep_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QStringList>("verdicts"); // phases 1..4
        QTest::addColumn<int>("slowest");          // row: 0 read, 1 to phase 1, 2..5 phases 1..4, 6 total
        QTest::addColumn<QString>("state");
        // A start on time, on registers read from the FADEC, is judged in the EspionStart window's case.
        QTest::newRow("start not asked, phase 3 unseen") << "0:0 1:5000 2:2000 4:1000 5:0"
                                                         << QStringList{"ok", "ok", "not seen", "-"} << -1 << "LE2: phase 5 reached, 8.0 s after phase 1";
        QTest::newRow("lamp never lights") << "press:300 request:0 1:5000 2:2000 3:9000 6:0"
                                           << QStringList{"ok", "ok", "SLOW", "not seen"} << 4 << "LE2: the start ended in phase 6, fault code 7";
        QTest::newRow("generator delay too short") << "request:0 1:1000 2:2000 3:1500 4:1000 5:0"
                                                   << QStringList{"short", "ok", "ok", "-"} << -1 << "LE2: phase 5 reached, 5.5 s after phase 1";
        QTest::newRow("still in phase 2") << "press:0 request:0 1:5000 2:4000"
                                          << QStringList{"ok", "SLOW", "", ""} << 3 << "LE2: start under way, phase 2";
    }
    void startSpyJudgesEachStep()
    {
        QFETCH(QString, script);
        QFETCH(QStringList, verdicts);
        QFETCH(int, slowest);
        QFETCH(QString, state);
        ManualClock clock;
        StartSpy spy(clock);
        for (const Token& t : tokens(script)) {
            if (t.what == "press")
                spy.startPressed(2);
            else if (t.what == "request")
                spy.startRequested(2);
            else
                spy.observe(2, t.phase, 7);
            clock.advanceMs(t.ms);
        }
        const StartTrace& trace = spy.trace(2);
        QVERIFY(!trace.zFromRegisters);
        const auto steps = StartSpy::steps(trace, clock.now());
        QCOMPARE(steps.size(), std::size_t(7));
        QStringList got;
        for (int phase = 1; phase <= 4; ++phase)
            got << StartSpy::verdictText(steps[static_cast<std::size_t>(phase + 1)].verdict);
        QCOMPARE(got, verdicts);
        QCOMPARE(StartSpy::slowest(steps), slowest);
        QCOMPARE(StartSpy::stateText(trace, 2), state);
        QCOMPARE(spy.trace(1).state, SpyState::Idle);
        if (script.startsWith("press:300"))
            QCOMPARE(steps[0].measuredMs, 300); // the parameter read before the start
    }

    // A hardware test, and a register write, go to an engine at rest only: never to one in its start
    // sequence, running or cooling down.
    void serviceActionsRunAtRestOnly_data()
    {
        QTest::addColumn<bool>("answered");
        QTest::addColumn<int>("phase");
        QTest::addColumn<bool>("portOpen");
        QTest::addColumn<bool>("startPending");
        QTest::addColumn<QString>("refusal");
        QTest::newRow("at rest") << true << 0 << true << false << "";
        QTest::newRow("cooling") << true << 6 << true << false << "Tests can be done when phase (0)! ";
        QTest::newRow("never answered") << false << 0 << true << false << "Tests can be done when phase (0)! ";
        QTest::newRow("start waiting") << true << 0 << true << true << "Tests can be done when phase (0)! ";
        QTest::newRow("port closed") << true << 0 << false << false << "The Port Com4 is not activated ! ";
    }
    void serviceActionsRunAtRestOnly()
    {
        QFETCH(bool, answered);
        QFETCH(int, phase);
        QFETCH(bool, portOpen);
        QFETCH(bool, startPending);
        QFETCH(QString, refusal);
        QTemporaryDir dir;
        SettingsFiles files(dir.path());
        ManualClock clock;
        History history(files, clock);
        EngineTables tables;
        LightEngineRecord& r = tables.at(3);
        r.everReported = answered;
        r.Phase = static_cast<std::uint8_t>(phase);
        HardwareTests tests(tables, history, clock,
                            {[&](int) { return portOpen; }, [&](int) { return startPending; }});
        QSignalSpy warnings(&tests, &HardwareTests::warning);
        QSignalSpy finished(&tests, &HardwareTests::finished);

        // The write of registers never read asks first; refused, it does not even ask.
        ParameterEditor editor(tables, files, [&](int) { return portOpen; });
        tables.selectedEngine = 4;
        editor.writeConfig();
        QCOMPARE(editor.exchange() == ParameterEditor::Exchange::ConfirmAsked, phase == 0 && portOpen);
        editor.quit();

        QCOMPARE(tests.run(4, HardwareTest::QthLamps), refusal.isEmpty());
        if (!refusal.isEmpty()) {
            QCOMPARE(warnings.size(), 1);
            QCOMPARE(warnings[0][1].toString(), refusal);
            QCOMPARE(r.QthCommand, 0);
            QCOMPARE(test::readBytes(history.path()), QByteArray());
            return;
        }
        // Commanded, but no frame carrying it ever went out: the time limit fails it and gives
        // the field back.
        QCOMPARE(r.QthCommand, 1);
        QVERIFY(!tests.run(4, HardwareTest::AlarmReset)); // one test at a time
        tests.timeLimit()->start(1);
        QVERIFY(finished.wait(10'000));
        QCOMPARE(tests.current().state, TestState::Failed);
        QCOMPARE(r.QthCommand, 0);
        const QString journal = QString::fromLatin1(test::readBytes(history.path()));
        QCOMPARE(journal.count("Test LE 4 QTH lamps: begun"), 1);
        QCOMPARE(journal.count("Test LE 4 QTH lamps: FAILED, no such answer within"), 1);
    }
};

TARVEK_TEST(ServiceLogicTest)
#include "tst_service_logic.moc"
