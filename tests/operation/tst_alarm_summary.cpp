// The alarm list and the lost-link box without a screen: what each step journals and shows, with
// times from a manual clock.
#include "operation/alarm_summary.h"
#include "operation/lost_link_warning.h"
#include "settings/settings_files.h"
#include "test_registry.h"
#include "test_support.h"

#include <QRegularExpression>
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
    AlarmSummary summary{history, clock};
    QStringList journal() const
    {
        return QString::fromUtf8(test::readBytes(history.path())).split(QRegularExpression("[\r\n]+"), Qt::SkipEmptyParts);
    }
};
} // namespace

class AlarmSummaryTest : public QObject {
    Q_OBJECT
private slots:
    void eachStepIsTimedAndJournaledOnce()
    {
        Rig rig;
        const QDateTime t0 = rig.clock.now();
        const int sht = rig.summary.raise(2, AlarmSource::Sht, "SHT 70 °C above 40 °C");
        QCOMPARE(rig.summary.raise(2, AlarmSource::Sht, "again"), sht); // held: not raised twice
        rig.clock.advanceSeconds(10);
        const int fault = rig.summary.raise(4, AlarmSource::Fault, " ", 20); // a blank text keeps its code
        QCOMPARE(rig.summary.entries().size(), 2);
        QCOMPARE(rig.summary.entries().at(0).id, fault); // newest first
        QCOMPARE(rig.summary.entries().at(0).text, QString("Fault 20"));
        QCOMPARE(rig.summary.entries().at(1).raised, t0);
        QCOMPARE(rig.summary.unacknowledgedCount(), 2);
        QVERIFY(rig.journal().isEmpty()); // raising is journaled by the source

        rig.clock.advanceSeconds(5);
        QVERIFY(rig.summary.acknowledge(sht));
        QVERIFY(!rig.summary.acknowledge(sht));
        QCOMPARE(rig.summary.entries().at(1).acknowledged, t0.addSecs(15));
        QCOMPARE(rig.summary.entries().at(1).mark(), QString("ack"));
        rig.summary.clear(2, AlarmSource::Sht);
        rig.summary.clear(2, AlarmSource::Sht); // already cleared: nothing more
        QCOMPARE(rig.summary.entries().at(1).mark(), QString("done"));
        QVERIFY(!rig.summary.holdsAnywhere(AlarmSource::Sht));
        // Cleared before it was acknowledged: it stays marked until someone has seen it.
        rig.summary.clear(4, AlarmSource::Fault, 20);
        QCOMPARE(rig.summary.entries().at(0).mark(), QString("UNACK"));
        QCOMPARE(rig.summary.acknowledgeAll(), 1);
        QCOMPARE(rig.summary.acknowledgeAll(), 0);
        // A new occurrence after the clear is a new alarm.
        QVERIFY(rig.summary.raise(2, AlarmSource::Sht, "SHT 71 °C above 40 °C") != sht);

        const QStringList lines = rig.journal();
        QCOMPARE(lines.size(), 4);
        QVERIFY(lines[0].endsWith("000    Alarm acknowledged  LE2  SHT 70 °C above 40 °C"));
        QVERIFY(lines[1].endsWith("000    Alarm cleared  LE2  SHT 70 °C above 40 °C"));
        QVERIFY(lines[2].endsWith("020    Alarm cleared  LE4  Fault 20"));
        QVERIFY(lines[3].endsWith("020    Alarm acknowledged  LE4  Fault 20"));
    }

    // What the box shows for a sequence of losses, returns and an OK: "+n" lost, "-n" back, "ok".
    void oneBoxListsEveryEngineLostNow_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QList<int>>("listed"); // engines in the box after the steps
        QTest::addColumn<int>("shows");         // show signals (first show or update in place)
        QTest::addColumn<int>("closes");
        // Six lost at once and their returns are run on the simulator.
        QTest::newRow("all back") << QStringList{"+3", "+5", "-3", "-5"} << QList<int>{} << 3 << 1;
        QTest::newRow("ok, then back") << QStringList{"+3", "+5", "ok", "-3"} << QList<int>{5} << 2 << 0;
        QTest::newRow("ok, then a new loss") << QStringList{"+3", "ok", "+6"} << QList<int>{3, 6} << 2 << 0;
    }
    void oneBoxListsEveryEngineLostNow()
    {
        QFETCH(QStringList, steps);
        QFETCH(QList<int>, listed);
        QFETCH(int, shows);
        QFETCH(int, closes);
        ManualClock clock;
        LostLinkWarning box(clock);
        QSignalSpy shown(&box, &LostLinkWarning::show);
        QSignalSpy closed(&box, &LostLinkWarning::close);
        for (const QString& step : steps) {
            if (step == "ok")
                box.dismissed();
            else if (step.startsWith('+'))
                box.lost(step.mid(1).toInt());
            else
                box.restored(step.mid(1).toInt());
        }
        QCOMPARE(box.lostEngines(), listed);
        QCOMPARE(shown.count(), shows);
        QCOMPARE(closed.count(), closes);
        const QStringList lines = box.lines();
        QCOMPARE(lines.size(), 2 + listed.size());
        for (int i = 0; i < listed.size(); ++i)
            QCOMPARE(lines[2 + i], QString("LE%1   %2 / %3").arg(listed[i]).arg(clock.dateText(), clock.timeText()));
        if (shown.count() > 0 && closes == 0 && box.shown())
            QCOMPARE(shown.last().at(2).toStringList(), lines);
    }
};

TARVEK_TEST(AlarmSummaryTest)
#include "tst_alarm_summary.moc"
