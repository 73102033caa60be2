// The link end to end: the whole station from its start-up against six simulated engines on
// pseudo-terminals, and the main window's side of it: the link button and the link columns.
#include "app/common/colours.h"
#include "app/settings/configuration_rs232.h"
#include "app/main_window/log_window.h"
#include "pty_peer.h"
#include "simulated_station.h"
#include "station/station.h"
#include "test_registry.h"
#include "test_support.h"
#include "window_rig.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSerialPort>
#include <QSignalSpy>
#include <QTest>

using namespace tarvek;

class LinkWindowsTest : public QObject {
    Q_OBJECT
private slots:
    // The link button closes and opens the six links; closing while engines run is asked first,
    // and they run on. The columns tell an engine found running, a lost one and closed links apart;
    // no value outlives the link but those of a running engine.
    void connectButtonShowsTheLinkState()
    {
        WindowRig rig;
        QVERIFY(rig.start(true, true));
        auto* button = rig.get<QPushButton>("ComOperStartRS232");
        auto* label = rig.get<QLabel>("ActiveDesactiveRS232");
        const auto cell = [&rig](int n) { return rig.get<QLabel>(QString("Label30_%1").arg(n - 1))->text(); };
        // Start-up opened the six ports: the link is connected.
        QTRY_COMPARE_WITH_TIMEOUT(button->text(), QString("STOP (RS232)"), kRigWaitMs);
        for (int n = 1; n <= 6; ++n) {
            QTRY_COMPARE_WITH_TIMEOUT(cell(n), QString("yes"), kRigWaitMs);
            QTRY_VERIFY_WITH_TIMEOUT(!allDashes(rig, n), kRigWaitMs);
        }
        // LE2 is started from elsewhere.
        QVERIFY(rig.engines.model(2).startLocally());
        auto* status = rig.get<QLabel>("LE2Status");
        QTRY_COMPARE_WITH_TIMEOUT(status->text(), QString("Running, not started here"), kRigWaitMs);
        QCOMPARE(rig.button(2)->text(), QString("STOP LE-2"));
        QCOMPARE(colours::background(rig.button(2)), colours::foundRunning());
        QTest::mouseClick(rig.button(4), Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(int(rig.station->tables().at(3).Phase), 5, kRigWaitMs);
        // LE6 answers with its register block for a while and LE3 falls silent: neither sends a
        // reading, so from the overdue reply on each column keeps its last status values in the
        // look of a lost link, its link cell reads "late", and no register is shown as a value.
        rig.engines.simulator->execute("block 6 100");
        rig.engines.model(3).setSilent(true);
        for (int n : {6, 3}) {
            QTRY_COMPARE_WITH_TIMEOUT(cell(n), QString("late"), kRigWaitMs);
            for (QLabel* l : valueLabels(rig, n))
                QCOMPARE(colours::background(l), colours::alert());
            for (const char* row : {"Mat", "Sht", "Sbv", "Vcc"}) // 0 in the block, never at rest
                QVERIFY2(rig.get<QLabel>(QString("LE%1%2").arg(n).arg(row))->text().section(' ', 0, 0).toDouble() > 0, row);
        }
        QTRY_COMPARE_WITH_TIMEOUT(cell(6), QString("yes"), kRigWaitMs);
        QCOMPARE(colours::background(rig.get<QLabel>("LE6Mat")), QPalette().color(QPalette::Window));
        QTRY_COMPARE_WITH_TIMEOUT(cell(3), QString("lost"), kRigWaitMs);
        QVERIFY(allDashes(rig, 3));

        QSignalSpy questions(rig.station.get(), &Station::question);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(questions.count(), 1);
        QVERIFY(questions.last().at(2).toString().startsWith("LE2, LE4 are running."));
        rig.station->answer(questions.last().at(0).toInt(), false);
        QVERIFY(rig.station->link().connected());
        QTest::mouseClick(button, Qt::LeftButton);
        rig.station->answer(questions.last().at(0).toInt(), true);
        QVERIFY(!rig.station->link().connected());
        QCOMPARE(button->text(), QString("START (RS232)"));
        QCOMPARE(label->text(), QString("Connect"));
        QCOMPARE(colours::background(label), QPalette().color(QPalette::Button));
        for (int k = 1; k <= 6; ++k) {
            QVERIFY(!rig.station->link().portOpen(k));
            // Closed by the operator, not "no".
            QTRY_COMPARE_WITH_TIMEOUT(cell(k), QString("closed"), kRigWaitMs);
        }
        for (int n : {1, 3, 5, 6})
            QVERIFY2(allDashes(rig, n), qPrintable(QString::number(n)));
        QCOMPARE(status->text(), QString("Running, link closed"));
        QVERIFY(rig.get<QLabel>("LE2Phase")->text() != "---");
        QCOMPARE(rig.station->events().filter("Links closed by the operator").size(), 1);
        QCOMPARE(historyLines(*rig.station, "Links closed by the operator"), 1);
        QTest::qWait(1500);
        QCOMPARE(rig.engines.model(4).statusFields()[pos::Phase], 5); // it runs on
        QVERIFY(rig.station->engineOperation().startedByUser(4));

        rig.engines.model(3).setSilent(false);
        QTest::mouseClick(button, Qt::LeftButton); // opening asks nothing
        QCOMPARE(questions.count(), 2);
        QCOMPARE(button->text(), QString("STOP (RS232)"));
        QCOMPARE(label->text(), QString("Disconnect"));
        QCOMPARE(colours::background(label), colours::connected());
        QCOMPARE(colours::background(button), colours::connected());
        for (int n = 1; n <= 6; ++n) {
            QTRY_COMPARE_WITH_TIMEOUT(cell(n), QString("yes"), kRigWaitMs);
            QTRY_VERIFY_WITH_TIMEOUT(!allDashes(rig, n), kRigWaitMs);
        }
        // Timer62 gives the label its resting caption back.
        QTRY_COMPARE_WITH_TIMEOUT(label->text(), QString("Connect/Disconnect"), 10000);
        // The end of the station names the engines it leaves running.
        rig.station->quit(QStringLiteral("Exit control"));
        QCOMPARE(historyLines(*rig.station, "Station ended (Exit control): running LE2, LE4"), 1);
    }

    // The form on six running engines: "All activated", the port-number warning (saved all the
    // same), and each kind of device that cannot serve told in the form while the five others run on.
    void portConfigurationForm()
    {
        WindowRig rig;
        QVERIFY(rig.start(true));
        ConfigurationRS232* form = rig.window->openPortConfiguration();
        auto* number = form->findChild<QLineEdit*>("Text1_5");
        QCOMPARE(number->text(), QString("6"));
        QVERIFY(form->findChild<QCheckBox*>("Check1_5")->isChecked());
        QCOMPARE(form->findChild<QComboBox*>("Device_2")->currentText(), rig.engines.dir.filePath("ports/COM3"));
        const auto state = [form](int n) { return form->findChild<QLabel*>(QString("DeviceState_%1").arg(n - 1))->text(); };
        QCOMPARE(state(3), QString("open"));

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
        QCOMPARE(box->text(), QString("Port numbers 1 to 14 (max) "));
        delete box;
        auto* save = form->findChild<QPushButton*>("Command1");
        QTest::mouseClick(save, Qt::LeftButton);
        QCOMPARE(rig.station->files().readValues("\\ParamComx.ini").mid(10, 2), (QStringList{"15", "1"}));
        // An open port keeps its device; the new number takes effect when the link reconnects.
        QVERIFY(rig.station->link().portOpen(6));
        QCOMPARE(state(6), "open on " + rig.engines.dir.filePath("ports/COM6") +
                               "; no device from the next Connect (STOP, then START (RS232))");

        // LE6 switched off and given, one after the other, devices that cannot carry it.
        form->findChild<QCheckBox*>("Check1_5")->setChecked(false);
        QTest::mouseClick(save, Qt::LeftButton);
        QVERIFY(!rig.station->link().portOpen(6));
        QCOMPARE(state(6), QString("off"));
        number->setText("6");
        QVERIFY(QDir(rig.engines.dir.path()).mkdir("folder"));
        tarvek::test::writeBytes(rig.engines.dir.filePath("file"), "x");
        PtyPeer held(false);
        QVERIFY(!held.device().isEmpty());
        QSerialPort other(held.device()); // another program holds this one
        QVERIFY(other.open(QIODevice::ReadWrite));
        const QList<std::pair<QString, QString>> refusals{
            {rig.engines.dir.filePath("gone"), "missing: %1 does not exist; opened as soon as it is there"},
            {rig.engines.dir.filePath("folder"), "refused: %1 is a folder, not a serial port"},
            {rig.engines.dir.filePath("file"), "refused: %1 is an ordinary file, not a serial port"},
            {"/dev/null", "refused: %1 is not a serial port (Inappropriate ioctl for device)"},
            {held.device(), "refused: %1 is in use by another program"},
        };
        std::array<quint64, 6> frames{};
        for (int k = 1; k <= 5; ++k)
            frames[k] = rig.station->link().framesSent(k);
        auto* device = form->findChild<QComboBox*>("Device_5");
        for (const auto& [path, text] : refusals) {
            device->setEditText(path);
            QVERIFY(form->findChild<QCheckBox*>("Check1_5")->isChecked()); // a device chosen switches its engine on
            QTest::mouseClick(save, Qt::LeftButton);
            QVERIFY(!rig.station->link().portOpen(6));
            QCOMPARE(state(6), text.arg(path));
            QCOMPARE(rig.station->files().readValues("\\ComDevices.ini").value(5), path);
        }
        for (int k = 1; k <= 5; ++k) {
            QVERIFY(rig.station->link().portOpen(k));
            QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().framesSent(k) > frames[k] + 5, kRigWaitMs);
        }
        // The links stopped, the last refusal still stands: not "opens with START" as if all were well.
        rig.station->link().disconnectLink();
        QCOMPARE(state(6), refusals.last().second.arg(refusals.last().first));
    }

    // A new station: six engines mapped from the window, a device given twice refused naming
    // both, six links "yes"; then one adapter carrying LE3 and LE4 is unplugged and plugged in
    // again under its stable names while all six run: its two engines come back on their own and
    // the four others never miss a frame. The chooser follows the plugging.
    void aNewUserMapsSixPortsFromTheWindow()
    {
        WindowRig rig;
        QVERIFY(rig.engines.start());
        QFile::remove(rig.engines.folder + "/ParamComx.ini");
        QFile::remove(rig.engines.folder + "/ComDevices.ini");
        QVERIFY(rig.open(true));
        rig.logIn("harvests");
        ConfigurationRS232* form = rig.window->openPortConfiguration();
        // The simulator's folder of links stands for /dev/serial/by-id: each link names one port
        // and follows it when it comes back as another terminal.
        const QString stable = rig.engines.dir.filePath("ports");
        form->devices().setStableFolder(stable);
        const auto chooser = [form](int n) { return form->findChild<QComboBox*>(QString("Device_%1").arg(n - 1)); };
        const auto path = [&stable](int n) { return stable + QString("/COM%1").arg(n); };
        for (int n = 1; n <= 6; ++n) {
            QCOMPARE(chooser(n)->itemText(n - 1), path(n)); // the stable names first
            QCOMPARE(form->findChild<QLineEdit*>(QString("Text1_%1").arg(n - 1))->text(), QString("0"));
            chooser(n)->setCurrentIndex(chooser(n)->findText(path(n == 6 ? 5 : n)));
            QCOMPARE(form->findChild<QLineEdit*>(QString("Text1_%1").arg(n - 1))->text(), QString::number(n));
        }
        QSignalSpy warnings(form, &ConfigurationRS232::warning);
        auto* save = form->findChild<QPushButton*>("Command1");
        chooser(1)->setEditText("/dev/tty USB0");
        QTest::mouseClick(save, Qt::LeftButton);
        QCOMPARE(warnings.count(), 1);
        QCOMPARE(warnings.first().at(1).toString(), "LE1: \"/dev/tty USB0\" is no device name (letters, digits and / . _ - : + only)");
        chooser(1)->setEditText(path(1));
        warnings.clear();
        QTest::mouseClick(save, Qt::LeftButton);
        QCOMPARE(warnings.count(), 1);
        QCOMPARE(warnings.first().at(1).toString(),
                 "LE5 and LE6 are both given " + path(5) + ": one device carries one engine; choose another device "
                 "for one of them");
        QCOMPARE(rig.station->files().readValues("\\ParamComx.ini"), QStringList(12, "0"));
        chooser(6)->setCurrentIndex(chooser(6)->findText(path(6)));
        QTest::mouseClick(save, Qt::LeftButton);
        QCOMPARE(warnings.count(), 1);
        QCOMPARE(rig.station->files().readValues("\\ComDevices.ini").mid(0, 7),
                 (QStringList{path(1), path(2), path(3), path(4), path(5), path(6), ""}));
        QCOMPARE(rig.station->files().readValues("\\ParamComx.ini").mid(0, 4), (QStringList{"1", "1", "2", "1"}));
        const auto cell = [&rig](int n) { return rig.get<QLabel>(QString("Label30_%1").arg(n - 1))->text(); };
        const auto state = [form](int n) { return form->findChild<QLabel*>(QString("DeviceState_%1").arg(n - 1))->text(); };
        for (int n = 1; n <= 6; ++n) {
            QTRY_COMPARE_WITH_TIMEOUT(cell(n), QString("yes"), kRigWaitMs);
            QCOMPARE(state(n), QString("open"));
        }

        std::array<int, 7> timeouts{};
        for (int n = 1; n <= 6; ++n)
            timeouts[n] = rig.engines.simulator->engine(n)->timeouts();
        rig.engines.simulator->execute("vanish 3 4");
        rig.engines.simulator->execute("vanish 4 4");
        for (int n : {3, 4}) {
            QTRY_VERIFY_WITH_TIMEOUT(state(n).startsWith("missing: " + path(n) + " does not exist"), kRigWaitMs);
            QTRY_COMPARE_WITH_TIMEOUT(chooser(n)->findText(path(n)), -1, kRigWaitMs);
        }
        for (int n : {3, 4}) {
            QTRY_COMPARE_WITH_TIMEOUT(state(n), QString("open"), kRigWaitMs);
            QTRY_COMPARE_WITH_TIMEOUT(cell(n), QString("yes"), kRigWaitMs);
            QTRY_VERIFY_WITH_TIMEOUT(chooser(n)->findText(path(n)) >= 0, kRigWaitMs);
        }
        for (int n : {1, 2, 5, 6})
            QCOMPARE(rig.engines.simulator->engine(n)->timeouts(), timeouts[n]);
        QCOMPARE(historyLines(*rig.station, "Port back LE3"), 1);
    }

    // Each fault hits LE3 of six paced engines: LE3 is answered again once the fault is over, the
    // other five miss no frame, and the history tells what happened once.
    void eachLinkFaultCostsOnlyItsEngine_data()
    {
        QTest::addColumn<QStringList>("commands"); // "wait MS" pauses between them
        QTest::addColumn<int>("missedFrames");    // replies of LE3 left unanswered
        QTest::addColumn<QStringList>("journal"); // history lines written once each
        const QStringList none;
        QTest::newRow("nosync") << QStringList{"nosync 3"} << 1 << none;
        QTest::newRow("garbage") << QStringList{"garbage 3"} << 1 << none;
        for (const char* at : {"0", "77", "159"})
            QTest::newRow(qPrintable(QString("drop-byte %1").arg(at))) << QStringList{QString("drop-byte 3 ") + at} << 1 << none;
        QTest::newRow("two bursts") << QStringList{"stall 3 300 70"} << 0 << none;
        QTest::newRow("silence") << QStringList{"silence 3 on", "wait 6500", "silence 3 off"} << -1
                                 << QStringList{"No communication with machine System!  LE3",
                                                "Communication restored with machine System!  LE3"};
        QTest::newRow("vanish") << QStringList{"vanish 3 3"} << -1 << QStringList{"Port lost LE3", "Port back LE3"};
    }
    void eachLinkFaultCostsOnlyItsEngine()
    {
        QFETCH(QStringList, commands);
        QFETCH(int, missedFrames);
        QFETCH(QStringList, journal);
        EngineStation rig(true);
        QVERIFY(rig.ready());
        QTRY_VERIFY_WITH_TIMEOUT(!rig.station->portDiscovery().running(), 15000);
        std::array<int, 7> timeouts{};
        for (int k = 1; k <= 6; ++k)
            timeouts[k] = rig.engines.simulator->engine(k)->timeouts();

        for (const QString& c : commands) {
            if (c.startsWith("wait "))
                QTest::qWait(c.mid(5).toInt());
            else
                QVERIFY2(!rig.engines.simulator->execute(c).startsWith("error"), qPrintable(c));
        }
        const quint64 framesAfterFault = rig.station->link().framesSent(3);
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().framesSent(3) >= framesAfterFault + 10, 20000);
        if (missedFrames >= 0)
            QCOMPARE(rig.engines.simulator->engine(3)->timeouts() - timeouts[3], missedFrames);
        for (int k : {1, 2, 4, 5, 6})
            QCOMPARE(rig.engines.simulator->engine(k)->timeouts(), timeouts[k]);
        for (const QString& line : journal) {
            QTRY_COMPARE_WITH_TIMEOUT(historyLines(*rig.station, line), 1, 10000);
            QCOMPARE(rig.station->events().filter(line).size(), 1); // the event list tells it too
        }
        if (journal.isEmpty())
            QVERIFY(test::readBytes(rig.station->files().pathOf("\\Histo.txt")).isEmpty());
        QVERIFY(rig.station->link().portOpen(3));
        QVERIFY(!rig.station->linkLost[2]);
    }

    // A device that is not there when the station starts is waited for, and its arrival told once.
    // A disconnected link is not reopened when a device returns. Quit closes every port.
    void aMissingDeviceIsWaitedForUnlessTheLinkIsDisconnected()
    {
        EngineStation rig;
        const QString device = rig.engines.dir.filePath("ports/COM5");
        QVERIFY(QFile::rename(device, device + ".away"));
        rig.station->load();
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(1), 15000);
        QVERIFY(rig.station->link().deviceMissing(5));
        QVERIFY(rig.station->link().reconnecting(5));
        QCOMPARE(rig.station->linkState(5), LinkState::No);
        QVERIFY(QFile::rename(device + ".away", device));
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(5), 15000);
        QVERIFY(!rig.station->link().deviceMissing(5));
        QCOMPARE(historyLines(*rig.station, "Port back LE5"), 1);
        QCOMPARE(rig.station->events().filter("Port back LE5").size(), 1);

        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(2), 15000);
        QSignalSpy lost(&rig.station->link(), &SerialLink::portLost);
        QSignalSpy closed(&rig.station->link(), &SerialLink::portClosed);
        QSignalSpy events(&rig.station->link(), &SerialLink::portEvent);
        rig.engines.simulator->execute("vanish 2 1");
        const QString gone = rig.engines.dir.filePath("ports/COM2");
        QVERIFY(!QFileInfo::exists(gone) && !QFileInfo(gone).isSymLink()); // not even a dangling link
        QVERIFY(lost.wait(10000));
        QCOMPARE(lost.first().at(0).toInt(), 2);
        QCOMPARE(closed.count(), 1);
        QVERIFY(!rig.station->link().openError(2).isEmpty());
        // "Data was lost" when a read meets the hang-up first, "DCB reception error" when the
        // next frame's write does (the port is not read while a reply cannot be whole yet).
        QCOMPARE(events.first().at(0).toInt(), 2);
        QVERIFY(QList<int>({5, 9}).contains(events.first().at(1).toInt()));
        QVERIFY(rig.station->link().reconnecting(2));
        rig.station->link().disconnectLink();
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(gone), 30'000); // the device is back
        QVERIFY(!rig.station->link().portOpen(2));
        QVERIFY(!rig.station->link().reconnectTimer(2)->isActive());
        rig.station->link().connectLink();
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(2), 15000);
        QCOMPARE(historyLines(*rig.station, "Port back LE2"), 0); // Connect opened it, not the reconnection
        rig.station->quit();
        for (int k = 1; k <= 6; ++k)
            QVERIFY(!rig.station->link().port(k)->isOpen());
    }
};

TARVEK_TEST(LinkWindowsTest)
#include "tst_link_windows.moc"
