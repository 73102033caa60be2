// Builds a historian file of 30 days for six simulated engines (the FADEC simulator's model, one
// reading a second, running at different powers; LE4 loses its link 20 minutes each night and
// reports fault 7 once a week) as the historian writes it: rows, minutes summed up, seconds packed
// into blocks. Prints the size on disk per engine-day and per value, what 400 days of six engines
// come to, the cost of one second's transaction and of packing a block, and the time to draw 1
// hour, 8 hours, 24 hours and 7 days of one engine in the trends window's plot (median of several
// runs, the file's pages already in memory). --screenshot FILE saves the window on a week of LE1
// and LE4.
//   historian_bench [--days N] [--dir DIR] [--screenshot FILE]
#include "app/recording/historian_plot.h"
#include "app/recording/historian_trends.h"
#include "historian/historian_store.h"
#include "sim/fadec_model.h"
#include "station/station.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QListWidget>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdint>
#include <string>
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

// Six simulated FADECs running at different powers; one reading of each a second.
class Engines {
public:
    explicit Engines(qint64 start) : start_(start)
    {
        for (int e = 1; e <= 6; ++e) {
            models_.emplace_back(static_cast<std::uint32_t>(e));
            std::string frame(kFrameLength, '\0');
            frame[pos::RunRequest] = 1;
            frame[kFrameLength - 2] = '\r';
            frame[kFrameLength - 1] = '\n';
            models_.back().frame(frame);
            models_.back().advance(20'000); // through the start to phase 5
            frame[pos::RunRequest] = 0;
            frame[pos::Power] = static_cast<char>(60 + 10 * e);
            models_.back().frame(frame);
        }
    }
    // Engine e at second t (called for every engine, second after second).
    HistorianSample at(qint64 t, int e)
    {
        sim::FadecModel& m = models_[static_cast<std::size_t>(e - 1)];
        if (e == 1)
            for (sim::FadecModel& each : models_)
                each.advance(1000);
        const qint64 day = (t - start_) / 86'400, sec = (t - start_) % 86'400;
        m.setFaultCode(e == 4 && day % 7 == 5 && sec >= 79'000 && sec < 79'600 ? 7 : 0);
        const auto f = m.statusFields();
        HistorianSample s{t, e, LinkState::Yes, f[pos::Phase], f[pos::FaultCode], {}};
        if (e == 4 && sec >= 3 * 3600 && sec < 3 * 3600 + 1200)
            s.link = sec == 3 * 3600 ? LinkState::Lost : LinkState::No;
        for (int i = 0; i < kEngineRows; ++i)
            s.values[static_cast<std::size_t>(i)] = f[static_cast<std::size_t>(engineRows()[static_cast<std::size_t>(i)].position)];
        return s;
    }

private:
    qint64 start_;
    std::vector<sim::FadecModel> models_;
};
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
    double rollMs = 0, sealMs = 0;
    int blocks = 0;
    Engines engines(start);
    std::vector<HistorianSample> batch;
    for (qint64 hour = start; hour < end; hour += 3600) {
        batch.clear();
        for (qint64 s = hour; s < hour + 3600; ++s)
            for (int e = 1; e <= 6; ++e) {
                const HistorianSample x = engines.at(s, e);
                // A lost link is written once, as the historian does; its silence not at all.
                if (x.link == LinkState::No || (x.link == LinkState::Lost && (s - start) % 86'400 != 3 * 3600))
                    continue;
                batch.push_back(x);
            }
        if (store.insert(batch) != HistorianStore::Result::Ok) {
            std::fprintf(stderr, "insert failed: %s\n", qPrintable(store.lastError()));
            return 1;
        }
        rows += static_cast<qint64>(batch.size());
        QElapsedTimer step;
        step.start();
        if (!store.rollUp(hour, hour + 3600)) {
            std::fprintf(stderr, "roll-up failed: %s\n", qPrintable(store.lastError()));
            return 1;
        }
        rollMs += ms(step);
        step.restart();
        const int packed = store.seal(hour + 3600, 1'000'000);
        if (packed < 0) {
            std::fprintf(stderr, "packing failed: %s\n", qPrintable(store.lastError()));
            return 1;
        }
        blocks += packed;
        sealMs += ms(step);
    }
    const double buildMs = ms(t);
    // One second's transaction as the historian writes it: six rows, then a commit.
    std::vector<double> tick;
    for (int i = 0; i < 300; ++i) {
        std::vector<HistorianSample> six;
        for (int e = 1; e <= 6; ++e)
            six.push_back(engines.at(end + i, e));
        t.restart();
        store.insert(six);
        tick.push_back(ms(t));
    }
    const double maxTick = *std::max_element(tick.begin(), tick.end());
    store.close();
    qint64 bytes = 0;
    for (const char* suffix : {"", "-wal"})
        bytes += QFileInfo(path + suffix).size();
    const double perEngineDay = static_cast<double>(bytes) / 1e6 / (6.0 * days);
    std::printf("rows %lld (%d days, 6 simulated engines): built in %.1f s\n", static_cast<long long>(rows), days,
                buildMs / 1000);
    std::printf("minutes summed up: %.1f ms an engine-hour; blocks packed: %d, %.2f ms a block (10 minutes of one engine)\n",
                rollMs / (6.0 * days * 24), blocks, sealMs / std::max(1, blocks));
    std::printf("one second's transaction (6 rows, commit): median %.3f ms, max %.3f ms over %zu\n",
                median(tick), maxTick, tick.size());
    std::printf("size on disk %.1f MB, %.3f MB per engine-day, %.2f bytes a row, %.3f bytes a value "
                "(15 a row: link, phase, fault, 12 readings)\n",
                static_cast<double>(bytes) / 1e6, perEngineDay, static_cast<double>(bytes) / static_cast<double>(rows),
                static_cast<double>(bytes) / static_cast<double>(rows) / 15.0);
    std::printf("400 days of 6 engines at this rate: %.0f MB\n", perEngineDay * 6 * 400);

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
             {"1 hour", 3600}, {"8 hours", 8 * 3600}, {"24 hours", 86'400}, {"7 days", 7 * 86'400}}) {
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
