// Alarm handling end to end against six simulated engines: each alarm raised once, listed,
// acknowledged and cleared with its history lines; the banner counts and acknowledges only what
// it shows, also in a burst; limits kept across a restart; the lost-link box and the values of
// lost engines while the frame cycle goes on.
#include "app/alarms/alarm_banner.h"
#include "app/alarms/alarm_summary_window.h"
#include "app/alarms/alarm_window.h"
#include "app/alarms/boite_dialogue.h"
#include "app/common/colours.h"
#include "test_registry.h"
#include "test_support.h"
#include "window_rig.h"

#include <QAction>
#include <QCheckBox>
#include <QDateTime>
#include <QLabel>
#include <QSpinBox>
#include <QStatusBar>
#include <QTableWidget>

using namespace tarvek;

namespace {
constexpr int kWaitMs = 20'000;

QList<AlarmEntry> entriesOf(WindowRig& rig, int engine, AlarmSource source)
{
    QList<AlarmEntry> found;
    for (const AlarmEntry& e : rig.station->alarmSupervision().summary().entries())
        if (e.engine == engine && e.source == source)
            found << e;
    return found;
}
} // namespace

class AlarmsTest : public QObject {
    Q_OBJECT
private slots:
    void eachAlarmIsRaisedListedAcknowledgedAndCleared_data()
    {
        QTest::addColumn<int>("source");
        QTest::addColumn<bool>("running");   // LE2 must run in phase 5 first
        QTest::addColumn<QString>("trigger"); // simulator commands
        QTest::addColumn<QString>("release");
        QTest::addColumn<QString>("line");    // the event and history line of the raise
        QTest::addColumn<QString>("menu");    // marked with a "*" while the alarm holds
        QTest::addColumn<QString>("form");
        QTest::newRow("SHT") << int(AlarmSource::Sht) << false << "sht 2 70" << "sht 2 off" << "LE2  Alarm SHT (FADEC) "
                             << "mnuAlarmPlateau" << "SHTPC";
        QTest::newRow("LFC") << int(AlarmSource::Lfc) << true << "lfc 2 12" << "lfc 2 off" << "LE2  Alarm LFC "
                             << "mnuAlarmLFC" << "ControlLfcAlarm";
        QTest::newRow("QTH") << int(AlarmSource::Qth) << false << "qth-fault 2 on" << "qth-fault 2 off"
                             << "LE2  Alarm QTH-Lamps " << "mnuAlarmHalogen" << "Halogen";
        QTest::newRow("fault") << int(AlarmSource::Fault) << true << "fault 2 16" << "fault 2 0"
                               << "No contact with i2C Sensors  LE2" << "" << "";
    }
    void eachAlarmIsRaisedListedAcknowledgedAndCleared()
    {
        QFETCH(int, source);
        QFETCH(bool, running);
        QFETCH(QString, trigger);
        QFETCH(QString, release);
        QFETCH(QString, line);
        QFETCH(QString, menu);
        QFETCH(QString, form);
        const auto alarm = static_cast<AlarmSource>(source);
        WindowRig rig;
        QVERIFY(rig.start(true, true));
        // LE2's QTH relay alarm is armed; the others keep the default (off).
        rig.station->settings().qthAlarmFlags[1] = 1;
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->tables().at(1).everReported, kWaitMs);
        if (running) {
            QTest::mouseClick(rig.button(2), Qt::LeftButton);
            QTRY_COMPARE_WITH_TIMEOUT(int(rig.station->tables().at(1).Phase), 5, kWaitMs);
            QTest::qWait(1500); // the LFC level settles above its low limit
        }
        QVERIFY(rig.station->alarmSupervision().summary().entries().isEmpty());

        QVERIFY(!rig.engines.simulator->execute(trigger).startsWith("error"));
        if (alarm == AlarmSource::Qth) {
            // A relay that disagrees for less than the settling time is a lamp switching.
            QTest::qWait(1000);
            QVERIFY(!rig.station->alarmSupervision().holds(2, alarm));
            rig.clock.advanceSeconds(4);
        }
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->alarmSupervision().holds(2, alarm), kWaitMs);
        auto* summary = qobject_cast<AlarmSummaryWindow*>(rig.window->openAlarmForm("AlarmSummary"));
        QVERIFY(summary);
        if (!form.isEmpty()) {
            QWidget* window = rig.window->openAlarmForm(form);
            QTRY_COMPARE_WITH_TIMEOUT(window->findChild<QLabel*>("State2")->text(), QString("<b>ALARM</b>"), kWaitMs);
            QCOMPARE(window->findChild<QLabel*>("State1")->text(), QString("normal"));
            const QString marked = rig.window->action(menu)->text();
            QVERIFY2(marked.endsWith('*'), qPrintable(marked));
            // Named in words on the alert colour above the columns.
            auto* indicator = rig.get<QLabel>("AlarmIndicator");
            QTRY_COMPARE_WITH_TIMEOUT(indicator->text(), QString::fromUtf8("\u26A0 ALARM: ") + marked.chopped(1).trimmed(), kWaitMs);
            QVERIFY(indicator->isVisible());
            QCOMPARE(colours::background(indicator), colours::alert());
        }
        QTest::qWait(1000); // held: raised once, however many replies say so
        QCOMPARE(entriesOf(rig, 2, alarm).size(), 1);
        QCOMPARE(rig.station->events().filter(line).size(), 1);
        QCOMPARE(historyLines(*rig.station, line), 1);
        QCOMPARE(summary->list()->item(0, 0)->text(), QString("UNACK"));
        QCOMPARE(summary->list()->item(0, 1)->text(), QString("LE2"));
        QCOMPARE(summary->list()->item(0, 4)->text(), QString());

        summary->list()->selectRow(0);
        QTest::mouseClick(summary->findChild<QPushButton*>("AcknowledgeAlarm"), Qt::LeftButton);
        QCOMPARE(summary->list()->item(0, 0)->text(), QString("ack"));
        QVERIFY(!summary->list()->item(0, 4)->text().isEmpty());
        QCOMPARE(historyLines(*rig.station, "Alarm acknowledged  LE2  "), 1);

        QVERIFY(!rig.engines.simulator->execute(release).startsWith("error"));
        QTRY_VERIFY_WITH_TIMEOUT(!rig.station->alarmSupervision().holds(2, alarm), kWaitMs);
        QCOMPARE(summary->list()->item(0, 0)->text(), QString("done"));
        QVERIFY(!summary->list()->item(0, 5)->text().isEmpty());
        QCOMPARE(historyLines(*rig.station, "Alarm cleared  LE2  "), 1);
        if (!menu.isEmpty()) {
            QVERIFY(!rig.window->action(menu)->text().contains('*'));
            QTRY_VERIFY_WITH_TIMEOUT(!rig.get<QLabel>("AlarmIndicator")->isVisible(), kWaitMs);
        }
        QCOMPARE(entriesOf(rig, 2, alarm).size(), 1);
        QCOMPARE(historyLines(*rig.station, line), 1);
    }

    // Every alarm of every source in one list; acknowledging all journals each; START All clears
    // the window alarms and their marks.
    void summaryListsEverySourceNewestFirst()
    {
        WindowRig rig;
        QVERIFY(rig.start(true));
        rig.station->settings().qthAlarmFlags.fill(1);
        for (int n = 1; n <= 6; ++n)
            QTRY_VERIFY_WITH_TIMEOUT(rig.station->tables().at(n - 1).everReported, kWaitMs);
        rig.engines.simulator->execute("sht 1 80");
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->alarmSupervision().holds(1, AlarmSource::Sht), kWaitMs);
        rig.clock.advanceSeconds(1);
        rig.engines.simulator->execute("qth-fault 3 on");
        QTest::qWait(500);
        rig.clock.advanceSeconds(5);
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->alarmSupervision().holds(3, AlarmSource::Qth), kWaitMs);
        rig.clock.advanceSeconds(1);
        rig.engines.simulator->execute("silence 5 on");
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->alarmSupervision().holds(5, AlarmSource::LinkLost), kWaitMs);
        auto* summary = qobject_cast<AlarmSummaryWindow*>(rig.window->openAlarmForm("AlarmSummary"));
        QCOMPARE(summary->list()->rowCount(), 3);
        QCOMPARE(summary->list()->item(0, 1)->text(), QString("LE5"));
        QCOMPARE(summary->list()->item(1, 1)->text(), QString("LE3"));
        QCOMPARE(summary->list()->item(2, 1)->text(), QString("LE1"));
        QCOMPARE(summary->findChild<QLabel*>("UnacknowledgedCount")->text(), QString("3 alarm(s) to acknowledge"));
        QVERIFY(rig.window->openAlarmForm("Halogen")->isVisible()); // START All closes it

        // The banner names the newest and counts them, and acknowledges that one only.
        auto* bannerText = rig.get<QLabel>("AlarmBannerText");
        QTRY_VERIFY_WITH_TIMEOUT(bannerText->text().contains("3 active, 3 unacknowledged"), kWaitMs);
        QVERIFY(bannerText->text().contains("|   UNACK  LE5  No communication"));
        QCOMPARE(colours::background(rig.window->alarmBanner()), colours::alert());
        QTest::mouseClick(rig.get<QPushButton>("AcknowledgeNewestAlarm"), Qt::LeftButton);
        QCOMPARE(entriesOf(rig, 5, AlarmSource::LinkLost).first().isAcknowledged(), true);
        QCOMPARE(rig.station->alarmSupervision().summary().unacknowledgedCount(), 2);
        QTRY_VERIFY_WITH_TIMEOUT(bannerText->text().contains("UNACK  LE3"), kWaitMs);
        QTest::mouseClick(summary->findChild<QPushButton*>("AcknowledgeAll"), Qt::LeftButton);
        QCOMPARE(rig.station->alarmSupervision().summary().unacknowledgedCount(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(bannerText->text() == "Alarms: 3 active, 0 unacknowledged   |   all acknowledged", kWaitMs);
        QCOMPARE(colours::background(rig.window->alarmBanner()), colours::idle());
        QCOMPARE(historyLines(*rig.station, "Alarm acknowledged  LE"), 3);

        QSignalSpy questions(rig.station.get(), &Station::question);
        QTest::mouseClick(rig.get<QPushButton>("StartAllLE"), Qt::LeftButton);
        QCOMPARE(rig.window->action("mnuAlarmPlateau")->text(), QString("SHT (FADEC and PC) "));
        QCOMPARE(rig.window->action("mnuAlarmHalogen")->text(), QString("QTH-Lamps "));
        QVERIFY(!rig.station->alarmSupervision().holds(1, AlarmSource::Sht));
        QVERIFY(!rig.station->alarmSupervision().holds(3, AlarmSource::Qth));
        QVERIFY(rig.station->alarmSupervision().holds(5, AlarmSource::LinkLost)); // not a window alarm
        QTRY_VERIFY_WITH_TIMEOUT(!rig.window->findChild<QWidget*>("Halogen", Qt::FindDirectChildrenOnly), kWaitMs);
        rig.station->answer(questions.last().at(0).toInt(), false);
    }

    // Fifty alarms in a moment: the banner keeps up, and an alarm that came after the one on show
    // is not acknowledged by the click meant for that one. Then one alarm step by step, and the
    // limits of the alarm forms.
    void aBurstOfAlarmsAcknowledgesOnlyTheOneShown()
    {
        WindowRig rig;
        QVERIFY(rig.start(false));
        AlarmSummary& summary = rig.station->alarmSupervision().summary();
        for (int i = 0; i < 50; ++i)
            summary.raise(i % 6 + 1, AlarmSource::Fault, QStringLiteral("burst %1").arg(i), i + 100);
        AlarmBanner* banner = rig.window->alarmBanner();
        QTRY_VERIFY_WITH_TIMEOUT(rig.get<QLabel>("AlarmBannerText")->text().contains("50 active, 50 unacknowledged"),
                                 kWaitMs);
        const int shown = banner->shownId();
        const int unseen = summary.raise(2, AlarmSource::Fault, QStringLiteral("after"), 999);
        rig.window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(rig.window.get()));
        QTest::keyClick(rig.window.get(), Qt::Key_F9);
        for (const AlarmEntry& e : summary.entries())
            QCOMPARE(e.isAcknowledged(), e.id == shown);
        QCOMPARE(banner->shownId(), unseen);
        QCOMPARE(historyLines(*rig.station, "Alarm acknowledged  LE"), 1);
        // Raising is journaled by the source of the alarm, not by the list: the log-in and the
        // acknowledgement are all.
        QCOMPARE(test::readBytes(rig.station->files().pathOf("\\Histo.txt")).count('\n'), 2);

        // A blank text keeps its code; held, it is raised once. Cleared before it was acknowledged,
        // it stays marked until someone has seen it; a new occurrence after the clear is a new alarm.
        const QDateTime t0 = rig.clock.now();
        const int blank = summary.raise(4, AlarmSource::Fault, " ", 20);
        QCOMPARE(summary.raise(4, AlarmSource::Fault, "again", 20), blank);
        QCOMPARE(summary.entries().at(0).text, QString("Fault 20"));
        QCOMPARE(summary.entries().at(0).raised, t0);
        summary.clear(4, AlarmSource::Fault, 20);
        summary.clear(4, AlarmSource::Fault, 20);
        QCOMPARE(summary.entries().at(0).mark(), QString("UNACK"));
        rig.clock.advanceSeconds(5);
        QVERIFY(summary.acknowledge(blank));
        QVERIFY(!summary.acknowledge(blank));
        QCOMPARE(summary.entries().at(0).mark(), QString("done"));
        QCOMPARE(summary.entries().at(0).acknowledged, t0.addSecs(5));
        QVERIFY(summary.raise(4, AlarmSource::Fault, " ", 20) != blank);
        QCOMPARE(historyLines(*rig.station, "020    Alarm cleared  LE4  Fault 20\r\n"), 1);
        QCOMPARE(historyLines(*rig.station, "020    Alarm acknowledged  LE4  Fault 20\r\n"), 1);

        // The limits are changed in service mode only, and a station started again reads them back.
        auto* sht = rig.window->openAlarmForm("SHTPC");
        QVERIFY(!sht->findChild<QCheckBox*>("Armed3")->isEnabled());
        QCOMPARE(sht->findChild<QSpinBox*>("ShtSetPoint")->value(), 40);
        QCOMPARE(qobject_cast<AlarmWindow*>(sht)->save(), QString("Limits are changed in SERVICE mode only"));

        QVERIFY(rig.station->logIn("dolphin"));
        QTRY_VERIFY_WITH_TIMEOUT(sht->findChild<QCheckBox*>("Armed3")->isEnabled(), kWaitMs);
        sht->findChild<QSpinBox*>("ShtSetPoint")->setValue(55);
        sht->findChild<QCheckBox*>("Armed3")->setChecked(false);
        QTest::mouseClick(sht->findChild<QPushButton*>("SaveLimits"), Qt::LeftButton);
        QCOMPARE(sht->findChild<QLabel*>("Message")->text(), QString("Saved"));
        auto* lfc = rig.window->openAlarmForm("ControlLfcAlarm");
        lfc->findChild<QSpinBox*>("LfcSliderTop")->setValue(120);
        lfc->findChild<QSpinBox*>("LfcLow")->setValue(25);
        lfc->findChild<QCheckBox*>("Armed4")->setChecked(false);
        QTest::mouseClick(lfc->findChild<QPushButton*>("SaveLimits"), Qt::LeftButton);
        auto* qth = rig.window->openAlarmForm("Halogen");
        qth->findChild<QCheckBox*>("Armed2")->setChecked(true);
        QTest::mouseClick(qth->findChild<QPushButton*>("SaveLimits"), Qt::LeftButton);
        const AlarmLimits saved = rig.station->alarmSupervision().limits();

        const auto file = [&](const char* name) { return rig.station->files().readValues(name); };
        QCOMPARE(file("\\SHTConsigne.ini"), QStringList{"55"});
        QCOMPARE(file("\\SHTPCStatusHal.ini"),
                 (QStringList{"1", "0", "0", "1", "0", "0", "0", "0", "0", "0", "0", "1", "0", "0", "0", "0", "0", "0", "0", "0"}));
        QCOMPARE(file("\\ConsSliderLCF.ini"), (QStringList{"120", "25", "0", "0", "0", "1", "0", "0", "0"}));
        QCOMPARE(file("\\StatusHalogen.ini"), (QStringList{"0", "1", "0", "0", "0", "0"}));

        const QString folder = rig.station->files().folder();
        rig.window.reset();
        rig.station = std::make_unique<Station>(folder, QString(), rig.clock);
        QVERIFY(loadAndStart(*rig.station));
        QVERIFY(rig.station->alarmSupervision().limits() == saved);
        AlarmLimits wrong = saved;
        wrong.lfcLow = 121;
        QCOMPARE(wrong.problem(), QString("The LFC low limit must be 0 to 120"));
    }

    // Six engines lost at once: one box, six lines, six history lines; the engines that answer
    // again are served while the box still lists the others. A lost engine shows no values and
    // its link cell says so; a new loss is told again, once however long it lasts.
    void sixLostEnginesGiveOneBoxAndTheCycleGoesOn()
    {
        WindowRig rig;
        QVERIFY(rig.start(true));
        for (int n = 1; n <= 6; ++n)
            QTRY_VERIFY_WITH_TIMEOUT(!allDashes(rig, n), kWaitMs);
        QSignalSpy shown(rig.station.get(), &Station::linkLossWarning);
        for (int n = 1; n <= 6; ++n)
            rig.engines.model(n).setSilent(true);
        QTRY_COMPARE_WITH_TIMEOUT(shown.count(), 6, kWaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(rig.window->statusBar()->currentMessage(), QString("No reply from any light engine"), kWaitMs);
        auto* box = qobject_cast<BoiteDialogue*>(rig.window->lossBox());
        QVERIFY(box && box->isVisible() && !box->isModal());
        QCOMPARE(box->objectName(), QString("BoiteDialogue"));
        QCOMPARE(rig.window->findChildren<BoiteDialogue*>().size(), 1);
        const QStringList lines = box->lines();
        QCOMPARE(lines.size(), 8);
        const QString when = rig.clock.dateText() + " / " + rig.clock.timeText();
        for (int n = 1; n <= 6; ++n) {
            QCOMPARE(lines.at(n + 1), QString("LE%1   %2").arg(n).arg(when));
            QCOMPARE(historyLines(*rig.station, QString("No communication with machine System!  LE%1").arg(n)), 1);
        }
        auto* link = rig.get<QLabel>("Label30_3");
        QTRY_COMPARE_WITH_TIMEOUT(link->text(), QString("lost"), kWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(allDashes(rig, 4), kWaitMs);
        QCOMPARE(colours::background(link), colours::alert());
        QTest::qWait(1500); // still silent: nothing more
        QCOMPARE(shown.count(), 6);
        QCOMPARE(historyLines(*rig.station, "No communication with machine System!"), 6);

        // LE1..LE3 answer again; the box, still open for LE4..LE6, never holds up their frames.
        for (int n = 1; n <= 3; ++n)
            rig.engines.model(n).setSilent(false);
        QTRY_COMPARE_WITH_TIMEOUT(box->lines().size(), 5, kWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(rig.window->statusBar()->currentMessage().isEmpty(), kWaitMs);
        QVERIFY(box->isVisible());
        std::array<sim::FadecCounts, 3> before{};
        for (int n = 1; n <= 3; ++n)
            before[static_cast<std::size_t>(n - 1)] = rig.engines.model(n).counts();
        const auto framesSince = [&](int n) {
            return rig.engines.model(n).counts().frames - before[static_cast<std::size_t>(n - 1)].frames;
        };
        QTRY_VERIFY_WITH_TIMEOUT(framesSince(1) >= 10 && framesSince(2) >= 10 && framesSince(3) >= 10, 30'000);
        QVERIFY(box->isVisible());
        for (int n = 1; n <= 3; ++n) {
            const sim::FadecCounts now = rig.engines.model(n).counts();
            const sim::FadecCounts& was = before[static_cast<std::size_t>(n - 1)];
            // The simulator repeats a reply only when no frame answered it within a second.
            QVERIFY(now.replies - was.replies <= now.frames - was.frames + 1);
            QCOMPARE(historyLines(*rig.station, QString("Communication restored with machine System!  LE%1").arg(n)), 1);
            QVERIFY(!allDashes(rig, n));
        }
        QVERIFY(allDashes(rig, 4));
        for (int n = 4; n <= 6; ++n)
            rig.engines.model(n).setSilent(false);
        QTRY_VERIFY_WITH_TIMEOUT(!rig.window->lossBox(), kWaitMs);
        QCOMPARE(historyLines(*rig.station, "Communication restored with machine System!"), 6);
        for (int n = 1; n <= 6; ++n) {
            const QList<AlarmEntry> lost = entriesOf(rig, n, AlarmSource::LinkLost);
            QCOMPARE(lost.size(), 1);
            QVERIFY(!lost.first().holds() && !lost.first().isAcknowledged());
        }
        QTRY_COMPARE_WITH_TIMEOUT(link->text(), QString("yes"), kWaitMs);
        QVERIFY(colours::background(link) != colours::alert());
        QCOMPARE(link->lineWidth(), 1); // the frame and the text of a lost link go with it
        QCOMPARE(link->palette().color(QPalette::WindowText), QPalette().color(QPalette::WindowText));
        QTRY_VERIFY_WITH_TIMEOUT(!allDashes(rig, 4), kWaitMs);

        // A new loss of LE4 is told again; its box closed with OK stays closed while LE4 is silent.
        rig.engines.model(4).setSilent(true);
        QTRY_VERIFY_WITH_TIMEOUT(rig.window->lossBox() && rig.window->lossBox()->isVisible(), kWaitMs);
        QCOMPARE(historyLines(*rig.station, "No communication with machine System!  LE4"), 2);
        QTest::mouseClick(rig.window->lossBox()->findChild<QPushButton*>("OkValide"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!rig.window->lossBox(), kWaitMs);
        QTest::qWait(1500);
        QVERIFY(!rig.window->lossBox());
        QCOMPARE(historyLines(*rig.station, "No communication with machine System!  LE"), 7);

        // After an OK, a new loss shows the box again with every engine lost now; a return only
        // takes its line out.
        rig.engines.model(5).setSilent(true);
        QTRY_VERIFY_WITH_TIMEOUT(rig.window->lossBox() && rig.window->lossBox()->isVisible(), kWaitMs);
        box = qobject_cast<BoiteDialogue*>(rig.window->lossBox());
        QCOMPARE(box->lines().mid(2), (QStringList{"LE4   " + when, "LE5   " + when}));
        QTest::mouseClick(box->findChild<QPushButton*>("OkValide"), Qt::LeftButton);
        rig.engines.model(4).setSilent(false);
        QTRY_COMPARE_WITH_TIMEOUT(rig.station->lostLinks().lostEngines(), QList<int>{5}, kWaitMs);
        QVERIFY(!rig.window->lossBox());
    }
};

TARVEK_TEST(AlarmsTest)
#include "tst_alarms.moc"
