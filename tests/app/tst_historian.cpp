// The historian against the simulated engines, its file's faults, and the trends window.
#include "app/recording/historian_plot.h"
#include "app/recording/historian_trends.h"
#include "historian/historian.h"
#include "historian/historian_writer.h"
#include "simulated_station.h"
#include "station/station.h"
#include "test_registry.h"
#include "test_support.h"

#include <QCheckBox>
#include <QComboBox>
#include <QListWidget>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QLabel>
#include <QProcess>
#include <QSignalSpy>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>

#include <unistd.h>

using namespace tarvek;

namespace {
std::pair<int, int> rowsOf(HistorianStore& store, int engine)
{
    int values = 0, states = 0;
    store.forEachRow({engine}, 0, std::numeric_limits<qint64>::max(),
                     [&](const HistorianSample&, bool v) { ++(v ? values : states); });
    return {values, states};
}

using Row = std::tuple<qint64, int, int, int, int, std::array<int, kEngineRows>, bool>;
std::vector<Row> allRows(HistorianStore& store)
{
    std::vector<Row> rows;
    store.forEachRow({1, 2, 3, 4, 5, 6}, 0, std::numeric_limits<qint64>::max(), [&](const HistorianSample& s, bool v) {
        rows.emplace_back(s.time, s.engine, int(s.link), v ? s.phase : -1, v ? s.fault : -1, s.values, v);
    });
    return rows;
}

qint64 count(const QString& path, const QString& sql)
{
    qint64 n = -1;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "count");
        db.setDatabaseName(path);
        QSqlQuery q(db);
        if (db.open() && q.exec(sql) && q.next())
            n = q.value(0).toLongLong();
    }
    QSqlDatabase::removeDatabase("count");
    return n;
}

// An SQLite file holding one empty table of someone else's.
void writeForeign(const QString& path, const QString& table = "cars")
{
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "foreign");
        db.setDatabaseName(path);
        QVERIFY(db.open() && QSqlQuery(db).exec("CREATE TABLE " + table + "(id)"));
    }
    QSqlDatabase::removeDatabase("foreign");
}

// A file as the first layout wrote it: every second a row of samples, the minutes beside (here
// none summed up yet, as after a crash). Four hours of LE1 and LE2, LE2 lost for a minute.
void writeFirstLayout(const QString& path, qint64 start)
{
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "v1");
        db.setDatabaseName(path);
        QVERIFY(db.open());
        QSqlQuery q(db);
        const QString values = "motor,fan1,fan2,mat,sht,lpc,lfc,vis,ir,rh,sbv,vcc";
        for (const QString& sql : {QString("PRAGMA journal_mode=WAL"), QString("PRAGMA application_id=%1").arg(HistorianStore::kApplicationId),
                                   QString("PRAGMA user_version=1"),
                                   "CREATE TABLE samples(t INTEGER NOT NULL, engine INTEGER NOT NULL, link INTEGER NOT NULL, "
                                   "phase INTEGER, fault INTEGER, " + QString(values).replace(",", " INTEGER,") + " INTEGER)",
                                   QString("CREATE INDEX samples_engine_t ON samples(engine, t)"),
                                   "CREATE TABLE minutes(engine INTEGER NOT NULL, t INTEGER NOT NULL, first INTEGER, last INTEGER, "
                                   "broken INTEGER, fault INTEGER, " + QString(values).replace(",", "_min INTEGER,_max INTEGER,")
                                       .replace(QRegularExpression("(\\w+)_min INTEGER,_max"), "\\1_min INTEGER,\\1_max") +
                                       "_min INTEGER, vcc_max INTEGER, PRIMARY KEY(engine, t)) WITHOUT ROWID",
                                   QString("BEGIN")})
            QVERIFY2(q.exec(sql), qPrintable(q.lastError().text() + " in " + sql));
        q.prepare("INSERT INTO samples VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
        for (qint64 t = start; t < start + 4 * 3600; ++t)
            for (int e = 1; e <= 2; ++e) {
                const bool lost = e == 2 && t >= start + 3600 && t < start + 3660;
                if (lost && t > start + 3600)
                    continue;
                q.addBindValue(t);
                q.addBindValue(e);
                q.addBindValue(lost ? 2 : 1);
                for (int c = 0; c < 14; ++c)
                    q.addBindValue(lost ? QVariant() : QVariant(int(c == 0 ? 5 : (t * (c + e)) % 7 + 100 * c)));
                QVERIFY(q.exec());
            }
        QVERIFY(q.exec("COMMIT"));
    }
    QSqlDatabase::removeDatabase("v1");
}

// A week of LE1 and LE2 every 10 s, LE1 silent on day 3 from 10:00 to 12:00 and in fault 7 for half an hour at noon of day 5.
void fillWeek(const QString& path, qint64 end)
{
    HistorianStore store(path);
    QCOMPARE(store.open(), HistorianStore::Result::Ok);
    std::vector<HistorianSample> rows;
    const qint64 start = end - 7 * 86'400, gapFrom = start + 2 * 86'400 + 36'000;
    for (qint64 t = start; t < end; t += 10)
        for (int e = 1; e <= 2; ++e) {
            HistorianSample s{t, e, LinkState::Yes, 5, 20, {}};
            if (e == 1 && t >= gapFrom && t < gapFrom + 7200)
                s.link = t == gapFrom ? LinkState::Lost : LinkState::No;
            if (e == 1 && t > gapFrom && t < gapFrom + 7200)
                continue;
            if (e == 1 && t >= start + 4 * 86'400 + 43'200 && t < start + 4 * 86'400 + 45'000)
                s.fault = 7;
            s.values[0] = 1200 + int(t / 60 % 100) + 300 * e;
            s.values[10] = 310; // SBV: 12.40 V with the default coefficients
            rows.push_back(s);
        }
    QCOMPARE(store.insert(rows), HistorianStore::Result::Ok);
    QVERIFY(store.rollUp(start, end));
    QCOMPARE(store.seal(end, 1'000'000), 7 * 2 * 144 - 11); // both engines' blocks, less LE1's silence
}
// Some rows of LE1 an hour before ManualClock's start, written and closed as the station leaves its file.
void fillSome(const QString& path, int seconds)
{
    HistorianStore store(path);
    QCOMPARE(store.open(), HistorianStore::Result::Ok);
    std::vector<HistorianSample> rows;
    const qint64 start = ManualClock().now().toSecsSinceEpoch() - 3600;
    for (int t = 0; t < seconds; ++t)
        rows.push_back({start + t, 1, LinkState::Yes, 5, 20, {}});
    QCOMPARE(store.insert(rows), HistorianStore::Result::Ok);
}

// The station program exporting LE1 of `folder` to `out`.
ProgramRun runExport(const QString& folder, const QString& out, const QString& from = "2026-11-22 00:00",
                     const QString& to = "2026-11-24 00:00")
{
    return runStationProgram({"--folder", folder, "--export-history", out, "--engine", "1", "--from", from, "--to", to});
}

// Makes a file that cannot be written, even by root (immutable), and gives it back when done.
struct ReadOnlyFile {
    QString path;
    explicit ReadOnlyFile(QString p) : path(std::move(p))
    {
        if (::geteuid() == 0)
            QProcess::execute("chattr", {"+i", path});
        else
            QFile::setPermissions(path, QFile::ReadOwner);
    }
    ~ReadOnlyFile() { release(); }
    void release()
    {
        if (::geteuid() == 0)
            QProcess::execute("chattr", {"-i", path});
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    }
};

QStringList noticesOf(const QSignalSpy& spy)
{
    QStringList texts;
    for (const auto& args : spy)
        texts << args.at(0).toString();
    return texts;
}
} // namespace

class HistorianTest : public QObject {
    Q_OBJECT
private slots:
    void recordsEachEngineEverySecondAndOnceALostLink()
    {
        EngineStation rig;
        Station& station = *rig.station;
        ManualClock& clock = rig.clock;
        Historian historian(station);
        // The test takes the seconds itself: the historian's own tick, on the real clock, would
        // add a row whenever it fell in a wait.
        historian.findChild<QTimer*>("HistorianTimer")->stop();
        QVERIFY(rig.ready());
        // A second in which every engine but a silent one sends a status reply.
        const auto seconds = [&](int count, int silent = 0) {
            for (int i = 0; i < count; ++i) {
                std::array<quint64, 6> before{};
                for (int n = 1; n <= 6; ++n)
                    before[n - 1] = station.link().statusReadings(n);
                for (int n = 1; n <= 6; ++n)
                    QTRY_VERIFY_WITH_TIMEOUT(n == silent || station.link().statusReadings(n) > before[n - 1], 15'000);
                clock.advanceSeconds(1);
                historian.sample();
                historian.sample(); // the same second again: no second row
            }
        };
        seconds(5);
        clock.advanceSeconds(1);
        historian.sample(); // a new second, but no reply came since the last row: no row
        // LE3 falls silent: from its overdue reply on, a state row and no values, before and
        // after the loss.
        rig.engines.model(3).setSilent(true);
        QTRY_VERIFY_WITH_TIMEOUT(station.stale(3), 15'000);
        seconds(2, 3);
        QTRY_VERIFY_WITH_TIMEOUT(station.linkLost[2], 20'000);
        seconds(3, 3);
        clock.advanceSeconds(59); // the minute is over: it is summed up for long ranges
        seconds(1, 3);
        historian.waitForWriter();

        HistorianStore store(historian.path());
        QVERIFY(store.openForReading());
        QCOMPARE(rowsOf(store, 1), std::make_pair(11, 0));
        QCOMPARE(rowsOf(store, 3), std::make_pair(5, 2));
        // The values are the raw ones the FADEC reported, not the shown ones.
        HistorianSample last;
        store.forEachRow({2}, 0, std::numeric_limits<qint64>::max(), [&](const HistorianSample& s, bool) { last = s; });
        QCOMPARE(last.values[10], int(station.tables().at(1).reported[pos::Sbv]));
        // The lost link breaks LE3's trace in its minute.
        const qint64 minute = clock.now().toSecsSinceEpoch() / 60 * 60 - 60;
        const auto buckets = store.buckets(3, minute, minute + 60, 60);
        QCOMPARE(buckets.size(), std::size_t(1));
        QVERIFY(buckets[0].broken);
        QCOMPARE(buckets[0].last - buckets[0].first, qint64(4));

        // The clock set back an hour: the hour is written again beside what it holds, and summed up.
        clock.advanceSeconds(-3600);
        seconds(1, 3);
        clock.advanceSeconds(59);
        seconds(1, 3);
        historian.waitForWriter();
        QCOMPARE(rowsOf(store, 1), std::make_pair(13, 0));
        const qint64 back = clock.now().toSecsSinceEpoch() / 60 * 60 - 60;
        QCOMPARE(store.buckets(1, back, back + 60, 60).size(), std::size_t(1));

        // Once their ten minutes are over and summed up, the seconds are packed into blocks and
        // read back as they were written; a second written again into a packed block (the clock
        // set back) joins it, after the seconds it holds.
        const auto packed = [&](qint64 at) {
            clock.set(QDateTime::fromSecsSinceEpoch(at));
            for (int i = 0; i < 3; ++i) { // the minutes of the hour set back are summed up first
                clock.advanceSeconds(1);
                historian.sample();
            }
            historian.waitForWriter();
        };
        const qint64 block = (clock.now().toSecsSinceEpoch() + 3600) / 600 * 600; // 09:30, the block of the first seconds
        std::vector<Row> before = allRows(store);
        packed(block + 12 * 60);
        QCOMPARE(count(historian.path(), "SELECT count(*) FROM samples WHERE t < " + QString::number(block + 600)), 0);
        QCOMPARE(count(historian.path(), "SELECT count(*) FROM blocks WHERE engine = 1"), 2);
        std::vector<Row> after = allRows(store);
        std::erase_if(after, [&](const Row& r) { return std::get<0>(r) >= block + 600; });
        QCOMPARE(after, before);
        const qint64 again = block + 5;
        clock.set(QDateTime::fromSecsSinceEpoch(again - 1));
        seconds(1, 3);
        packed(block + 13 * 60);
        QCOMPARE(count(historian.path(), "SELECT count(*) FROM blocks WHERE engine = 1"), 2);
        std::vector<Row> twice;
        for (const Row& r : allRows(store))
            if (std::get<0>(r) == again && std::get<1>(r) == 1)
                twice.push_back(r);
        QCOMPARE(twice.size(), std::size_t(2));
        // The first written first: its values are those of the row packed before.
        QCOMPARE(std::get<5>(twice[0]), std::get<5>(before[std::size_t(std::find_if(before.begin(), before.end(), [&](const Row& r) {
                                             return std::get<0>(r) == again && std::get<1>(r) == 1;
                                         }) - before.begin())]));
    }

    // A file of the first layout is converted where it lies on the first start, while the
    // station records: the same rows read back, minutes summed up, the file shrunk.
    void convertsAFileOfTheFirstLayoutInPlace()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(HistorianStore::fileName());
        ManualClock clock;
        const qint64 start = clock.now().toSecsSinceEpoch() - 5 * 3600;
        writeFirstLayout(path, start);
        std::vector<Row> before;
        {
            HistorianStore old(path);
            QVERIFY(old.openForReading(true)); // an export reads it before any station converts it
            before = allRows(old);
        }
        QCOMPARE(before.size(), std::size_t(2 * 4 * 3600 - 59));
        const qint64 size = QFileInfo(path).size();
        Station station(dir.path(), QString(), clock);
        Historian historian(station);
        QSignalSpy notices(&historian, &Historian::notice);
        for (int i = 0; i < 60 && !noticesOf(notices).join('\n').contains("converted to the compact form ("); ++i) {
            clock.advanceSeconds(1);
            historian.sample();
            historian.waitForWriter();
            QCoreApplication::processEvents();
        }
        QTRY_VERIFY2_WITH_TIMEOUT(noticesOf(notices).join("\n").contains("converted to the compact form ("), qPrintable(noticesOf(notices).join("\n")), 10'000);
        QVERIFY2(noticesOf(notices).first().startsWith("Historian: converting Historian.sqlite"), qPrintable(noticesOf(notices).first()));
        QCOMPARE(count(path, "PRAGMA user_version"), 2);
        QCOMPARE(count(path, "SELECT count(*) FROM samples WHERE t < " + QString::number(start + 4 * 3600)), 0);
        QCOMPARE(count(path, "SELECT count(*) FROM blocks"), 2 * 4 * 6);
        QCOMPARE(count(path, "SELECT count(*) FROM pragma_integrity_check WHERE integrity_check = 'ok'"), 1);
        QVERIFY2(QFileInfo(path).size() < size / 3, qPrintable(QString("%1 of %2 bytes").arg(QFileInfo(path).size()).arg(size)));
        HistorianStore store(path);
        QVERIFY(store.openForReading());
        std::vector<Row> after = allRows(store);
        std::erase_if(after, [&](const Row& r) { return std::get<0>(r) >= start + 4 * 3600; }); // what the station recorded since
        QCOMPARE(after, before);
        const auto minutes = store.buckets(2, start, start + 4 * 3600, 60);
        QCOMPARE(minutes.size(), std::size_t(4 * 60));
        QVERIFY(minutes[60].broken && !minutes[59].broken && minutes[60].last == 0);
    }

    void prunesOldRowsInSmallSteps()
    {
        QTemporaryDir dir;
        HistorianStore store(dir.filePath("h.sqlite"));
        QCOMPARE(store.open(), HistorianStore::Result::Ok);
        std::vector<HistorianSample> rows;
        for (qint64 t = 0; t < 5000; ++t)
            rows.push_back({1000 + t, 1, LinkState::Yes, 5, 0, {}});
        QCOMPARE(store.insert(rows), HistorianStore::Result::Ok);
        QCOMPARE(store.prune(4000, 2000), 2000);
        QCOMPARE(store.prune(4000, 2000), 1000);
        QCOMPARE(store.prune(4000, 2000), 0);
        QCOMPARE(store.rowCount(), qint64(2000));

        // Closed while it records (a fault, the wait for a retry) and opened again, the store
        // inserts the next second at once.
        store.close();
        QCOMPARE(store.open(), HistorianStore::Result::Ok);
        QCOMPARE(store.insert({{6000, 1, LinkState::Yes, 5, 0, {}}}), HistorianStore::Result::Ok);
        QCOMPARE(store.rowCount(), qint64(2001));
    }

    void damagedOrForeignFileIsMovedAsideOnce_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("not SQLite") << QByteArray(8192, 'x');
        QTest::newRow("someone else's database") << QByteArray();
    }
    void damagedOrForeignFileIsMovedAsideOnce()
    {
        QFETCH(QByteArray, content);
        QTemporaryDir dir;
        const QString path = dir.filePath(HistorianStore::fileName());
        if (content.isEmpty())
            writeForeign(path);
        else
            test::writeBytes(path, content);
        ManualClock clock;
        Station station(dir.path(), QString(), clock);
        Historian historian(station);
        QSignalSpy notices(&historian, &Historian::notice);
        historian.sample();
        clock.advanceSeconds(1);
        historian.sample();
        historian.waitForWriter();
        QTRY_COMPARE_WITH_TIMEOUT(notices.count(), 1, 10'000);
        QVERIFY(notices.at(0).at(0).toString().contains("could not be read"));
        QCOMPARE(QDir(dir.path()).entryList({"Historian.sqlite.bad-*"}).size(), 1);
        HistorianStore store(historian.path());
        QVERIFY(store.openForReading());
        QCOMPARE(rowsOf(store, 4), std::make_pair(0, 1)); // a closed port: its state once
    }

    // A disk full at start-up (a real tmpfs): the healthy file stays where it is, the station says so
    // once, keeps what it takes in memory and writes it when there is room, and says that too.
    void fullDiskAtStartUpWaitsAndRecordsAgain()
    {
        test::FullDisk disk;
        if (!disk.ok())
            QSKIP(qPrintable(disk.why()));
        const QString path = QDir(disk.path()).filePath(HistorianStore::fileName());
        fillSome(path, 10);
        const QByteArray before = test::readBytes(path);
        disk.fill();
        ManualClock clock;
        Station station(disk.path(), QString(), clock);
        Historian historian(station);
        QSignalSpy notices(&historian, &Historian::notice);
        historian.sample(); // every engine's link "no", once
        QTRY_COMPARE_WITH_TIMEOUT(notices.count(), 1, 10'000);
        QVERIFY2(notices.at(0).at(0).toString().contains("the disk is full"), qPrintable(notices.at(0).at(0).toString()));
        QCOMPARE(test::readBytes(path), before);
        QCOMPARE(QDir(disk.path()).entryList({"*.bad-*"}), QStringList());
        disk.release();
        QTRY_COMPARE_WITH_TIMEOUT(notices.count(), 2, 3 * HistorianWriter::kRetrySeconds * 1000);
        QCOMPARE(notices.at(1).at(0).toString(), "Historian: recording again; nothing was lost.");
        HistorianStore store(path);
        QVERIFY(store.openForReading());
        QCOMPARE(rowsOf(store, 1), std::make_pair(10, 1));
        QCOMPARE(rowsOf(store, 6), std::make_pair(0, 1));
    }

    // A healthy file that cannot be written is told as such and left alone, retried at a bounded
    // rate (nothing new beside it), and taken again once it can be written. So is a file whose
    // index beside it cannot be written, left so by a station that opened the file read-only.
    void readOnlyFileIsLeftWhereItIs_data()
    {
        QTest::addColumn<QString>("locked");
        QTest::newRow("history") << QString();
        QTest::newRow("its index") << QStringLiteral("-shm");
    }

    void readOnlyFileIsLeftWhereItIs()
    {
        QFETCH(QString, locked);
        QTemporaryDir dir;
        const QString path = dir.filePath(HistorianStore::fileName());
        fillSome(path, 3);
        if (!locked.isEmpty())
            test::writeBytes(path + locked, {});
        ReadOnlyFile lock(path + locked);
        ManualClock clock;
        Station station(dir.path(), QString(), clock);
        Historian historian(station);
        QSignalSpy notices(&historian, &Historian::notice);
        historian.sample();
        QTRY_COMPARE_WITH_TIMEOUT(notices.count(), 1, 10'000);
        QVERIFY2(notices.at(0).at(0).toString().contains(HistorianStore::fileName() + locked + " is read-only; it is left as it is"),
                 qPrintable(notices.at(0).at(0).toString()));
        const QStringList files = QDir(dir.path()).entryList(QDir::Files);
        QTest::qWait(HistorianWriter::kRetrySeconds * 1000 + 1500); // one retry at least
        QCOMPARE(noticesOf(notices).size(), 1);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), files);
        lock.release();
        QTRY_COMPARE_WITH_TIMEOUT(notices.count(), 2, 3 * HistorianWriter::kRetrySeconds * 1000);
        QCOMPARE(notices.at(1).at(0).toString(), "Historian: recording again; nothing was lost.");
        historian.waitForWriter();
        HistorianStore store(path);
        QVERIFY(store.openForReading());
        QCOMPARE(rowsOf(store, 1), std::make_pair(3, 1));
    }

    // An export writes nothing it did not create: not over the historian, another SQLite file or a
    // file of the station; a damaged or foreign source ends with SQLite's reason. The folder it
    // reads gets no new file either way.
    void exportWritesOnlyWhatItCreates_data()
    {
        QTest::addColumn<QString>("source"); // "ours", "damaged", "foreign"
        QTest::addColumn<QString>("out");    // relative to the station folder
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("says");
        QTest::newRow("onto the historian") << "ours" << "Historian.sqlite" << 64 << "Historian.sqlite is the historian itself";
        QTest::newRow("onto its -wal") << "ours" << "../station/Historian.sqlite-wal" << 64 << "is the historian itself";
        QTest::newRow("onto another database") << "ours" << "../other.db" << 64 << "other.db is an SQLite database";
        QTest::newRow("onto a settings file") << "ours" << "ConsignePW.ini" << 64 << "is one of the station's own files";
        QTest::newRow("into the logger's folder") << "ours" << "Datalogger/x.csv" << 64 << "is in the station's Datalogger folder";
        QTest::newRow("damaged source") << "damaged" << "../out.csv" << 1 << "file is not a database";
        QTest::newRow("foreign source") << "foreign" << "../out.csv" << 1 << "no such table: samples";
        QTest::newRow("a damaged block") << "damaged block" << "../out.csv" << 1 << "the block of LE1 at";
        QTest::newRow("a new file") << "ours" << "../out.csv" << 0 << "10 rows written";
    }
    void exportWritesOnlyWhatItCreates()
    {
        QFETCH(QString, source);
        QFETCH(QString, out);
        QFETCH(int, exitCode);
        QFETCH(QString, says);
        QTemporaryDir dir;
        const QString folder = dir.filePath("station");
        QDir().mkpath(folder + "/Datalogger");
        const QString path = QDir(folder).filePath(HistorianStore::fileName());
        if (source == "ours") {
            fillSome(path, 10);
        } else if (source == "damaged block") {
            fillSome(path, 10);
            HistorianStore store(path);
            QCOMPARE(store.open(), HistorianStore::Result::Ok);
            QCOMPARE(store.seal(ManualClock().now().toSecsSinceEpoch(), 1000), 1);
            store.close();
            QCOMPARE(count(path, "UPDATE blocks SET data = substr(data, 1, length(data) - 3) RETURNING 1"), 1);
        } else if (source == "damaged") {
            test::writeBytes(path, "SQLite format 3" + QByteArray(1, '\0') + QByteArray(4000, '\x7f'));
        } else {
            writeForeign(path);
        }
        writeForeign(dir.filePath("other.db"), "kept");
        test::writeBytes(folder + "/ConsignePW.ini", "50\r\n");
        const QString target = QDir(folder).filePath(out);
        const QByteArray historian = test::readBytes(path), other = test::readBytes(dir.filePath("other.db"));
        const QStringList files = QDir(folder).entryList(QDir::Files);
        const ProgramRun run = runExport(folder, target);
        QVERIFY2(run.exitCode == exitCode && run.err.contains(says), qPrintable(run.err));
        QCOMPARE(test::readBytes(path), historian);
        QCOMPARE(test::readBytes(dir.filePath("other.db")), other);
        QCOMPARE(test::readBytes(folder + "/ConsignePW.ini"), QByteArray("50\r\n"));
        QCOMPARE(QDir(folder).entryList(QDir::Files), files);
        QCOMPARE(QFileInfo::exists(dir.filePath("out.csv")), exitCode == 0);
    }

    // A recorded week: exported by the command line without a window system, then read in the
    // trends window.
    void aWeekExportedAndReadInTheTrendsWindow()
    {
        QTemporaryDir dir;
        const QDateTime end(QDate(2026, 11, 23), QTime(9, 30));
        fillWeek(dir.filePath(HistorianStore::fileName()), end.toSecsSinceEpoch());
        QCOMPARE(runExport(dir.path(), dir.filePath("out.csv"), "2026-11-18 19:29", "2026-11-18 19:31").exitCode, 0);
        const QStringList lines = QString::fromUtf8(test::readBytes(dir.filePath("out.csv"))).split("\r\n", Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 8); // the header, six rows of 19:29, the loss at 19:30
        QCOMPARE(lines[0], "Time,Engine,Link,Phase,Fault code,Motor M (×30 rpm),Fan V1 (counts),Fan V2 (counts),MAT (°C),SHT (°C),"
                           "LPC (AU),LFC (%),VIS (W/m²),IR (%),RH (%),SBV (V),VCC (V)");
        QVERIFY2(lines[1].startsWith("2026-11-18 19:29:00,LE1,yes,5,20,") && lines[1].contains(",12.40,0"), qPrintable(lines[1]));
        QCOMPARE(lines[7], "2026-11-18 19:30:00,LE1,lost,,,,,,,,,,,,,,");

        ManualClock clock(end);
        Station station(dir.path(), QString(), clock);
        QVERIFY(loadAndStart(station)); // its settings: the display coefficients
        HistorianTrends w(station, dir.filePath(HistorianStore::fileName()));
        w.setAttribute(Qt::WA_DeleteOnClose, false);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        HistorianPlot* plot = w.plot();
        const qint64 now = end.toSecsSinceEpoch() + 1;
        QCOMPARE(plot->to() - plot->from(), qint64(3600));
        w.findChild<QComboBox*>("HistorianRange")->setCurrentIndex(HistorianTrends::Last7Days);
        QCOMPARE(plot->from(), now - 7 * 86'400);
        QCOMPARE(plot->to(), now);
        w.findChild<QCheckBox*>("HistorianEngine2")->setChecked(true);
        w.findChild<QListWidget*>("HistorianQuantities")->item(10)->setCheckState(Qt::Checked);
        auto* readout = w.findChild<QLabel*>("HistorianReadout");
        const auto readAt = [&](qint64 t) {
            const QRect r = plot->rect().adjusted(64, 4, -8, -36);
            const double x = r.left() + double(t - plot->from()) * r.width() / double(plot->to() - plot->from());
            QTest::mouseMove(plot, QPoint(int(x) + 1, r.center().y()));
            return readout->text();
        };
        // A week is read from the minutes: LE1's two silent hours and its fault are there too.
        const qint64 day3 = now - 1 - 7 * 86'400 + 2 * 86'400;
        const QString gap = readAt(day3 + 36'000 + 3600);
        QVERIFY2(gap.contains("LE1 Motor M: ---") && gap.contains("LE2 SBV: 12.40 V"), qPrintable(gap));
        QVERIFY2(readAt(day3 + 2 * 86'400 + 44'100).contains("LE1 fault code 7"), qPrintable(readout->text()));
        plot->setFocus();
        auto* range = w.findChild<QComboBox*>("HistorianRange");
        QTest::keyClick(plot, Qt::Key_Plus);
        QCOMPARE(plot->to() - plot->from(), qint64(7 * 86'400 / 2));
        QCOMPARE(range->currentText(), "Custom"); // a zoom is no longer the last 7 days
        range->setCurrentIndex(HistorianTrends::Last24Hours);
        QCOMPARE(plot->to() - plot->from(), qint64(86'400));
        QCOMPARE(range->currentText(), "Last 24 hours");
        QTest::keyClick(plot, Qt::Key_Left);
        QCOMPARE(range->currentText(), "Custom"); // nor a pan
        QCOMPARE(plot->to(), now - 86'400 / 4);

        // Zoomed on day 3 at 09:00..13:00, read from the rows themselves.
        plot->setRange(day3 + 32'400, day3 + 46'800);
        const QString before = readAt(day3 + 34'000);
        QVERIFY2(before.contains(QRegularExpression("LE1 Motor M: \\d+ ×30 rpm")) && before.contains("LE2 SBV: 12.40 V"), qPrintable(before));
        QVERIFY2(readAt(day3 + 39'600).contains("LE1 Motor M: ---"), qPrintable(readout->text()));

        const qint64 rows = w.exportCsv(dir.filePath("shown.csv"));
        QCOMPARE(rows, qint64(2 * 1440 - 719)); // both engines every 10 s, less LE1's silent two hours
    }
};

TARVEK_TEST(HistorianTest)
#include "tst_historian.moc"
