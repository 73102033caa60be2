// The set-point forms on the main window: PW6Sliders and Saisie, and their pictures.
#include "app/pw6_sliders.h"
#include "app/saisie.h"
#include "test_registry.h"
#include "test_support.h"
#include "window_rig.h"

#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QRadioButton>
#include <QSlider>

using namespace tarvek;

class SetPointFormsTest : public QObject {
    Q_OBJECT
private slots:
    void slidersClampAndReachTheMainWindow_data()
    {
        QTest::addColumn<int>("moved");
        QTest::addColumn<int>("stored");
        QTest::newRow("20") << 20 << 30;
        QTest::newRow("30") << 30 << 30;
        QTest::newRow("130") << 130 << 130;
        QTest::newRow("140") << 140 << 130;
    }
    void slidersClampAndReachTheMainWindow()
    {
        QFETCH(int, moved);
        QFETCH(int, stored);
        WindowRig rig;
        QVERIFY(rig.start(false));
        rig.station->selectEngine(3);
        rig.get<QPushButton>("PowerSetPoints")->click();
        auto* form = rig.get<PW6Sliders>("PW6Sliders");
        QVERIFY(form && form->isVisible());
        QCOMPARE(form->windowTitle(), QString(" PWe in Individual or Group"));
        auto* slider = form->findChild<QSlider*>("SliderPW3");
        QCOMPARE(form->focusWidget(), slider);
        slider->setValue(moved);
        QTest::mouseClick(form->findChild<QPushButton*>("PWValide"), Qt::LeftButton);
        QVERIFY(!form->isVisible());
        QCOMPARE(int(rig.station->tables().at(2).PowerSetPoint), stored);
        QCOMPARE(rig.station->powerSetPoints().filed(3), stored);
        QCOMPARE(test::readBytes(rig.station->files().pathOf("\\ConsignePW.ini")).split('\n').at(2), QByteArray::number(stored) + "\r");
        QCOMPARE(rig.get<QLabel>("LE3Power")->text(), QString("%1 We").arg(stored * 10));
    }

    void keyboardGroupAndPresetMoveTheSliders()
    {
        WindowRig rig;
        QVERIFY(rig.start(false));
        PW6Sliders* form = rig.window->openPowerSetPoints();
        const auto slider = [form](int n) { return form->findChild<QSlider*>(QString("SliderPW%1").arg(n)); };
        const auto label = [form](int n) { return form->findChild<QLabel*>(QString("LabelPW%1").arg(n))->text(); };
        QCOMPARE(label(1), QString("500 We"));
        // Single LE: the keyboard moves one engine, and its label follows at once.
        QTest::keyClick(slider(2), Qt::Key_Up);
        QTest::keyClick(slider(2), Qt::Key_PageUp);
        QCOMPARE(label(2), QString("610 We"));
        QCOMPARE(label(1), QString("500 We"));
        QTest::mouseClick(form->findChild<QPushButton*>("PresetEgal"), Qt::LeftButton);
        QCOMPARE(form->shown(), (std::array<int, 6>{61, 61, 61, 61, 61, 61}));
        // Group LE: one slider moves all six.
        form->findChild<QRadioButton*>("OptionGroup")->setChecked(true);
        QTest::keyClick(slider(5), Qt::Key_Down);
        QCOMPARE(form->shown(), (std::array<int, 6>{60, 60, 60, 60, 60, 60}));
        QCOMPARE(label(6), QString("600 We"));
        rig.save(form, "PW6Sliders.png");
        // Closed without validating: nothing stored.
        form->findChild<QPushButton*>("PWQuitter")->click();
        QCOMPARE(int(rig.station->tables().at(0).PowerSetPoint), 50);
    }

    void motorSpeedEntryShowsEachMessageThenStores()
    {
        WindowRig rig;
        QVERIFY(rig.start(false));
        rig.station->selectEngine(4);
        rig.get<QPushButton>("Label9")->click();
        Saisie* form = rig.window->saisie();
        QVERIFY(form->isVisible());
        QCOMPARE(form->findChild<QLabel*>("LabelHint")->text(), QString("By not 100"));
        auto* text1 = form->findChild<QLineEdit*>("Text1");
        auto* ok = form->findChild<QPushButton*>("ValidationSaisie");
        const QList<std::pair<QString, QString>> refusals{{"12.5", "Input error, use number 0-9"},
                                                          {"999", "Input error, Value < Min or > Max "},
                                                          {"10000", "Standard input, 1000-4000 RPM "}};
        for (const auto& [typed, message] : refusals) {
            text1->clear();
            QTest::keyClicks(text1, typed);
            QTest::mouseClick(ok, Qt::LeftButton);
            QMessageBox* box = form->messageBox();
            QVERIFY(box && box->isVisible());
            QCOMPARE(box->text(), message);
            QCOMPARE(box->windowTitle(), QString(" Warning!"));
            QCOMPARE(box->icon(), QMessageBox::Warning);
            // Form and message side by side in one picture.
            const QPixmap a = form->grab(), b = box->grab();
            QPixmap both(a.width() + b.width() + 8, std::max(a.height(), b.height()));
            both.fill(Qt::white);
            QPainter p(&both);
            p.drawPixmap(0, 0, a);
            p.drawPixmap(a.width() + 8, 0, b);
            p.end();
            rig.save(both, QString("Saisie_%1.png").arg(typed));
            box->button(QMessageBox::Ok)->click();
            QVERIFY(form->isVisible());
            QCOMPARE(text1->text(), typed);
            QCOMPARE(int(rig.station->tables().at(3).MotorSpeedSetPoint), 0);
        }
        text1->clear();
        QTest::keyClicks(text1, "2500");
        QTest::mouseClick(ok, Qt::LeftButton);
        QVERIFY(!form->isVisible());
        QCOMPARE(int(rig.station->tables().at(3).MotorSpeedSetPoint), 83);
        QCOMPARE(rig.station->powerSetPoints().motorSpeedRpm(), 2500);

        // Cancelled: nothing stored; without a selected engine the entry does not open.
        rig.get<QPushButton>("Label9")->click();
        QTest::keyClicks(text1, "4000");
        form->findChild<QPushButton*>("AnnulerSaisie")->click();
        QVERIFY(!form->isVisible());
        QCOMPARE(int(rig.station->tables().at(3).MotorSpeedSetPoint), 83);
        rig.station->tables().selectedEngine = 0;
        QVERIFY(!rig.window->openMotorSpeedEntry());
    }
};

TARVEK_TEST(SetPointFormsTest)
#include "tst_setpoint_forms.moc"
