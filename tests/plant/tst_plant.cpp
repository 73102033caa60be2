// Stations publishing to real Mosquitto brokers, configured as the project ships them: what a
// plant subscriber sees, and what faults, intruders, TLS and bridges do to it.
#include "plant/plant_messages.h"
#include "plant/plant_settings.h"
#include "historian/historian_store.h"
#include "plant_rig.h"
#include "settings/settings_files.h"
#include "test_registry.h"
#include "test_support.h"

#include <QDir>
#include <QJsonArray>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>
#include <QTimeZone>

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
// How many of the messages `s` received pass `test`.
template <typename Test>
qsizetype countOf(const Subscriber& s, Test test)
{
    const QList<Received> all = s.received();
    return std::count_if(all.cbegin(), all.cend(), test);
}
} // namespace

class PlantTest : public QObject {
    Q_OBJECT
private slots:
    // A station started before its broker; six engines, alarms and history as they happen; a
    // subscriber that comes late; clients that try to write as a station or to take its session.
    // Then the broker restarts, which brings a full republish, and the station is killed: its
    // will says offline.
    void stationPublishesItsEnginesThroughFaults()
    {
        Broker broker;
        PlantStation station(broker, "st1");
        QTest::qWait(1500); // the station finds no broker and waits for it
        QVERIFY(broker.start());
        Subscriber early(broker, "page");
        QTRY_VERIFY_WITH_TIMEOUT(allEnginesAnswer(early, "st1"), 20'000);
        QCOMPARE(early.last("tarvek/st1/status").json()["online"].toBool(), true);
        const QJsonObject le3 = early.last(engineTopic("st1", 3)).json();
        QVERIFY(!le3["lastReply"].toString().isEmpty());
        QVERIFY(QDateTime::fromString(le3["time"].toString(), Qt::ISODateWithMs).isValid());

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

        // A late subscriber is told every engine's state and the alarms at once, before any news.
        Subscriber late(broker, "page");
        QTRY_VERIFY_WITH_TIMEOUT(late.received().size() >= 8, 10'000);
        for (int n = 1; n <= 6; ++n)
            QVERIFY2(late.first(engineTopic("st1", n)).retained, qPrintable(QString::number(n)));
        QVERIFY(late.first("tarvek/st1/alarms").retained);

        // Only a station writes its own topics: not another station, not the page.
        Subscriber intruder(broker, "st2");
        QVERIFY(intruder.publish("tarvek/st1/status", R"({"online":"forged"})"));
        QVERIFY(intruder.publish("tarvek/st2/status", R"({"online":"own"})"));
        QVERIFY(late.publish("tarvek/st1/status", R"({"online":"forged"})"));
        QTRY_COMPARE_WITH_TIMEOUT(late.last("tarvek/st2/status").json()["online"].toString(), QString("own"), 10'000);
        // Nor does anyone take its session: the page's users may use no client id but "tarvek-..."
        // and may not log in where the stations do, and a station's client id is its user name,
        // whatever it asks for.
        Subscriber asStation(broker, "page", "nothing", "st1");
        Subscriber pageAmongStations(broker, "page", "nothing", "tarvek-st1", broker.port());
        QTRY_VERIFY_WITH_TIMEOUT(asStation.connack() >= 0 && pageAmongStations.connack() >= 0, 10'000);
        QCOMPARE(asStation.connack(), 135); // not authorised
        QCOMPARE(pageAmongStations.connack(), 135);
        Subscriber asStationsId(broker, "page", "nothing", "tarvek-st1");
        Subscriber otherStation(broker, "st2", "nothing", "tarvek-st1");
        QTRY_VERIFY_WITH_TIMEOUT(asStationsId.connack() == 0 && otherStation.connack() == 0, 10'000);
        const auto states = [&early] {
            return countOf(early, [](const Received& r) { return r.topic.startsWith("tarvek/st1/engine/"); });
        };
        const auto before = states();
        QTRY_VERIFY_WITH_TIMEOUT(states() >= before + 12, 40'000); // the station goes on
        QCOMPARE(countOf(early, [](const Received& r) { return r.topic == "tarvek/st1/status" && r.json()["online"] == false; }), 0);
        for (const Received& r : late.received())
            QVERIFY(!r.payload.contains("forged"));
        QVERIFY2(!station.errors().contains("taken over"), qPrintable(station.errors()));
        const auto beats = [&early] { // the status is a heartbeat with the station's time
            QSet<QString> times;
            for (const Received& r : early.received())
                if (r.topic == "tarvek/st1/status")
                    times << r.json()["time"].toString();
            return times.size();
        };
        QTRY_VERIFY_WITH_TIMEOUT(beats() >= 2, 20'000);

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

    // A hall's broker bridged to the plant's central one: the page reads the central broker, the
    // station publishes to its hall's. Its first status is complete, and a clean exit leaves it
    // offline, retained, on the central broker.
    void bridgedHallReachesTheCentralBroker()
    {
        Broker central({"central", "--halls", "hall1"});
        QVERIFY(central.start());
        Broker site({"site", "--stations", "st1", "--hall", "hall1", "--central", central.address()});
        QVERIFY(site.start());
        Subscriber page(central, "page");
        QTRY_VERIFY_WITH_TIMEOUT(page.connack() == 0, 10'000);
        PlantStation station(site, "st1");
        QTRY_VERIFY_WITH_TIMEOUT(allEnginesAnswer(page, "st1"), 30'000);
        const QJsonObject first = page.first("tarvek/st1/status").json();
        QCOMPARE(first["engines"].toArray().size(), 6);
        QVERIFY(!first["time"].toString().isEmpty());

        QVERIFY(station.terminate());
        QTRY_COMPARE_WITH_TIMEOUT(page.last("tarvek/st1/status").json()["online"], QJsonValue(false), 20'000);
        // A page opened afterwards is given it by the central broker. (One opened while the
        // bridge still carried it would be given the retained online status, then this one live.)
        Subscriber later(central, "page");
        QTRY_VERIFY_WITH_TIMEOUT(!later.last("tarvek/st1/status").payload.isEmpty(), 10'000);
        const Received kept = later.last("tarvek/st1/status");
        QVERIFY(kept.retained);
        QCOMPARE(kept.json()["online"], QJsonValue(false));
        QVERIFY2(!kept.json()["time"].toString().isEmpty(), qPrintable(station.errors() + kept.payload)); // not the will
        QVERIFY2(!station.errors().contains("Plant:"), qPrintable(station.errors()));
    }

    // Four engines fall silent and stay so, so their states stay the same from one second to the
    // next; the two that answer still go out every second, not only when the silent ones are due
    // again ten seconds later.
    void answeringEnginesAreNotHeldBackBySilentOnes()
    {
        Broker broker;
        QVERIFY(broker.start());
        Subscriber page(broker, "page");
        PlantStation station(broker, "st1");
        QTRY_VERIFY_WITH_TIMEOUT(allEnginesAnswer(page, "st1"), 30'000);
        for (int n = 1; n <= 4; ++n)
            station.simulator("silence " + QByteArray::number(n) + " on");
        const auto lost = [&page] {
            for (int n = 1; n <= 4; ++n)
                if (page.last(engineTopic("st1", n)).json()["link"].toString() != "lost")
                    return false;
            return true;
        };
        QTRY_VERIFY_WITH_TIMEOUT(lost(), 30'000);
        const auto states = [&page](int n) {
            return countOf(page, [n](const Received& r) { return r.topic == engineTopic("st1", n); });
        };
        const std::array<qsizetype, 6> before{states(1), states(2), states(3), states(4), states(5), states(6)};
        QTest::qWait(6000);
        for (int n : {5, 6})
            QVERIFY2(states(n) - before[n - 1] >= 3, qPrintable(QString("LE%1: %2").arg(n).arg(states(n) - before[n - 1])));
        for (int n = 1; n <= 4; ++n)
            QVERIFY(states(n) - before[n - 1] <= 1);
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
        // A few seconds of readings first, so that the gap shows between recorded seconds.
        const auto yesStates = [&page](int n) {
            return countOf(page, [n](const Received& r) { return r.topic == engineTopic("st1", n) && r.json()["link"].toString() == "yes"; });
        };
        QTRY_VERIFY_WITH_TIMEOUT(yesStates(2) >= 3, 30'000);
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
        QVERIFY(store.openForReading());
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
            bool answered = false;
            int emptyAfter = 0;
            for (const QByteArray& line : readBytes(station.folder() + QString("/Datalogger/bench_LE%1.txt").arg(n)).split('\n')) {
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

    // A broker that refuses the station or its messages, one that never answers, a password file
    // others may read, TLS whose certificate does not hold: told once each, with the reason. TLS
    // checks the host as written in the settings, so "localhost" holds for a certificate made out
    // to localhost.
    void refusalsAreToldOnce_data()
    {
        QTest::addColumn<QString>("to");   // broker, silent, tls... (the TLS listeners)
        QTest::addColumn<QString>("name"); // the station's name; its user is st1
        QTest::addColumn<QByteArray>("password");
        QTest::addColumn<bool>("loose");
        QTest::addColumn<QString>("ca");
        QTest::addColumn<QString>("told"); // empty: connects and publishes
        QTest::newRow("wrong password") << "broker" << "st1" << QByteArray("wrong") << false << "" << "refused by the broker: Not authorized";
        QTest::newRow("loose password file") << "broker" << "st1" << QByteArray() << true << "" << "open to other users";
        QTest::newRow("silent broker") << "silent" << "st1" << QByteArray() << false << "" << "the broker does not answer";
        QTest::newRow("outside its ACL") << "broker" << "hall" << QByteArray() << false << "" << "refuses the station's messages (tarvek/hall/status: Not authorized)";
        QTest::newRow("TLS, right CA and name") << "tls" << "st1" << QByteArray() << false << "ca" << "";
        QTest::newRow("TLS, wrong CA") << "tls" << "st1" << QByteArray() << false << "other-ca" << "(unknown CA)";
        QTest::newRow("TLS, wrong name") << "tls-elsewhere" << "st1" << QByteArray() << false << "ca" << "is made out to elsewhere.invalid, not to localhost (name mismatch)";
        QTest::newRow("TLS, wrong address") << "tls-by-address" << "st1" << QByteArray() << false << "ca" << "is made out to localhost, not to 127.0.0.1 (name mismatch)";
        QTest::newRow("TLS, expired") << "tls-expired" << "st1" << QByteArray() << false << "ca" << "(expired)";
    }
    void refusalsAreToldOnce()
    {
        QFETCH(QString, to);
        QFETCH(QString, name);
        QFETCH(QByteArray, password);
        QFETCH(bool, loose);
        QFETCH(QString, ca);
        QFETCH(QString, told);
        Broker broker;
        QVERIFY(broker.makeCertificates());
        const int tls = broker.addTlsListener("server");
        const int expired = broker.addTlsListener("expired");
        const int elsewhere = broker.addTlsListener("elsewhere");
        QVERIFY(broker.start());
        QTcpServer silent; // takes the connection, never says a word
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        const QHash<QString, QString> address{{"broker", broker.address()},
                                              {"silent", QString("127.0.0.1:%1").arg(silent.serverPort())},
                                              {"tls", QString("localhost:%1").arg(tls)},
                                              {"tls-by-address", QString("127.0.0.1:%1").arg(tls)},
                                              {"tls-expired", QString("localhost:%1").arg(expired)},
                                              {"tls-elsewhere", QString("localhost:%1").arg(elsewhere)}};
        Subscriber page(broker, "page");
        PlantStation station(address[to], name, {"st1", password, loose, ca.isEmpty() ? QString() : broker.file(ca + ".crt"), {}});
        if (told.isEmpty()) {
            QTRY_VERIFY_WITH_TIMEOUT(allEnginesAnswer(page, "st1"), 30'000);
            QVERIFY2(!station.errors().contains("Plant:"), qPrintable(station.errors()));
            return;
        }
        QTRY_VERIFY_WITH_TIMEOUT(station.errors().contains(told), 30'000);
        QTest::qWait(3000); // two more attempts at least, or more refused messages
        QCOMPARE(station.errors().count(told), 1);
        QVERIFY2(station.errors().count("Plant:") == 1, qPrintable(station.errors()));
    }

    // A damaged Plant.ini is kept aside and told like every settings file, and publishing stays
    // off; a port that is no port is refused, never replaced by the default one.
    void plantSettingsRefuseWhatTheyCannotUse_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("told");
        QTest::newRow("empty") << QByteArray() << "Plant.ini is empty: kept aside as Plant.ini.damaged-";
        QTest::newRow("port too big") << QByteArray("\"1\"\r\n\"broker\"\r\n\"99999\"\r\n") << "the broker port \"99999\" in Plant.ini is not a port from 1 to 65535";
        QTest::newRow("port not a number") << QByteArray("\"1\"\r\n\"broker\"\r\n\"18 83\"\r\n") << "the broker port \"18 83\" in Plant.ini";
    }
    void plantSettingsRefuseWhatTheyCannotUse()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, told);
        QTemporaryDir dir;
        SettingsFiles files(dir.path());
        QSignalSpy problems(&files, &SettingsFiles::problem);
        writeBytes(dir.filePath("Plant.ini"), bytes);
        const PlantSettings s = PlantSettings::load(files);
        const QStringList aside = QDir(dir.path()).entryList({"Plant.ini.damaged-*"});
        if (told.contains("kept aside")) {
            QCOMPARE(problems.count(), 1);
            QVERIFY2(problems.at(0).at(0).toString().contains(told), qPrintable(problems.at(0).at(0).toString()));
            QCOMPARE(aside.size(), 1);
            QCOMPARE(readBytes(dir.filePath(aside.at(0))), bytes);
            QVERIFY(!s.enabled);
            QCOMPARE(PlantSettings::load(files), s); // the defaults written read cleanly
            QCOMPARE(problems.count(), 1);
        } else {
            QVERIFY(aside.isEmpty());
            QVERIFY(s.enabled);
            QVERIFY2(s.problem().contains(told), qPrintable(s.problem()));
        }
    }

    // Times go out in UTC, to the millisecond, whatever the station's zone.
    void plantTimesAreUtcToTheMillisecond()
    {
        const QTimeZone paris("Europe/Paris");
        QCOMPARE(plant::offlinePayload(QDateTime(QDate(2026, 11, 26), QTime(14, 51, 22, 743), paris)),
                 QByteArray(R"({"online":false,"time":"2026-11-26T13:51:22.743Z"})"));
        QCOMPARE(plant::offlinePayload(QDateTime(QDate(2026, 7, 1), QTime(0, 0, 9, 5), paris)),
                 QByteArray(R"({"online":false,"time":"2026-06-30T22:00:09.005Z"})"));
    }
};
TARVEK_TEST(PlantTest)
#include "tst_plant.moc"
