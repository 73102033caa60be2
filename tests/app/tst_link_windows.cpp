// The main window's side of the link, on the real station and six simulated engines.
#include "app/colours.h"
#include "app/configuration_rs232.h"
#include "app/histo_window.h"
#include "app/log_window.h"
#include "station/station.h"
#include "simulated_station.h"
#include "sim/simulated_engine.h"
#include "sim/simulator.h"
#include "test_registry.h"
#include "test_support.h"

#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace tarvek;

namespace {
struct WindowRig {
    SimulatedEngines engines;
    ManualClock clock;
    sim::Simulator* simulator = nullptr;
    std::unique_ptr<Station> station;
    std::unique_ptr<LogWindow> window;

    bool start()
    {
        if (!engines.start())
            return false;
        simulator = engines.simulator.get();
        station = std::make_unique<Station>(engines.folder, QString(), clock);
        window = std::make_unique<LogWindow>(*station);
        window->show();
        QSignalSpy done(station.get(), &Station::startupFinished);
        return station->startedUp() || done.wait(10000);
    }
    template <class T> T* get(const QString& name) const { return window->findChild<T*>(name); }
    void logIn(const QString& password)
    {
        auto* text1 = get<QLineEdit>("Text1");
        text1->clear();
        QTest::keyClicks(text1, password);
        QTest::mouseClick(get<QPushButton>("OkStart"), Qt::LeftButton);
    }
    QString pictures() const
    {
        const QString folder = QStringLiteral(TARVEK_BINARY_DIR) + "/screenshots";
        QDir().mkpath(folder);
        return folder;
    }
};
} // namespace

class LinkWindowsTest : public QObject {
    Q_OBJECT
private slots:
    void connectButtonShowsTheLinkState()
    {
        WindowRig rig;
        QVERIFY(rig.start());
        rig.logIn("harvests");
        auto* button = rig.get<QPushButton>("ComOperStartRS232");
        auto* label = rig.get<QLabel>("ActiveDesactiveRS232");
        // Start-up opened the six ports: the link is connected.
        QTRY_COMPARE_WITH_TIMEOUT(button->text(), QString("STOP (RS232)"), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(rig.get<QLabel>("Label30_5")->text(), QString("yes"), 10000);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(button->text(), QString("START (RS232)"));
        QCOMPARE(label->text(), QString("Connect"));
        QCOMPARE(colours::background(label), QPalette().color(QPalette::Button));
        for (int k = 1; k <= 6; ++k)
            QVERIFY(!rig.station->link().portOpen(k));
        QTRY_COMPARE_WITH_TIMEOUT(rig.get<QLabel>("Label30_0")->text(), QString("closed"), 5000); // closed by the operator, not "no"
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(button->text(), QString("STOP (RS232)"));
        QCOMPARE(label->text(), QString("Disconnect"));
        QCOMPARE(colours::background(label), colours::connected());
        QCOMPARE(colours::background(button), colours::connected());
        QTRY_COMPARE_WITH_TIMEOUT(rig.get<QLabel>("Label30_0")->text(), QString("yes"), 10000);
        // Timer62 gives the label its resting caption back.
        QTRY_COMPARE_WITH_TIMEOUT(label->text(), QString("Connect/Disconnect"), 10000);
        QVERIFY(rig.window->grab().save(rig.pictures() + "/log_connected.png"));
    }

    void portConfigurationForm()
    {
        WindowRig rig;
        QVERIFY(rig.start());
        rig.logIn("harvests");
        ConfigurationRS232* form = rig.window->openPortConfiguration();
        QCOMPARE(form->windowTitle(), QString(" Configurating Ports COMx    "));
        auto* number = form->findChild<QLineEdit*>("Text1_5");
        QCOMPARE(number->text(), QString("6"));
        QVERIFY(form->findChild<QCheckBox*>("Check1_5")->isChecked());
        QVERIFY(form->findChild<QLabel*>("Device_2")->text().contains("COM3"));

        // "All activated" cleared clears all six boxes.
        auto* all = form->findChild<QCheckBox*>("Check2");
        QTest::mouseClick(all, Qt::LeftButton); // checks
        QTest::mouseClick(all, Qt::LeftButton); // clears
        QTRY_VERIFY_WITH_TIMEOUT(!form->findChild<QCheckBox*>("Check1_0")->isChecked(), 5000);
        QTest::mouseClick(all, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(form->findChild<QCheckBox*>("Check1_3")->isChecked(), 5000);

        // A number above 14 is warned about, and saved all the same.
        number->selectAll();
        QTest::keyClicks(number, "15");
        QTRY_VERIFY_WITH_TIMEOUT(rig.window->findChild<QMessageBox*>() != nullptr, 5000);
        auto* box = rig.window->findChild<QMessageBox*>();
        QCOMPARE(box->windowTitle(), QString(" Warning! "));
        QCOMPARE(box->text(), QString("Port numbers 1 to 14 (max) "));
        QCOMPARE(box->icon(), QMessageBox::Critical);
        box->close();
        QVERIFY(form->grab().save(rig.pictures() + "/configuration_rs232.png"));
        QTest::mouseClick(form->findChild<QPushButton*>("Command1"), Qt::LeftButton);
        QCOMPARE(rig.station->files().readValues("\\ParamComx.ini").mid(10, 2), (QStringList{"15", "1"}));
        // An open port keeps its device; the new number takes effect when the link reconnects.
        QVERIFY(rig.station->link().portOpen(6));
        QVERIFY(form->findChild<QLabel*>("Device_5")->text().endsWith("COM6  (open; no device from the next Connect)"));
        rig.station->link().disconnectLink();
        rig.station->link().connectLink();
        QVERIFY(!rig.station->link().portOpen(6)); // COM15 names no device
        QVERIFY(rig.station->link().portOpen(5));
    }

    void lossBoxShowsOncePerLoss()
    {
        WindowRig rig;
        QVERIFY(rig.start());
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->tables().at(3).everReported, 10000);
        rig.simulator->engine(4)->model().setSilent(true);
        QTRY_VERIFY_WITH_TIMEOUT(rig.window->lossBox() && rig.window->lossBox()->isVisible(), 20000);
        QDialog* box = rig.window->lossBox();
        QCOMPARE(box->objectName(), QString("BoiteDialogue"));
        QCOMPARE(box->windowTitle(), QString(" Warning !"));
        QVERIFY(box->findChild<QLabel*>()->text().startsWith("No communication with machine\n         System!\n"));
        QTRY_COMPARE_WITH_TIMEOUT(rig.get<QLabel>("LE4Mat")->text(), QString("---"), 5000);
        QVERIFY(box->grab().save(rig.pictures() + "/boite_dialogue.png"));
        QVERIFY(rig.window->grab().save(rig.pictures() + "/log_engine_lost.png"));
        QTest::mouseClick(box->findChild<QPushButton*>("OkValide"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!rig.window->lossBox(), 5000);
        QTest::qWait(1500); // still silent: the box does not come back
        QVERIFY(!rig.window->lossBox());
        rig.simulator->engine(4)->model().setSilent(false);
        QTRY_VERIFY_WITH_TIMEOUT(rig.get<QLabel>("LE4Mat")->text() != QString("---"), 10000);
    }

    void silenceOfEveryEngineShowsInTheStatusBar()
    {
        WindowRig rig;
        QVERIFY(rig.start());
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->tables().at(5).everReported, 10000);
        for (int n = 1; n <= 6; ++n)
            rig.engines.model(n).setSilent(true);
        QTRY_COMPARE_WITH_TIMEOUT(rig.window->statusBar()->currentMessage(), QString("No reply from any light engine"), 10000);
        rig.engines.model(2).setSilent(false);
        QTRY_VERIFY_WITH_TIMEOUT(rig.window->statusBar()->currentMessage().isEmpty(), 10000);
    }

    void shtAlarmMarksItsMenu()
    {
        WindowRig rig;
        QVERIFY(rig.start());
        QCOMPARE(rig.window->action("mnuAlarmPlateau")->text(), QString("SHT (FADEC and PC)"));
        rig.station->settings().shtSetPoint = 10; // below the engines' room temperature
        QTRY_COMPARE_WITH_TIMEOUT(rig.window->action("mnuAlarmPlateau")->text(), QString("SHT (FADEC and PC) *"), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(rig.get<QListWidget>("List4")->count() >= 6, 10000);
        rig.station->settings().shtSetPoint = 90;
        QTRY_COMPARE_WITH_TIMEOUT(rig.window->action("mnuAlarmPlateau")->text(), QString(" SHT (FADEC and PC)"), 10000);
    }

    void historyWindowOpensFromTheMenu()
    {
        WindowRig rig;
        QVERIFY(rig.start());
        rig.logIn("harvests");
        rig.station->history().append("0", "  Start LE 1");
        rig.window->action("mnuhisto")->trigger();
        HistoWindow* histo = rig.window->findChild<HistoWindow*>("Histo");
        QVERIFY(histo);
        QTRY_COMPARE_WITH_TIMEOUT(histo->rows().size(), 4, 5000);
        QVERIFY(histo->rows().last().endsWith("  Start LE 1"));
        QVERIFY(histo->grab().save(rig.pictures() + "/histo.png"));
    }
};

TARVEK_TEST(LinkWindowsTest)
#include "tst_link_windows.moc"
