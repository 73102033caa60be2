// The SHT and LFC alarms judged from replies: limits, the running phase, and changes only.
#include "operation/reply_alarms.h"
#include "test_registry.h"

#include <QTest>

using namespace tarvek;

namespace {
LightEngineRecord reading(int phase, int sht, int lfc)
{
    LightEngineRecord r;
    r.Phase = static_cast<std::uint8_t>(phase);
    r.reported[pos::Sht] = static_cast<std::int16_t>(sht);
    r.reported[pos::Lfc] = static_cast<std::int16_t>(lfc);
    return r;
}
} // namespace

class ReplyAlarmsTest : public QObject {
    Q_OBJECT
private slots:
    // SHT above its set-point counts in any phase, LFC below its low limit only while the lamp runs
    // in phase 5.
    void bothAtOnceAndLimitsFromSettings()
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
};

TARVEK_TEST(ReplyAlarmsTest)
#include "tst_reply_alarms.moc"
