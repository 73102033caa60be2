// Stations publishing to a real Mosquitto: what a plant subscriber sees, and what the broker's
// faults do to it.
#include "historian/historian_store.h"
#include "plant_rig.h"
#include "test_registry.h"

#include <QFile>
#include <QJsonArray>
#include <QTcpServer>
#include <QTest>

using namespace tarvek;
using namespace tarvek::test;

namespace {
QString engineTopic(const QString& station, int n)
{
    return QStringLiteral("tarvek/%1/engine/%2/state").arg(station).arg(n);
}
bool allEnginesAnswer(const Subscriber& s, const QString& station)
{
    for (int n = 1; n <= 6; ++n) {
        const QJsonObject o = s.last(engineTopic(station, n)).json();
        if (o["link"].toString() != "yes" || o["rows"].toArray().size() != 12)
            return false;
    }
    return true;
}
} // namespace

class PlantTest : public QObject {
    Q_OBJECT
private slots:
    // A station started before its broker; six engines, alarms and history as they happen; a
    // subscriber that comes late; a client writing outside its own topics. Then the broker
    // restarts, which brings a full republish, and the station is killed: its will says offline.
    void stationPublishesItsEnginesThroughFaults()
    {
        Broker broker;
        PlantStation station(broker, "st1");
        QTest::qWait(1500); // the station finds no broker and waits for it
        QVERIFY(broker.start());
        Subscriber early(broker, "page");
        QTRY_VERIFY_WITH_TIMEOUT(allEnginesAnswer(early, "st1"), 20'000);
        const QJsonObject status = early.last("tarvek/st1/status").json();
        QCOMPARE(status["online"].toBool(), true);
        QCOMPARE(status["engines"].toArray().size(), 6);
        const QJsonObject le3 = early.last(engineTopic("st1", 3)).json();
        QCOMPARE(le3["rows"].toArray().at(10).toObject()["name"].toString(), QString("SBV"));
        QCOMPARE(le3["rows"].toArray().at(10).toObject()["unit"].toString(), QString("V"));
        QVERIFY(!le3["lastReply"].toString().isEmpty());

        // A fault and a silent engine: an alarm, history lines in order, the link said lost.
        station.simulator("fault 2 7");
        station.simulator("silence 4 on");
        QTRY_VERIFY_WITH_TIMEOUT(early.last(engineTopic("st1", 4)).json()["link"].toString() == "lost", 20'000);
        QTRY_VERIFY_WITH_TIMEOUT(!early.last("tarvek/st1/alarms").json()["alarms"].toArray().isEmpty(), 20'000);
        QTRY_VERIFY_WITH_TIMEOUT(early.last(engineTopic("st1", 2)).json()["fault"].toObject()["code"].toInt() == 7, 20'000);
        QVERIFY(early.last(engineTopic("st1", 4)).json()["rows"].toArray().isEmpty());
        station.simulator("silence 4 off"); // lost, then restored: two history lines at least
        const auto historySeqs = [&early] {
            QList<qint64> seqs;
            for (const Received& r : early.received())
                if (r.topic == "tarvek/st1/history")
                    seqs << r.json()["seq"].toInteger();
            return seqs;
        };
        QTRY_VERIFY_WITH_TIMEOUT(historySeqs().size() >= 2, 20'000);
        const QList<qint64> seqs = historySeqs();
        for (int i = 1; i < seqs.size(); ++i)
            QCOMPARE(seqs[i], seqs[i - 1] + 1);

        Subscriber late(broker, "page");
        QTRY_VERIFY_WITH_TIMEOUT(late.received().size() >= 8, 10'000);
        for (int n = 1; n <= 6; ++n)
            QVERIFY2(late.last(engineTopic("st1", n)).retained, qPrintable(QString::number(n)));
        QVERIFY(late.last("tarvek/st1/alarms").retained);

        // A station may write only its own topics.
        Subscriber intruder(broker, "st2");
        QVERIFY(intruder.publish("tarvek/st1/status", R"({"online":"forged"})"));
        QVERIFY(intruder.publish("tarvek/st2/status", R"({"online":"own"})"));
        QTRY_COMPARE_WITH_TIMEOUT(late.last("tarvek/st2/status").json()["online"].toString(), QString("own"), 10'000);
        for (const Received& r : late.received())
            QVERIFY(!r.payload.contains("forged"));

        const qsizetype retries = station.errors().count("Plant: retrying");
        broker.kill();
        QVERIFY(broker.start()); // nothing retained survives: the station must publish it all again
        Subscriber after(broker, "page");
        QTRY_VERIFY_WITH_TIMEOUT(allEnginesAnswer(after, "st1"), 40'000);
        QTRY_VERIFY_WITH_TIMEOUT(after.last("tarvek/st1/status").json()["online"].toBool(), 10'000);
        QTRY_VERIFY_WITH_TIMEOUT(!after.last("tarvek/st1/alarms").payload.isEmpty(), 10'000);
        QVERIFY(station.errors().count("Plant: retrying") > retries);

        station.kill9();
        QTRY_VERIFY_WITH_TIMEOUT(after.last("tarvek/st1/status").payload == R"({"online":false})", 30'000);
    }

    // While the historian, a data logger and the publisher all record, LE2 answers with its
    // register block for a few seconds and LE3 falls silent for less than the loss: neither is a
    // reading, so nothing records or publishes a register as a value or a silent second as live.
    void registerBlocksAndSilentSecondsAreNoReadings()
    {
        Broker broker;
        QVERIFY(broker.start());
        Subscriber page(broker, "page");
        PlantStation station(broker, "st1", {"--logger-tick", "250"});
        QTRY_VERIFY_WITH_TIMEOUT(allEnginesAnswer(page, "st1"), 30'000);
        station.simulator("block 2 40");
        station.simulator("silence 3 on");
        const auto notLive = [&page](int n) {
            const QJsonObject o = page.last(engineTopic("st1", n)).json();
            return o["link"].toString() == "no" && o["rows"].toArray().isEmpty();
        };
        QTRY_VERIFY_WITH_TIMEOUT(notLive(2) && notLive(3), 10'000);
        QTest::qWait(1500);
        station.simulator("silence 3 off");
        QTRY_VERIFY_WITH_TIMEOUT(allEnginesAnswer(page, "st1"), 30'000);
        QTest::qWait(2000);
        QVERIFY(station.terminate());

        // The broker: LE2's values are always a status reply's (MAT is 0 in the block, never at rest).
        for (const Received& r : page.received())
            if (r.topic == engineTopic("st1", 2))
                for (const QJsonValue row : r.json()["rows"].toArray())
                    if (row["name"].toString() == "MAT")
                        QVERIFY2(row["value"].toString().toDouble() > 0, r.payload.constData());

        // The historian: a gap of seconds without values in each, with a state row in it, and no
        // register among LE2's values.
        HistorianStore store(station.folder() + "/" + HistorianStore::fileName());
        QVERIFY(store.open(true));
        for (int n : {2, 3}) {
            qint64 last = 0, longestGap = 0, statesInGaps = 0;
            store.forEachRow({n}, 0, std::numeric_limits<qint64>::max(), [&](const HistorianSample& s, bool values) {
                statesInGaps += !values && last > 0;
                if (values) {
                    QVERIFY(s.values[3] > 0 && s.values[10] > 0); // MAT, SBV
                    longestGap = last > 0 ? std::max(longestGap, s.time - last) : 0;
                    last = s.time;
                }
            });
            QVERIFY2(longestGap >= 2 && statesInGaps >= 1, qPrintable(QString("LE%1: %2 s").arg(n).arg(longestGap)));
        }

        // The data logger: empty cells while the reply was overdue, never a register. MAT ends a row.
        for (int n : {2, 3}) {
            QFile file(station.folder() + QString("/Datalogger/bench_LE%1.txt").arg(n));
            QVERIFY(file.open(QIODevice::ReadOnly));
            bool answered = false;
            int emptyAfter = 0;
            for (const QByteArray& line : file.readAll().split('\n')) {
                const QList<QByteArray> cells = line.trimmed().split(',');
                if (cells.size() < 4 || cells[0].toInt() <= 0)
                    continue; // header, blank
                const QByteArray mat = cells.last();
                if (mat.isEmpty())
                    emptyAfter += answered ? 1 : 0;
                else
                    QVERIFY2(mat.toDouble() > 0, line.constData());
                answered = answered || !mat.isEmpty();
            }
            QVERIFY2(emptyAfter >= 4, qPrintable(QString("LE%1: %2").arg(n).arg(emptyAfter)));
        }
    }

    // A broker that refuses the station, one that never answers, a password file others may read:
    // told once each.
    void refusalsAreToldOnce_data()
    {
        QTest::addColumn<QByteArray>("password");
        QTest::addColumn<bool>("loose");
        QTest::addColumn<QString>("told");
        QTest::newRow("wrong password") << QByteArray("wrong") << false << "refused by the broker: Connection Refused: not authorised";
        QTest::newRow("loose password file") << QByteArray() << true << "open to other users";
        QTest::newRow("silent broker") << QByteArray("silent") << false << "the broker does not answer";
    }
    void refusalsAreToldOnce()
    {
        QFETCH(QByteArray, password);
        QFETCH(bool, loose);
        QFETCH(QString, told);
        Broker broker;
        QVERIFY(broker.start());
        QTcpServer silent; // takes the connection, never says a word
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        const QString address = password == "silent" ? QString("127.0.0.1:%1").arg(silent.serverPort()) : broker.address();
        PlantStation station(address, "st1", password, loose);
        QTRY_VERIFY_WITH_TIMEOUT(station.errors().contains(told), 30'000);
        QTest::qWait(3000); // two more attempts at least
        QCOMPARE(station.errors().count(told), 1);
        QVERIFY2(station.errors().count("Plant:") == 1, qPrintable(station.errors()));
    }
};
TARVEK_TEST(PlantTest)
#include "tst_plant.moc"
