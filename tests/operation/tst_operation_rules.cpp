// The rules of operation that the simulator cannot reach: fault codes it never reports, in phases
// it reports them in only by chance, the end of a rest countdown, the stop alarm's grace tick, the
// SHT and LFC alarms at their limits and the parameter list lines.
#include "maintenance/parameter_list.h"
#include "operation/alarm_supervision.h"
#include "operation/fault_logger.h"
#include "operation/reply_alarms.h"
#include "operation/rest_countdown.h"
#include "operation/stop_alarm.h"
#include "settings/settings_files.h"
#include "settings/station_settings.h"
#include "test_registry.h"
#include "test_support.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tarvek;

namespace {
struct Rig {
    QTemporaryDir dir;
    SettingsFiles files{dir.path()};
    ManualClock clock;
    History history{files, clock};
    EngineTables tables;
    SoftwareSettings software;
    OperationContext ctx{tables, history, clock, software, [](int) { return true; }};
    std::array<QString, kFaultTableSize> texts = faultTextTable();
    FaultLogger::MessageTable messages{};
    FaultLogger faults{ctx, texts, messages};
    QStringList events;

    Rig()
    {
        QObject::connect(&faults, &FaultLogger::eventLine, [this](const QString& l) { events << l; });
        for (auto& m : messages)
            m.fill(QStringLiteral("slot"));
    }
    QStringList historyLines() const
    {
        return QString::fromUtf8(test::readBytes(history.path())).split("\r\n", Qt::SkipEmptyParts);
    }
};

LightEngineRecord reading(int phase, int sht, int lfc)
{
    LightEngineRecord r;
    r.Phase = static_cast<std::uint8_t>(phase);
    r.reported[pos::Sht] = static_cast<std::int16_t>(sht);
    r.reported[pos::Lfc] = static_cast<std::int16_t>(lfc);
    return r;
}
} // namespace

class OperationRulesTest : public QObject {
    Q_OBJECT
private slots:
    // A known code while running, and none at rest, in the engines' end-to-end case. A fault is an
    // alarm in every phase but rest: in the start sequence and the cool-down as much as running.
    void faultCodes_data()
    {
        QTest::addColumn<int>("phase");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("history"); // code column and text
        QTest::addColumn<QString>("marker");
        QTest::newRow("stop arrow") << 6 << 18 << "018    Stop activated  LE2" << " ------> ";
        QTest::newRow("blank text") << 1 << 20 << "020       LE2" << " Error ";
        QTest::newRow("no text") << 3 << 40 << "040      LE2" << " Error ";
        QTest::newRow("outside the table") << 7 << 300 << "300      LE2" << " Error ";
    }
    void faultCodes()
    {
        QFETCH(int, phase);
        QFETCH(int, code);
        QFETCH(QString, history);
        QFETCH(QString, marker);
        Rig rig;
        rig.tables.at(1).Phase = static_cast<std::uint8_t>(phase);
        rig.faults.log(2, code);
        rig.faults.log(2, code); // repeated while flagged: nothing more
        QCOMPARE(rig.historyLines().size(), 1);
        QCOMPARE(rig.events.size(), 1);
        QVERIFY(rig.faults.logged(2, code));
        QVERIFY2(rig.historyLines().at(0).endsWith("    " + history), qPrintable(rig.historyLines().at(0)));
        QCOMPARE(rig.events.at(0), rig.clock.dateText() + " / " + rig.clock.timeText() + marker + history.mid(7));
        // Another engine logs the same code once more; a cleared engine logs it again.
        rig.tables.at(2).Phase = static_cast<std::uint8_t>(phase);
        rig.faults.log(3, code);
        rig.faults.clearFlags(2);
        rig.faults.log(2, code);
        QCOMPARE(rig.historyLines().size(), 3);

        StationSettings settings;
        AlarmState bytes;
        AlarmSupervision alarms(rig.ctx, settings, rig.files, bytes, [&rig](int c) { return rig.faults.text(c); });
        rig.tables.at(1).FaultCode = static_cast<std::int16_t>(code);
        alarms.onReply(2);
        QCOMPARE(alarms.holds(2, AlarmSource::Fault), code != 18 && code != 20);
    }

    void secondMessageTableAndStartAll()
    {
        Rig rig;
        rig.tables.at(0).Phase = 5;
        rig.faults.logMessage(1, 13);
        rig.faults.logMessage(1, 13);
        rig.faults.logMessage(1, 21); // no such slot
        QCOMPARE(rig.historyLines().size(), 1);
        QVERIFY(rig.historyLines().at(0).endsWith("013    slotLE1   "));
        rig.faults.clearForStartAll();
        QCOMPARE(rig.messages[0][13], QString());
        QCOMPARE(rig.messages[0][14], QString("slot"));
        rig.faults.logMessage(1, 13);
        QCOMPARE(rig.historyLines().size(), 2);
    }

    void restCountdownEndsSilver()
    {
        RestCountdown rest;
        QSignalSpy status(&rest, &RestCountdown::engineStatus);
        rest.begin(4);
        QVERIFY(rest.timer(4)->isActive());
        QCOMPARE(rest.timer(4)->objectName(), QString("Timer39"));
        for (int i = 0; i < 18; ++i)
            rest.tick(4);
        QCOMPARE(status.last(), (QVariantList{4, "Rest 42 sec."}));
        for (int i = 0; i < 42; ++i)
            rest.tick(4);
        QCOMPARE(status.last(), (QVariantList{4, QString()}));
        QCOMPARE(rest.restSeconds(4), 60);
        QVERIFY(!rest.running(4));
    }

    // A stop sent a moment ago is not yet an alarm; one seen on the next tick too is.
    void stopAlarmWaitsATickForTheStop()
    {
        Rig rig;
        AlarmState alarms;
        alarms.stopAlarmSeconds = 1;
        StopAlarm alarm(rig.ctx, alarms);
        alarm.toggle();
        alarm.countdownTick();
        QVERIFY(alarm.watchTimer()->isActive());
        QSignalSpy offAll(&alarm, &StopAlarm::offAllRequested);
        rig.tables.at(2).RunCommand = 2;
        rig.tables.at(2).Phase = 5;
        alarm.watchTick();
        QCOMPARE(offAll.size(), 0);
        alarm.watchTick();
        QCOMPARE(offAll.size(), 1);
        QVERIFY(alarm.raised(3));
    }

    // SHT above its set-point counts in any phase, LFC below its low limit only while the lamp runs
    // in phase 5.
    void replyAlarmsBothAtOnceAndLimitsFromSettings()
    {
        ReplyAlarms alarms;
        alarms.setLimits(60, 50);
        QVERIFY(alarms.judge(5, reading(4, 20, 10)).empty()); // warming up: the feedback is still low
        QVERIFY(alarms.judge(5, reading(5, 60, 50)).empty()); // at the limits: no alarm
        const auto both = alarms.judge(5, reading(5, 61, 49));
        QCOMPARE(both.size(), std::size_t(2));
        QVERIFY(alarms.holds(5, ReplyAlarm::Sht) && alarms.holds(5, ReplyAlarm::Lfc));
        QVERIFY(alarms.holdsAnywhere(ReplyAlarm::Lfc));
        // Leaving phase 5 ends it as surely as a good level does.
        const auto cleared = alarms.judge(5, reading(6, 61, 5));
        QCOMPARE(cleared.size(), std::size_t(1));
        QVERIFY(cleared[0].alarm == ReplyAlarm::Lfc && !cleared[0].holds);
        QVERIFY_THROWS_EXCEPTION(std::out_of_range, alarms.judge(6, reading(5, 0, 0)));
    }

    // Order, replacing and appending: in the engines' end-to-end case and the ValeurDesParam window's.
    void parameterListLines()
    {
        ParameterList list;
        std::array<std::uint8_t, 33> registers{};
        registers[28] = 60;
        list.fill(registers, true);
        // "28 60   " ends in blanks: the start parameter reads 0.
        QCOMPARE(list.startParameter(), 0);
    }
};

TARVEK_TEST(OperationRulesTest)
#include "tst_operation_rules.moc"
