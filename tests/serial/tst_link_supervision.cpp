#include "link_rig.h"
#include "serial/link_supervision.h"
#include "test_registry.h"

#include <QSignalSpy>
#include <QTest>

using namespace tarvek;

namespace {
QString lineFor(const QStringList& lines, int slot)
{
    for (const QString& l : lines)
        if (l.startsWith(QStringLiteral("   LE-%1 ").arg(slot)))
            return l;
    return {};
}
} // namespace

class LinkSupervisionTest : public QObject {
    Q_OBJECT
private slots:
    // Discovery judges only what came before a port's first good reply.
    void onlyWhatCameBeforeAGoodReplyDrops_data()
    {
        QTest::addColumn<QByteArrayList>("sent");
        QTest::addColumn<bool>("dropped");
        QTest::addColumn<QString>("line");
        const QByteArray good = reply(), noSync = reply(0, 0), noise(160, '#');
        const QString confirmed = "   LE-1   032   COM(i) = 1 ";
        QTest::newRow("first reply still arriving") << QByteArrayList{good.left(80)} << false << "   LE-1   032   COM(i) = 0  <---  ? ";
        QTest::newRow("noise") << QByteArrayList{noise} << true << "   LE-1   035   COM(i) = 1 ";
        // One such reply might still be the tail of a reply and the head of the next; two are not.
        QTest::newRow("replies without 123") << QByteArrayList{noSync, noSync} << true << "   LE-1   032   COM(i) = 1 ";
        QTest::newRow("good, then without 123") << QByteArrayList{good, noSync} << false << confirmed;
        QTest::newRow("good, then noise") << QByteArrayList{good, noise, noise} << false << confirmed;
    }
    void onlyWhatCameBeforeAGoodReplyDrops()
    {
        QFETCH(QByteArrayList, sent);
        QFETCH(bool, dropped);
        QFETCH(QString, line);
        LinkRig rig{{1, 1}};
        PortDiscovery discovery(*rig.link);
        QSignalSpy drops(&discovery, &PortDiscovery::portDropped);
        for (const QByteArray& bytes : sent) {
            rig.peer(1).send(bytes);
            QTRY_VERIFY_WITH_TIMEOUT(rig.link->firstByte(1) >= 0, 5000);
            QTest::qWait(50);
        }
        discovery.pass();
        QCOMPARE(lineFor(discovery.lines(), 1), line);
        QCOMPARE(lineFor(discovery.lines(), 2), QString("   LE-2   000   COM(i) = 0 ")); // not enabled
        QCOMPARE(rig.link->portOpen(1), !dropped);
        QCOMPARE(discovery.lines().contains(" Cancelled ComX i=1"), dropped);
        QCOMPARE(drops.size(), dropped ? 1 : 0);
        if (sent.size() == 1 && sent[0].size() == 80) { // the rest of that first reply confirms it
            rig.peer(1).send(reply().mid(80));
            QTRY_VERIFY_WITH_TIMEOUT(rig.link->answered(1), 5000);
            discovery.pass();
            QCOMPARE(lineFor(discovery.lines(), 1), QString("   LE-1   032   COM(i) = 1 "));
        }
    }

    void discoveryStepsAsideOnceEveryPortIsDecided()
    {
        LinkRig rig{{1, 1}, {2, 2}};
        PortDiscovery discovery(*rig.link);
        QSignalSpy finished(&discovery, &PortDiscovery::finished);
        QSignalSpy shown(&discovery, &PortDiscovery::linesChanged);
        discovery.start();
        rig.peer(1).send(reply());
        rig.peer(2).send(QByteArray(160, '#'));
        QVERIFY(finished.wait(15000));
        QVERIFY(!discovery.running());
        QVERIFY(rig.link->portOpen(1));
        // The chain re-activated the ports and re-tested them; the dropped one stayed closed.
        QStringList told;
        for (const QVariantList& s : shown)
            told << s.at(0).toStringList();
        QVERIFY(told.contains(" Activating ComX") && told.contains(" Re-test ComX full"));
        QVERIFY(!rig.link->portOpen(2)); // and waits for Connect
        QCOMPARE(lineFor(discovery.lines(), 1), QString("   LE-1   032   COM(i) = 1 "));
        rig.link->connectLink();
        QVERIFY(rig.link->portOpen(2));
    }

    void silentPortIsKeptForFifteenPasses()
    {
        LinkRig rig{{3, 3}};
        PortDiscovery discovery(*rig.link);
        QSignalSpy cleared(&discovery, &PortDiscovery::configurationBoxCleared);
        for (int pass = 1; pass <= 15; ++pass) {
            discovery.pass();
            QCOMPARE(lineFor(discovery.lines(), 3), QString("   LE-3   000   COM(i) = 0  <---  ? "));
            QVERIFY(rig.link->portOpen(3));
            QCOMPARE(discovery.openRetries(3), pass);
        }
        QCOMPARE(cleared.count(), 15);
        QVERIFY(!rig.link->form().enabled[2]); // a Connect now would leave LE3 out
        discovery.pass();
        QCOMPARE(lineFor(discovery.lines(), 3), QString("   LE-3   000   COM(i) = 1  <---  ? "));
        QVERIFY(!rig.link->portOpen(3));
        QVERIFY(discovery.lines().contains(" Cancelled ComX i=3"));
    }

    void aSilentEngineIsReportedOncePerLoss()
    {
        LinkRig rig{{1, 1}, {2, 2}};
        LinkWatchdog watchdog(*rig.link, [](int slot) { return slot != 2; });
        QSignalSpy lost(&watchdog, &LinkWatchdog::lossDetected);
        QSignalSpy restored(&watchdog, &LinkWatchdog::linkRestored);
        // Replies without the synchronisation value are no answer.
        for (int i = 0; i < 24; ++i) {
            rig.peer(1).send(reply(0, 77));
            QTest::qWait(10);
            watchdog.tick();
        }
        QCOMPARE(lost.count(), 0);
        QVERIFY(!watchdog.linkLost(1));
        watchdog.tick();
        QCOMPARE(lost.count(), 1);
        QCOMPARE(lost.at(0).at(0).toInt(), 1); // LE2 is not supervised
        QVERIFY(watchdog.linkLost(1));
        for (int i = 0; i < 200; ++i)
            watchdog.tick();
        QCOMPARE(lost.count(), 1);
        QCOMPARE(watchdog.noReplyCount(1), 25);

        // A reply ends the loss; a new loss is told again (and shown in the loss box's case).
        rig.peer(1).send(reply());
        QTRY_COMPARE_WITH_TIMEOUT(rig.link->repliesReceived(1), quint64(1), 5000);
        watchdog.tick();
        QCOMPARE(restored.count(), 1);
        QVERIFY(!watchdog.lossReported(1));
    }
};

TARVEK_TEST(LinkSupervisionTest)
#include "tst_link_supervision.moc"
