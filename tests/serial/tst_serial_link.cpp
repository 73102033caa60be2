#include "link_rig.h"
#include "serial/precise_deadlines.h"
#include "test_registry.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <optional>

class SerialLinkTest : public QObject {
    Q_OBJECT
private slots:
    void portsOpenWithTheLineSettingsOrStayClosedWithAReason()
    {
        LinkRig rig;
        rig.enable(1, 3);
        rig.enable(2, 3);  // the same COM number twice: the second open fails
        rig.enable(3, 13); // no such device
        rig.enable(4, 14); // nothing mapped
        rig.settings.portNumbers[4] = "4"; // slot 5 keeps "0": never opened, whatever its number
        QSignalSpy failed(rig.link.get(), &SerialLink::portOpenFailed);
        rig.link->openPorts();
        QVERIFY(rig.link->portOpen(1));
        QCOMPARE(rig.link->linkCountdown(1), 60);
        QSerialPort* p = rig.link->port(1);
        QCOMPARE(p->objectName(), QString("MSComm1"));
        QCOMPARE(rig.link->deviceName(1), rig.peer(3).device());
        QCOMPARE(p->baudRate(), 19200);
        QCOMPARE(p->dataBits(), QSerialPort::Data8);
        QCOMPARE(p->parity(), QSerialPort::NoParity);
        QCOMPARE(p->stopBits(), QSerialPort::OneStop);
        QCOMPARE(p->flowControl(), QSerialPort::SoftwareControl);
        QVERIFY(!rig.link->portOpen(5));
        QVERIFY(!rig.link->port(5)->isOpen());
        QVERIFY(rig.link->openError(5).isEmpty());
        for (int slot : {2, 3, 4}) {
            QVERIFY2(!rig.link->portOpen(slot), qPrintable(QString::number(slot)));
            QVERIFY(!rig.link->openError(slot).isEmpty());
        }
        QCOMPARE(failed.count(), 3);
        QCOMPARE(rig.link->openError(2), rig.peer(3).device() + " is already open for LE1");
        QCOMPARE(rig.link->openError(3), QString("/dev/tarvek-no-such-device does not exist"));
        QCOMPARE(rig.link->openProblem(3), DeviceProblem::Missing);
        QVERIFY(rig.link->deviceMissing(3));
    }

    void aGoodReplyIsAnsweredByOneFrame()
    {
        LinkRig rig{{2, 5}};
        rig.tables.at(1).RunCommand = 1;
        rig.tables.at(1).ModeCode = 4;
        rig.tables.at(1).PowerSetPoint = 120;
        QSignalSpy sent(rig.link.get(), &SerialLink::frameSent);
        QSignalSpy indicator(rig.link.get(), &SerialLink::linkIndicator);
        // Once the reply is handled, the link leaves the thread to other work until just before
        // its frame is due.
        struct Look {
            qint64 at, soon, ahead; // when, busy within 1 ms, busy within 200 ms
        };
        qint64 seen = 0;
        std::optional<Look> look;
        connect(rig.link.get(), &SerialLink::statusReading, this, [&] { seen = PreciseDeadlines::nowNs(); });
        connect(rig.link.get(), &SerialLink::statusReading, this, [&] {
            const qint64 now = PreciseDeadlines::nowNs();
            look = Look{now, rig.link->busyUntilNs(now, 1'000'000), rig.link->busyUntilNs(now, 200'000'000)};
        }, Qt::QueuedConnection);
        rig.peer(5).send(reply(3));
        QVERIFY(sent.wait(5000)); // in a running event loop, as in the station, where the 30 ms are kept
        QVERIFY(look);
        QVERIFY2(look->soon == 0 || look->at - seen > 28'000'000, "busy right after the reply");
        QVERIFY2(look->ahead - seen >= 30'000'000, qPrintable(QString::number(look->ahead - seen)));
        QTRY_COMPARE_WITH_TIMEOUT(rig.peer(5).received().size(), 34, 5000);
        const QByteArray f = rig.peer(5).received();
        QCOMPARE(byteAt(f, 2), 1);    // RunCommand; the echoes are checked in the frame cycle
        QCOMPARE(byteAt(f, 4), 44);   // not phase 5: the FADEC's own power byte
        QCOMPARE(byteAt(f, 31), 4);
        QCOMPARE(f.right(2), QByteArray("\r\n"));
        QCOMPARE(indicator.last().at(1).toBool(), true);
        QTest::qWait(200);
        QCOMPARE(sent.count(), 1); // one reply, one frame
        const auto delays = rig.link->replyToFrameDelays(2);
        QCOMPARE(delays.count, quint64(1));
        QVERIFY(delays.maxUs >= 30000); // never before 30 ms
        QVERIFY(delays.medianUs >= 30000);
        rig.peer(5).send(reply(5));
        QTRY_COMPARE_WITH_TIMEOUT(rig.peer(5).received().size(), 68, 5000);
        QCOMPARE(byteAt(rig.peer(5).received(), 34 + 4), 120); // phase 5: the set-point
    }

    // A reply that comes piece by piece is not read piece by piece: the port rests, on a precise
    // timer, for less than the rest of the reply needs at 19200 baud, so its last byte is read
    // as it arrives; the whole reply gets one frame. When the line went quiet while the port
    // rested and the next reply came just after the rest, the piece held from before is judged
    // apart from it (and dropped), not glued to it.
    void aReplyInPiecesRestsLessThanItsLineTime()
    {
        LinkRig rig{{1, 1}};
        auto* rest = rig.link->findChild<QTimer*>("ReadLE1");
        QVERIFY(rest);
        rig.peer(1).send(reply(2).left(40));
        QTRY_VERIFY_WITH_TIMEOUT(rest->isActive(), 5000);
        QCOMPARE(rest->timerType(), Qt::PreciseTimer);
        QVERIFY2(rest->remainingTime() < 120 / 1.92, qPrintable(QString::number(rest->remainingTime())));
        rig.peer(1).send(reply(2).mid(40));
        QTRY_COMPARE_WITH_TIMEOUT(rig.peer(1).received().size(), 34, 5000);
        QCOMPARE(rig.link->repliesReceived(1), quint64(1));

        const auto restEnds = [rest] {
            while (rest->isActive())
                QTest::qWait(1);
        };
        restEnds(); // the one after the frame
        rig.peer(1).send(reply(2).left(10));
        QTRY_VERIFY_WITH_TIMEOUT(rest->isActive(), 5000);
        restEnds();
        rig.peer(1).send(reply(3));
        QTRY_COMPARE_WITH_TIMEOUT(rig.peer(1).received().size(), 68, 5000);
        QCOMPARE(int(rig.tables.at(0).Phase), 3);
        QCOMPARE(rig.link->staleDrops(1), quint64(1));
    }

    // What a line carries, piece by piece: "," a pause inside a burst, "~" a quiet line, "." the
    // next piece one byte at a time.
    void whatTheLineCarriesIsFramed_data()
    {
        QTest::addColumn<QByteArrayList>("script");
        QTest::addColumn<int>("good");     // good replies handled
        QTest::addColumn<int>("phase");
        QTest::addColumn<int>("field27");  // kept from the reply before when garbled
        QTest::addColumn<int>("stale");    // partial replies dropped after a quiet line
        const auto put = [](QByteArray r, std::initializer_list<std::pair<int, const char*>> fields) {
            for (const auto& [k, text] : fields)
                r.replace(k * kFieldWidth, kFieldWidth, text);
            return r;
        };
        QTest::newRow("pause inside a reply") << QByteArrayList{reply(1).left(100), ",", reply(1).mid(100) + reply(2)} << 2 << 2 << 87 << 0;
        QTest::newRow("one field garbled") << QByteArrayList{put(reply(1), {{27, "  321"}}), "~", put(reply(2), {{27, "  ab?"}})}
                                           << 2 << 2 << 321 << 0;
        QTest::newRow("fields garbled") << QByteArrayList{put(reply(3), {{4, "x?x?x"}, {10, "  -#!"}, {27, "  ab?"}})} << 1 << 3 << 0 << 0;
        QTest::newRow("sync garbled") << QByteArrayList{put(reply(1), {{30, "  1?3"}}), "~", reply(2)} << 1 << 2 << 87 << 1;
        // In step, a reply whose synchronisation field does not convert is taken but is not good.
        QTest::newRow("sync garbled in step") << QByteArrayList{reply(1), "~", put(reply(1), {{30, "  1?3"}})}
                                              << 1 << 1 << 87 << 0;
        QTest::newRow("dribbled") << QByteArrayList{".", reply(4)} << 1 << 4 << 87 << 0;
        QTest::newRow("partial, quiet, two") << QByteArrayList{reply(1).left(100), "~", reply(2) + reply(3)} << 2 << 3 << 87 << 1;
    }
    void whatTheLineCarriesIsFramed()
    {
        QFETCH(QByteArrayList, script);
        QFETCH(int, good);
        LinkRig rig{{1, 1}};
        int handled = 0;
        connect(rig.link.get(), &SerialLink::replyHandled, this,
                [&handled](int, const ReplyOutcome& o) { handled += o.good ? 1 : 0; });
        bool dribble = false;
        for (const QByteArray& piece : script) {
            if (piece == "~" || piece == ",") {
                QTest::qWait(piece == "~" ? 150 : 10);
            } else if (piece == ".") {
                dribble = true;
            } else if (dribble) {
                for (char c : piece) {
                    rig.peer(1).send(QByteArray(1, c));
                    QTest::qWait(1);
                }
            } else {
                rig.peer(1).send(piece);
            }
        }
        QTRY_COMPARE_WITH_TIMEOUT(handled, good, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(rig.peer(1).received().size() >= 34, 10000); // the last good reply is answered
        QTest::qWait(100);
        QCOMPARE(handled, good);
        QVERIFY(rig.peer(1).received().size() <= 34 * good); // a reply that is not good gets no frame
        QTEST(int(rig.tables.at(0).Phase), "phase");
        QTEST(int(rig.tables.at(0).reported[27]), "field27");
        QTEST(int(rig.link->staleDrops(1)), "stale");
    }

    void connectSavesTheFormAndDisconnectStopsAll()
    {
        LinkRig rig;
        auto& form = rig.link->form();
        for (std::size_t i = 0; i < 6; ++i) {
            form.numbers[i] = QString::number(i + 1);
            form.enabled[i] = true;
        }
        QSignalSpy changed(rig.link.get(), &SerialLink::connectionChanged);
        rig.link->toggleConnection();
        QVERIFY(rig.link->connected());
        QCOMPARE(changed.last().at(0).toBool(), true);
        QCOMPARE(rig.files.readValues("\\ParamComx.ini").mid(0, 4), (QStringList{"1", "1", "2", "1"}));
        for (int k = 1; k <= 6; ++k) {
            QVERIFY(rig.link->portOpen(k));
            rig.peer(k).send(reply());
        }
        for (int k = 1; k <= 6; ++k)
            QTRY_COMPARE_WITH_TIMEOUT(rig.peer(k).received().size(), 34, 5000);
        // Replies already on their way when the operator disconnects get no answer.
        for (int k = 1; k <= 6; ++k)
            rig.peer(k).send(reply());
        rig.link->toggleConnection();
        QVERIFY(!rig.link->connected());
        QTest::qWait(300);
        for (int k = 1; k <= 6; ++k) {
            QVERIFY(!rig.link->portOpen(k));
            QVERIFY(!rig.link->port(k)->isOpen());
            QCOMPARE(rig.tables.at(k - 1).ReplySeen, 0);
            QCOMPARE(rig.peer(k).received().size(), 34);
        }
    }
};

TARVEK_TEST(SerialLinkTest)
#include "tst_serial_link.moc"
