// The historian against the simulated engines, its file's faults, and the trends window.
#include "app/recording/historian_plot.h"
#include "app/recording/historian_trends.h"
#include "historian/historian.h"
#include "sim/simulated_engine.h"
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
#include <QTest>

using namespace tarvek;

namespace {
std::pair<int, int> rowsOf(HistorianStore& store, int engine)
{
    int values = 0, states = 0;
    store.forEachRow({engine}, 0, std::numeric_limits<qint64>::max(),
                     [&](const HistorianSample&, bool v) { ++(v ? values : states); });
    return {values, states};
}

// A week of LE1 and LE2 every 10 s, LE1 silent on day 3 from 10:00 to 12:00 and in fault 7 for half an hour at noon of day 5.
void fillWeek(const QString& path, qint64 end)
{
    HistorianStore store(path);
    QVERIFY(store.open());
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
}
} // namespace

class HistorianTest : public QObject {
    Q_OBJECT
private slots:
    void recordsEachEngineEverySecondAndOnceALostLink()
    {
        SimulatedEngines engines;
        QVERIFY(engines.start());
        ManualClock clock;
        Station station(engines.folder, QString(), clock);
        Historian historian(station);
        station.load();
        for (int n = 0; n < 6; ++n)
            QTRY_VERIFY_WITH_TIMEOUT(station.tables().at(n).everReported, 15'000);
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
        engines.simulator->engine(3)->model().setSilent(true);
        QTRY_VERIFY_WITH_TIMEOUT(station.stale(3), 15'000);
        seconds(2, 3);
        QTRY_VERIFY_WITH_TIMEOUT(station.linkLost[2], 20'000);
        seconds(3, 3);
        clock.advanceSeconds(59); // the minute is over: it is summed up for long ranges
        seconds(1, 3);
        historian.waitForWriter();

        HistorianStore store(historian.path());
        QVERIFY(store.open(true));
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
    }

    void prunesOldRowsInSmallSteps()
    {
        QTemporaryDir dir;
        HistorianStore store(dir.filePath("h.sqlite"));
        QVERIFY(store.open());
        std::vector<HistorianSample> rows;
        for (qint64 t = 0; t < 5000; ++t)
            rows.push_back({1000 + t, 1, LinkState::Yes, 5, 0, {}});
        QCOMPARE(store.insert(rows), HistorianStore::Result::Ok);
        QCOMPARE(store.prune(4000, 2000), 2000);
        QCOMPARE(store.prune(4000, 2000), 1000);
        QCOMPARE(store.prune(4000, 2000), 0);
        QCOMPARE(store.rowCount(), qint64(2000));
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
        if (content.isEmpty()) {
            {
                QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "foreign");
                db.setDatabaseName(path);
                QVERIFY(db.open());
                QVERIFY(QSqlQuery(db).exec("CREATE TABLE cars(id)"));
            }
            QSqlDatabase::removeDatabase("foreign");
        } else {
            test::writeBytes(path, content);
        }
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
        QVERIFY(store.open(true));
        QCOMPARE(rowsOf(store, 4), std::make_pair(0, 1)); // a closed port: its state once
    }

    // A recorded week: exported by the command line without a window system, then read in the
    // trends window.
    void aWeekExportedAndReadInTheTrendsWindow()
    {
        QTemporaryDir dir;
        const QDateTime end(QDate(2026, 11, 23), QTime(9, 30));
        fillWeek(dir.filePath(HistorianStore::fileName()), end.toSecsSinceEpoch());
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            env.remove(name);
        QProcess p;
        p.setProcessEnvironment(env);
        p.start(TARVEK_BINARY_DIR "/src/app/tarvek-station",
                {"--folder", dir.path(), "--export-history", dir.filePath("out.csv"), "--engine", "1", "--from",
                 "2026-11-18 19:29", "--to", "2026-11-18 19:31"});
        QVERIFY(p.waitForFinished(30'000));
        QCOMPARE(p.exitCode(), 0);
        const QStringList lines = QString::fromUtf8(test::readBytes(dir.filePath("out.csv"))).split("\r\n", Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 8); // the header, six rows of 19:29, the loss at 19:30
        QCOMPARE(lines[0], "Time,Engine,Link,Phase,Fault code,Motor M (×30 rpm),Fan V1 (counts),Fan V2 (counts),MAT (°C),SHT (°C),"
                           "LPC (AU),LFC (%),VIS (W/m²),IR (%),RH (%),SBV (V),VCC (V)");
        QVERIFY2(lines[1].startsWith("2026-11-18 19:29:00,LE1,yes,5,20,") && lines[1].contains(",12.40,0"), qPrintable(lines[1]));
        QCOMPARE(lines[7], "2026-11-18 19:30:00,LE1,lost,,,,,,,,,,,,,,");

        ManualClock clock(end);
        Station station(dir.path(), QString(), clock);
        station.load(); // its settings: the display coefficients
        QTRY_VERIFY_WITH_TIMEOUT(station.startedUp(), 10'000);
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
        QTest::keyClick(plot, Qt::Key_Plus);
        QCOMPARE(plot->to() - plot->from(), qint64(7 * 86'400 / 2));

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
