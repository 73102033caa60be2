// The data logger against six simulated engines: rows hold what the engines report, and a folder
// that cannot be written is told once while every engine keeps being answered.
#include "station/station.h"
#include "simulated_station.h"
#include "test_registry.h"
#include "test_support.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace tarvek;

namespace {
constexpr int kCycleWaitMs = 20'000;
} // namespace

class DataLoggerCycleTest : public QObject {
    Q_OBJECT
private slots:
    void unwritableFolderIsToldOnceAndTheCycleGoesOn()
    {
        EngineStation rig;
        QVERIFY(rig.ready());
        Station& station = *rig.station;

        DataLogger& logger = station.dataLogger();
        LoggerChoices c = logger.choices();
        c.engines = {true, true, false, false, false, false};
        c.columns.fill(true);
        c.name = "cycle";
        logger.setChoices(c);
        logger.setTickInterval(50);
        const QString folder = logger.folder();
        QVERIFY(QDir(folder).removeRecursively());
        test::writeBytes(folder, "a file where the folder was");

        QSignalSpy status(&station, &Station::statusText);
        QSignalSpy passes(&logger, &DataLogger::passWritten);
        QVERIFY(logger.start());
        std::array<quint64, 6> replies{};
        for (int k = 1; k <= 6; ++k)
            replies[static_cast<std::size_t>(k - 1)] = station.link().repliesReceived(k);
        QTRY_VERIFY_WITH_TIMEOUT(passes.size() >= 8, kCycleWaitMs);
        const QStringList told = station.events().filter("Datalogger LE");
        QCOMPARE(told.size(), 2); // once per file, not once per row
        QVERIFY(told[0].contains("Datalogger LE1: cannot write "));
        QVERIFY(told[1].contains("Datalogger LE2: cannot write "));
        int statusLines = 0;
        for (const auto& s : status)
            statusLines += s.first().toString().startsWith("Datalogger LE") ? 1 : 0;
        QCOMPARE(statusLines, 2);
        // Every engine is still answered while the logger fails.
        for (int k = 1; k <= 6; ++k)
            QTRY_VERIFY_WITH_TIMEOUT(station.link().repliesReceived(k) > replies[static_cast<std::size_t>(k - 1)] + 5,
                                     kCycleWaitMs);
        QVERIFY(logger.running());

        // The folder is back: the next tick writes, with the values the engines report.
        QVERIFY(QFile::remove(folder));
        QTRY_VERIFY_WITH_TIMEOUT(!logger.failing(1) && !logger.failing(2), kCycleWaitMs);
        QCOMPARE(station.events().filter("writing again").size(), 2);
        const QString again = station.events().filter("writing again").first();
        QVERIFY2(again.contains("row(s) could not be written") && !again.contains(" 0 row"), qPrintable(again));
        const QList<QByteArray> lines = test::readBytes(logger.fileFor(1)).split('\n');
        QVERIFY(lines.size() >= 6);
        const QByteArray row = lines.at(4).trimmed(); // after the empty line, names, units, blank
        const QList<QByteArray> cells = row.split(',');
        QVERIFY2(cells.size() >= 11, row.constData());
        const auto& record = station.tables().at(0);
        QCOMPARE(cells.at(cells.size() - 3), QByteArray::number(record.PowerSetPoint * 10)); // LOS
        for (qsizetype k = cells.size() - 8; k < cells.size(); ++k) {
            bool number = false;
            cells.at(k).trimmed().toDouble(&number);
            QVERIFY2(number, row.constData());
        }

        // LE1's file alone turns into a folder: a new fault, told again, while LE2's file grows.
        QVERIFY(QFile::remove(logger.fileFor(1)) && QDir().mkpath(logger.fileFor(1)));
        QTRY_VERIFY_WITH_TIMEOUT(logger.failing(1), kCycleWaitMs);
        const qsizetype le2 = test::readBytes(logger.fileFor(2)).size();
        QTRY_VERIFY_WITH_TIMEOUT(test::readBytes(logger.fileFor(2)).size() > le2, kCycleWaitMs);
        QVERIFY(!logger.failing(2));
        QCOMPARE(station.events().filter("Datalogger LE1: cannot write ").size(), 2);
        logger.off();
        QCOMPARE(station.events().filter("Datalogger LE").size(), 5);
    }

    // A silent engine's cells stay empty; a run the station did not end goes on at the next start,
    // even when its folder went away meanwhile, and the history says so once per start.
    void rowsHoldOnlyLiveValuesAndARunSurvivesARestart()
    {
        EngineStation rig;
        std::unique_ptr<Station>& station = rig.station;
        station->load();
        for (int k = 1; k <= 2; ++k)
            QTRY_COMPARE_WITH_TIMEOUT(station->linkState(k), LinkState::Yes, kCycleWaitMs);
        DataLogger* logger = &station->dataLogger();
        LoggerChoices c = logger->choices();
        c.engines = {true, true, false, false, false, false};
        c.columns = {true, false, false, false, false, false, false, true}; // LPC and MAT
        c.name = "quality";
        logger->setChoices(c);
        rig.engines.model(2).setSilent(true);
        QTRY_COMPARE_WITH_TIMEOUT(station->linkState(2), LinkState::Lost, kCycleWaitMs);
        QVERIFY(logger->start());
        const auto lastRow = [&](int engine) {
            const QList<QByteArray> lines = test::readBytes(logger->fileFor(engine)).trimmed().split('\n');
            return lines.last().trimmed().split(',').mid(3); // after counter, date, time
        };
        QCOMPARE(lastRow(2), (QList<QByteArray>{"", ""}));
        QVERIFY(!lastRow(1).at(0).isEmpty() && !lastRow(1).at(1).isEmpty());

        for (bool folderGone : {false, true}) {
            station.reset(); // ended while logging
            if (folderGone)
                QVERIFY(QDir(rig.engines.folder + "/Datalogger").removeRecursively());
            station = std::make_unique<Station>(rig.engines.folder, QString(), rig.clock);
            QVERIFY(loadAndStart(*station));
            logger = &station->dataLogger();
            QVERIFY(logger->running());
            QCOMPARE(logger->choices().name, QString("quality"));
            QCOMPARE(lastRow(1), (QList<QByteArray>{"", ""})); // not heard since the start
            const int headers = static_cast<int>(test::readBytes(logger->fileFor(1)).count("[CNT ]"));
            QCOMPARE(headers, folderGone ? 2 : 4); // "[CNT ]" twice a header pair
        }
        QCOMPARE(test::readBytes(station->files().pathOf("\\Histo.txt")).count("Datalogger resumed"), 2);
        logger->off();
        station.reset();
        station = std::make_unique<Station>(rig.engines.folder, QString(), rig.clock);
        QVERIFY(loadAndStart(*station));
        QVERIFY(!station->dataLogger().running()); // turned off: stays off
    }
};

TARVEK_TEST(DataLoggerCycleTest)
#include "tst_data_logger_cycle.moc"
