// Set-points: the forms PW6Sliders and Saisie on the main window, and set-points travelling to
// six simulated engines on pseudo-terminals.
#include "app/setpoints/pw6_sliders.h"
#include "app/setpoints/saisie.h"
#include "simulated_station.h"
#include "station/station.h"
#include "test_registry.h"
#include "test_support.h"
#include "window_rig.h"

#include <QLabel>
#include <QMessageBox>
#include <QRadioButton>
#include <QSlider>
#include <QTest>

using namespace tarvek;

namespace {
constexpr int kCycleWaitMs = 20'000;
int sent(const sim::FadecModel& m, int position) { return static_cast<unsigned char>(m.lastFrame().at(static_cast<std::size_t>(position))); }
} // namespace

class SetPointFormsTest : public QObject {
    Q_OBJECT
private slots:
    // The keyboard moves one slider, or all six in a group; quitting stores nothing. One past the
    // top is clamped, stored, filed and shown on the main window. The motor speed entry refuses
    // what it cannot send, then stores.
    void slidersAndTheMotorSpeedEntryStoreOnlyWhatIsValidated()
    {
        WindowRig rig;
        QVERIFY(rig.start(false));
        rig.station->selectEngine(3);
        rig.get<QPushButton>("PowerSetPoints")->click();
        auto* form = rig.get<PW6Sliders>("PW6Sliders");
        QVERIFY(form && form->isVisible());
        const auto slider = [form](int n) { return form->findChild<QSlider*>(QString("SliderPW%1").arg(n)); };
        const auto label = [form](int n) { return form->findChild<QLabel*>(QString("LabelPW%1").arg(n))->text(); };
        QCOMPARE(form->focusWidget(), slider(3));
        QCOMPARE(label(1), QString("500 We"));
        QTest::keyClick(slider(2), Qt::Key_Up);
        QTest::keyClick(slider(2), Qt::Key_PageUp);
        QCOMPARE(label(2), QString("610 We"));
        QCOMPARE(label(1), QString("500 We"));
        QTest::mouseClick(form->findChild<QPushButton*>("PresetEgal"), Qt::LeftButton);
        QCOMPARE(form->shown(), (std::array<int, 6>{61, 61, 61, 61, 61, 61}));
        form->findChild<QRadioButton*>("OptionGroup")->setChecked(true);
        QTest::keyClick(slider(5), Qt::Key_Down);
        QCOMPARE(form->shown(), (std::array<int, 6>{60, 60, 60, 60, 60, 60}));
        QCOMPARE(label(6), QString("600 We"));
        form->findChild<QPushButton*>("PWQuitter")->click();
        QCOMPARE(int(rig.station->tables().at(0).PowerSetPoint), 50);

        const int moved = 140, stored = 130;
        rig.get<QPushButton>("PowerSetPoints")->click();
        QVERIFY(form->isVisible());
        slider(3)->setValue(moved);
        QTest::mouseClick(form->findChild<QPushButton*>("PWValide"), Qt::LeftButton);
        QVERIFY(!form->isVisible());
        QCOMPARE(int(rig.station->tables().at(2).PowerSetPoint), stored);
        QCOMPARE(rig.get<QLabel>("LE3Power")->text(), QString("%1 We").arg(stored * 10));

        // The motor speed entry: each refusal told, the form kept open, nothing stored.
        rig.station->selectEngine(4);
        rig.get<QPushButton>("Label9")->click();
        Saisie* entry = rig.window->saisie();
        QVERIFY(entry->isVisible());
        auto* text1 = entry->findChild<QLineEdit*>("Text1");
        auto* ok = entry->findChild<QPushButton*>("ValidationSaisie");
        const QList<std::pair<QString, QString>> refusals{{"12.5", "Input error, use number 0-9"},
                                                          {"999", "Input error, Value < Min or > Max "},
                                                          {"10000", "Standard input, 1000-4000 RPM "}};
        for (const auto& [typed, message] : refusals) {
            text1->clear();
            QTest::keyClicks(text1, typed);
            QTest::mouseClick(ok, Qt::LeftButton);
            QMessageBox* box = entry->messageBox();
            QVERIFY(box && box->isVisible());
            QCOMPARE(box->text(), message);
            box->button(QMessageBox::Ok)->click();
            QVERIFY(entry->isVisible());
            QCOMPARE(text1->text(), typed);
            QCOMPARE(int(rig.station->tables().at(3).MotorSpeedSetPoint), 0);
        }
        // A speed the unit of 30 rpm rounds says so before it is sent, and the history names what was.
        auto* note = entry->findChild<QLabel*>("LabelNote");
        text1->clear();
        QTest::keyClicks(text1, "2490");
        QVERIFY(!note->isVisible());
        text1->clear();
        QTest::keyClicks(text1, "2500");
        QVERIFY(note->isVisible());
        QCOMPARE(note->text(), "2500 rpm is sent as 83 x 30 = 2490 rpm");
        QTest::mouseClick(ok, Qt::LeftButton);
        QVERIFY(!entry->isVisible());
        QCOMPARE(int(rig.station->tables().at(3).MotorSpeedSetPoint), 83);
        QCOMPARE(rig.station->powerSetPoints().motorSpeedRpm(), 2500);
        QCOMPARE(historyLines(*rig.station, "  M speed LE 4 = 2490 rpm (83 x 30 rpm; 2500 rpm entered)"), 1);

        // Cancelled: nothing stored; without a selected engine the entry does not open.
        rig.get<QPushButton>("Label9")->click();
        QTest::keyClicks(text1, "4000");
        entry->findChild<QPushButton*>("AnnulerSaisie")->click();
        QVERIFY(!entry->isVisible());
        QCOMPARE(int(rig.station->tables().at(3).MotorSpeedSetPoint), 83);
        rig.station->tables().selectedEngine = 0;
        QVERIFY(!rig.window->openMotorSpeedEntry());
    }

    void setPointsAreStoredAtOnceAndTravelWhenTheyMay()
    {
        EngineStation rig;
        rig.engines.shortenStarts();
        QVERIFY(rig.ready());
        Station& station = *rig.station;
        sim::FadecModel& le2 = rig.engines.model(2);

        // At rest: clamped, stored and filed at once, but position 4 keeps echoing what the FADEC
        // reports. Only a changed value is journaled, so confirming the same again adds nothing.
        const std::array<int, 6> stored{30, 120, 130, 130, 50, 75};
        QVERIFY(station.powerSetPoints().confirm({20, 120, 130, 140, 50, 75}));
        QCOMPARE(test::readBytes(station.files().pathOf("\\ConsignePW.ini")),
                 QByteArray("30\r\n120\r\n130\r\n130\r\n50\r\n75\r\n"));
        for (int n = 1; n <= 6; ++n) {
            QCOMPARE(int(station.tables().at(n - 1).PowerSetPoint), stored[static_cast<std::size_t>(n - 1)]);
            QCOMPARE(station.powerSetPoints().filed(n), stored[static_cast<std::size_t>(n - 1)]);
        }
        QVERIFY(station.powerSetPoints().confirm(stored));
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
        QCOMPARE(rig.engines.model(1).power(), 50); // LE1 was never touched

        QCOMPARE(historyLines(station, "    PWe LE 2 = 1200 We"), 1);
        QCOMPARE(historyLines(station, "    M speed LE 2 = 3000 rpm"), 1);
        QCOMPARE(historyLines(station, "PWe LE"), 5); // LE5 kept its value
        QCOMPARE(historyLines(station, History::formatLine(rig.clock.timeText(), rig.clock.dateText(), "0",
                                                           "  PWe LE 1 = 300 We")), 1);
        QCOMPARE(historyLines(station, "    PWe LE 6 = 750 We"), 1);
    }
};

TARVEK_TEST(SetPointFormsTest)
#include "tst_setpoint_forms.moc"
