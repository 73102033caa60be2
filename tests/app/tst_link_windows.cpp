// The link end to end: the whole station from its start-up against six simulated engines on
// pseudo-terminals, and the main window's side of it: the link button and the link columns.
#include "app/common/colours.h"
#include "app/settings/configuration_rs232.h"
#include "app/main_window/log_window.h"
#include "simulated_station.h"
#include "station/station.h"
#include "test_registry.h"
#include "test_support.h"
#include "window_rig.h"

#include <QCheckBox>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
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
        // LE2 is started from elsewhere: a frame asking for a start reaches its controller.
        const auto fields = rig.engines.model(2).statusFields();
        std::string start(34, '\0');
        for (std::size_t k = 0; k < 32; ++k)
            start[k] = static_cast<char>(fields[k] & 0xFF);
        start[2] = 1;
        start[32] = '\r';
        start[33] = '\n';
        QVERIFY(rig.engines.model(2).frame(start));
        auto* status = rig.get<QLabel>("LE2Status");
        QTRY_COMPARE_WITH_TIMEOUT(status->text(), QString("Running, not started here"), kRigWaitMs);
        QCOMPARE(rig.button(2)->text(), QString("STOP LE-2"));
        QCOMPARE(colours::background(rig.button(2)), colours::foundRunning());
        WindowRig::save(rig.window.get(), "found_running.png");
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
        WindowRig::save(rig.window.get(), "stale_column.png");
        QTRY_COMPARE_WITH_TIMEOUT(cell(6), QString("yes"), kRigWaitMs);
        QCOMPARE(colours::background(rig.get<QLabel>("LE6Mat")), QPalette().color(QPalette::Window));
        QTRY_COMPARE_WITH_TIMEOUT(cell(3), QString("lost"), kRigWaitMs);
        QVERIFY(allDashes(rig, 3));
        WindowRig::save(rig.window.get(), "lost_link_events.png");

        QSignalSpy questions(rig.station.get(), &Station::question);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(questions.count(), 1);
        QCOMPARE(questions.last().at(1).toString(), QString(" Warning!"));
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
        WindowRig::save(rig.window.get(), "closed_links.png");
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
        WindowRig::save(rig.window.get(), "log_connected.png");
        // The end of the station names the engines it leaves running.
        rig.station->quit(QStringLiteral("Exit control"));
        QCOMPARE(historyLines(*rig.station, "Station ended (Exit control): running LE2, LE4"), 1);
    }

    void portConfigurationForm()
    {
        WindowRig rig;
        QVERIFY(rig.start(true));
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
        WindowRig::save(form, "configuration_rs232.png");
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
        rig.station->load();
        for (int k = 1; k <= 6; ++k)
            QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().answered(k), 15000);
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
        QCOMPARE(events.first(), (QVariantList{2, 5})); // "Data was lost"
        QVERIFY(rig.station->link().reconnecting(2));
        rig.station->link().disconnectLink();
        QTest::qWait(2500); // the device is back by now
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
