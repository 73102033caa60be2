// The graph page's own cost, free of the serial side and of the machine's other work: six
// engines' trend graphs on their shown page, at 50 ms a pixel, drawn column by column as the
// engines' timers would and painted after each, first a sweep to the right edge and then
// scrolling, as a station with Functions -> Scroll checked does all day. Prints the CPU time of a
// column of all six graphs, painting included, in each phase, and the share of a core that comes
// to at twenty columns a second.
//
//   build/bench/graph_bench [COLUMNS [PICTURE.png]]   # PICTURE: the page as the screen holds it
//                                                       # after scrolling, to look at
#include "app/recording/trend_graph.h"
#include "recording/clock.h"
#include "station/trend_graphs.h"

#include <QApplication>
#include <QScreen>
#include <QTemporaryDir>

#include <cstdio>
#include <ctime>

using namespace tarvek;

namespace {
qint64 threadCpuNs()
{
    timespec t{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return qint64(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}
} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int scrolled = argc > 1 ? std::atoi(argv[1]) : 4000; // columns after the first sweep
    constexpr int kScaleMs = 50;

    QTemporaryDir dir;
    EngineTables tables;
    for (int i = 0; i < kEngines; ++i)
        tables.at(i).everReported = true;
    ManualClock clock;
    TrendGraphs graphs(tables, dir.path(), TrendGraphs::Hooks{{}, {}, [&clock] { return clock.now(); }, {}});
    graphs.setTimeScale(kScaleMs);
    graphs.setScroll(true);
    TrendGraphPage page(graphs);
    page.resize(1366, 700);
    page.show();
    QCoreApplication::processEvents();

    // Every column moves each curve, as running engines do.
    int step = 0;
    const auto columns = [&](int count) {
        const qint64 from = threadCpuNs();
        for (int c = 0; c < count; ++c, ++step) {
            clock.advanceMs(kScaleMs);
            for (int i = 0; i < kEngines; ++i) {
                auto& reported = tables.at(i).reported;
                reported[pos::Mat] = static_cast<std::int16_t>(20 + (step * 7 + i * 13) % 120);
                reported[pos::TachoM] = static_cast<std::int16_t>(900 + (step * 11 + i * 5) % 600);
                graphs.tick(i);
            }
            QCoreApplication::sendPostedEvents(); // the paint, as the event loop would between ticks
        }
        return static_cast<double>(threadCpuNs() - from) / count;
    };
    const double sweepNs = columns(TrendGraphs::kWidth - 1);
    const double scrollNs = columns(scrolled);
    const double perSecond = 1000.0 / kScaleMs;
    std::printf("graph page: six engines at %d ms a pixel, shown at 1366x700 offscreen\n", kScaleMs);
    std::printf("  sweeping (%d columns): %.1f us a column of six graphs, %.3f %% of a core\n",
                TrendGraphs::kWidth - 1, sweepNs / 1000.0, sweepNs * perSecond / 1e7);
    std::printf("  scrolling (%d columns): %.1f us a column of six graphs, %.3f %% of a core\n", scrolled,
                scrollNs / 1000.0, scrollNs * perSecond / 1e7);
    if (argc > 2) {
        // What the window's buffer holds, moved and painted piece by piece, not a fresh paint.
        const bool saved = page.screen()->grabWindow(page.winId()).save(QString::fromLocal8Bit(argv[2]));
        std::printf("  %s %s\n", saved ? "picture saved:" : "cannot save the picture", argv[2]);
        return saved ? 0 : 1;
    }
    return 0;
}
