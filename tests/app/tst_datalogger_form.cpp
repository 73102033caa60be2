// The form Datalogger on the main window: the three steps and the two Recording entries.
#include "app/recording/datalogger_form.h"
#include "test_registry.h"
#include "test_support.h"
#include "window_rig.h"

#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QRadioButton>

using namespace tarvek;

class DataloggerFormTest : public QObject {
    Q_OBJECT
private slots:
    void stepsStartAndStopFromTheMenu()
    {
        WindowRig rig;
        QVERIFY(rig.start(false));
        const QString folder = rig.station->dataLogger().folder();
        test::writeBytes(folder + "/old_LE1.txt", "x");
        test::writeBytes(folder + "/other_LE2.csv", "x");
        rig.window->action("mnuCreateDataLogger")->trigger();
        auto* form = rig.get<DataloggerForm>("Datalogger");
        QVERIFY(form && form->isVisible());
        const auto child = [form](const char* name) { return form->findChild<QWidget*>(name); };
        const auto status = [form] { return form->findChild<QLabel*>("LabelStatus")->text(); };
        auto* start = form->findChild<QPushButton*>("CommandStart");
        QVERIFY(!start->isEnabled());
        QVERIFY(child("EErase") && child("EAppend"));
        QVERIFY(static_cast<QRadioButton*>(child("EAppend"))->isChecked());

        form->findChild<QListWidget*>("ListInterval")->setCurrentRow(1);
        QCOMPARE(rig.station->dataLogger().choices().interval, 1);

        // The file list follows the type.
        auto* files = form->findChild<QListWidget*>("File1");
        QCOMPARE(files->count(), 1);
        QCOMPARE(files->item(0)->text(), "old_LE1.txt");
        static_cast<QRadioButton*>(child("OptionCsv"))->click();
        QCOMPARE(files->count(), 1);
        QCOMPARE(files->item(0)->text(), "other_LE2.csv");
        static_cast<QRadioButton*>(child("OptionTxt"))->click();

        // Saving a name with no engine ticked: nothing to save.
        auto* name = form->findChild<QLineEdit*>("FileName");
        QTest::keyClicks(name, "shift");
        static_cast<QPushButton*>(child("Enregistrer"))->click();
        QTRY_VERIFY(rig.window->findChild<QMessageBox*>("MessageWarning"));
        QCOMPARE(rig.window->findChild<QMessageBox*>("MessageWarning")->text(), "There is nothing to save! ");
        rig.window->findChild<QMessageBox*>("MessageWarning")->accept();

        static_cast<QCheckBox*>(child("CheckLE1"))->click();
        static_cast<QCheckBox*>(child("CheckLPC"))->click();
        static_cast<QCheckBox*>(child("CheckMAT"))->click();
        static_cast<QPushButton*>(child("Enregistrer"))->click();
        auto* notice = rig.window->findChild<QMessageBox*>("OKTransfert");
        QVERIFY(notice && notice->isVisible());
        QVERIFY(notice->text().contains("shift_LE1.txt"));
        notice->accept();
        QCOMPARE(status(), "Data logging is ready to run");
        QVERIFY(start->isEnabled());

        QTest::mouseClick(start, Qt::LeftButton);
        QVERIFY(rig.station->dataLogger().running());
        QVERIFY(rig.station->findChild<QTimer*>("Timer42")->isActive());
        QVERIFY(!start->isEnabled()); // OFF Datalogger first
        QVERIFY(form->findChild<QLabel*>("LabelRunning")->text().startsWith("Logging into "));
        QVERIFY(QFile::exists(folder + "/shift_LE1.txt"));
        QCOMPARE(files->count(), 2); // the new file joins the list
        // The main window says so where the operator looks, and the menu entry is ticked.
        auto* mark = rig.get<QLabel>("LoggerMark");
        QVERIFY(mark->isVisible());
        QCOMPARE(mark->text(), "Data logger: 1 LE every 2 minutes");
        QVERIFY(mark->toolTip().contains("shift_LE*.txt"));
        QAction* create = rig.window->action("mnuCreateDataLogger");
        QVERIFY(create->isChecked());
        create->trigger(); // opens the form, and leaves the tick as the logger has it
        QTRY_VERIFY(create->isChecked());

        rig.window->action("mnuOffDataLogger")->trigger();
        QVERIFY(!rig.station->dataLogger().running());
        QVERIFY(!mark->isVisible());
        QVERIFY(!create->isChecked());
        QVERIFY(!rig.station->findChild<QTimer*>("Timer42")->isActive());
        QVERIFY(form->findChild<QLabel*>("LabelRunning")->text().startsWith("Not logging"));
        QVERIFY(start->isEnabled());
    }
};

TARVEK_TEST(DataloggerFormTest)
#include "tst_datalogger_form.moc"
