// Builds a historian file of 30 days for six engines, one row per engine per second, and prints
// the size on disk per engine-day, the cost of an insert and of one second's transaction, and the
// time to draw 1 hour, 24 hours and 7 days of one engine in the trends window's plot (median of
// several runs, the file's pages already in memory). --screenshot FILE saves the window on a week
// of LE1 and LE4.
//   historian_bench [--days N] [--dir DIR] [--screenshot FILE]
#include "app/recording/historian_plot.h"
#include "app/recording/historian_trends.h"
#include "historian/historian_store.h"
#include "station/station.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QListWidget>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

using namespace tarvek;

namespace {
double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}
double ms(const QElapsedTimer& t) { return static_cast<double>(t.nsecsElapsed()) / 1e6; }

// An engine running in phase 5 with slow drifts, a daily temperature wave, a short link loss each
// night on LE4 and a fault now and then.
HistorianSample sampleAt(qint64 t, int e, qint64 start)
{
    HistorianSample s{t, e, LinkState::Yes, 5, 20, {}};
    const qint64 day = (t - start) / 86'400, sec = (t - start) % 86'400;
    if (e == 4 && sec >= 3 * 3600 && sec < 3 * 3600 + 1200)
        s.link = sec == 3 * 3600 ? LinkState::Lost : LinkState::No;
    if (e == 4 && day % 7 == 5 && sec >= 79'000 && sec < 79'600)
        s.fault = 7;
    const double wave = std::sin(static_cast<double>(sec) / 86'400.0 * 2 * M_PI);
    const auto noise = static_cast<int>((t * 2654435761u + static_cast<unsigned>(e) * 40503u) % 17) - 8;
    s.values = {1800 + noise + 40 * e, 2400 + noise, 2410 - noise, static_cast<int>(45 + 8 * wave) + e,
                static_cast<int>(60 + 12 * wave + noise / 4), 700 + noise * 3, 650 + noise * 2, 820 + noise,
                410 + noise, static_cast<int>(40 - 10 * wave), 310 + noise / 4, 245 + noise / 8};
    return s;
}
} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    int days = 30;
    QString dirPath, shot;
    const QStringList args = QCoreApplication::arguments();
    for (int i = 1; i + 1 < args.size(); i += 2) {
        if (args[i] == "--days")
            days = args[i + 1].toInt();
        else if (args[i] == "--dir")
            dirPath = args[i + 1];
        else if (args[i] == "--screenshot")
            shot = args[i + 1];
    }
    QTemporaryDir temp;
    if (dirPath.isEmpty())
        dirPath = temp.path();
    QDir().mkpath(dirPath);
    const QString path = QDir(dirPath).filePath(HistorianStore::fileName());
    QFile::remove(path);
    const QDateTime endTime(QDate(2026, 11, 23), QTime(9, 30));
    const qint64 end = endTime.toSecsSinceEpoch(), start = end - qint64(days) * 86'400;

    HistorianStore store(path);
    if (store.open() != HistorianStore::Result::Ok) {
        std::fprintf(stderr, "cannot open %s: %s\n", qPrintable(path), qPrintable(store.lastError()));
        return 1;
    }
    QElapsedTimer t;
    t.start();
    qint64 rows = 0;
    std::vector<HistorianSample> batch;
    for (qint64 hour = start; hour < end; hour += 3600) {
        batch.clear();
        for (qint64 s = hour; s < hour + 3600; ++s)
            for (int e = 1; e <= 6; ++e) {
                const HistorianSample x = sampleAt(s, e, start);
                const qint64 sec = (s - start) % 86'400;
                if (x.link == LinkState::No || (x.link == LinkState::Lost && sec != 3 * 3600))
                    continue;
                batch.push_back(x);
            }
        if (store.insert(batch) != HistorianStore::Result::Ok) {
            std::fprintf(stderr, "insert failed: %s\n", qPrintable(store.lastError()));
            return 1;
        }
        rows += static_cast<qint64>(batch.size());
    }
    const double buildMs = ms(t);
    t.restart();
    if (!store.rollUp(start, end)) {
        std::fprintf(stderr, "roll-up failed: %s\n", qPrintable(store.lastError()));
        return 1;
    }
    const double rollMs = ms(t);
    // One second's transaction as the historian writes it: six rows, then a commit.
    std::vector<double> tick;
    for (int i = 0; i < 300; ++i) {
        std::vector<HistorianSample> six;
        for (int e = 1; e <= 6; ++e)
            six.push_back(sampleAt(end + i, e, start));
        t.restart();
        store.insert(six);
        tick.push_back(ms(t));
    }
    const double maxTick = *std::max_element(tick.begin(), tick.end());
    store.close();
    qint64 bytes = 0;
    for (const char* suffix : {"", "-wal"})
        bytes += QFileInfo(path + suffix).size();
    std::printf("rows %lld (%d days, 6 engines): built in %.1f s, %.2f us a row in hourly transactions\n",
                static_cast<long long>(rows), days, buildMs / 1000, buildMs * 1000 / static_cast<double>(rows));
    std::printf("minutes summed up in %.1f s (%.1f ms an engine-day; the historian sums each minute as it ends)\n",
                rollMs / 1000, rollMs / (6.0 * days));
    std::printf("one second's transaction (6 rows, commit): median %.3f ms, max %.3f ms over %zu\n",
                median(tick), maxTick, tick.size());
    std::printf("size on disk %.1f MB, %.2f MB per engine-day, %.1f bytes a row\n", static_cast<double>(bytes) / 1e6,
                static_cast<double>(bytes) / 1e6 / (6.0 * days), static_cast<double>(bytes) / static_cast<double>(rows));

    ManualClock clock(endTime);
    Station station(dirPath, QString(), clock);
    station.load(); // its settings: the display coefficients
    while (!station.startedUp())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    HistorianTrends window(station, path);
    window.setAttribute(Qt::WA_DeleteOnClose, false);
    window.resize(1366, 700);
    window.show();
    QApplication::processEvents();
    HistorianPlot* plot = window.plot();
    for (const auto& [label, span] : std::vector<std::pair<const char*, qint64>>{
             {"1 hour", 3600}, {"24 hours", 86'400}, {"7 days", 7 * 86'400}}) {
        std::vector<double> runs;
        for (int i = 0; i < 5; ++i) {
            t.restart();
            plot->setRange(end - span - i, end - i); // a new query each run
            plot->grab();
            runs.push_back(ms(t));
        }
        std::printf("draw %s of LE1 (%d px wide, 4 quantities): median %.1f ms, max %.1f ms\n", label,
                    plot->plotWidth(), median(runs), *std::max_element(runs.begin(), runs.end()));
    }
    if (!shot.isEmpty()) {
        window.findChild<QCheckBox*>("HistorianEngine4")->setChecked(true);
        auto* list = window.findChild<QListWidget*>("HistorianQuantities");
        list->item(2)->setCheckState(Qt::Unchecked);
        list->item(4)->setCheckState(Qt::Checked);
        list->item(10)->setCheckState(Qt::Checked);
        window.setRange(HistorianTrends::Last7Days);
        plot->setCursor(end - 2 * 86'400 - 3 * 3600 + 600);
        QApplication::processEvents();
        std::printf(window.grab().save(shot, "PNG") ? "screenshot saved: %s\n" : "cannot save %s\n", qPrintable(shot));
    }
    std::fflush(stdout);
    return 0;
}
