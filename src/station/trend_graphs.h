#pragma once
// The trend graphs' logic, without a widget: the six graph timers, the time scale, the sweep of
// each graph, scrolling, freezing, and when and under which name a full graph is saved.
//
// Each tick of an engine's timer (Timer4, Timer6, Timer10, Timer18, Timer20, Timer28 for LE1..LE6)
// advances that graph by one pixel column and emits the column's levels; the drawing widget only
// draws them. Screenshot names are "LE<n>-<number>.bmp" with the number at least four digits wide;
// numbers are read back as all the digits between the "-" and ".bmp", so 100 and beyond continue.
#include "protocol/engine.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>

#include <array>
#include <functional>

class QTimer;

namespace tarvek {

// One plotted quantity: a row of the main window (engine_rows.h) with its legend name and the value
// at the top of the picture; a trace is drawn as a share of that.
struct TrendSeries {
    const char* name;
    int row;
    double fullScale;
    int position() const; // in LightEngineRecord::reported
    QString unit() const; // the main window's
};
inline constexpr int kTrendSeriesCount = 10;
const std::array<TrendSeries, kTrendSeriesCount>& trendSeries();

namespace screenshots {
// "LE3-0042.bmp" for engine 3 and number 42.
QString fileName(int engine, int number);
// The number of a screenshot file name, or -1 for a name that is not one.
int numberOf(const QString& fileName);
// The highest number among the "*.bmp" files of the folder, 0 when there is none.
int highest(const QString& folder);
} // namespace screenshots

class TrendGraphs : public QObject {
    Q_OBJECT
public:
    static constexpr int kWidth = 460;      // pixel columns of a graph picture
    static constexpr int kSaveColumn = 459; // a running engine's full sweep is saved here
    static constexpr int kDefaultScaleMs = 200;
    static constexpr std::array<int, 5> kScalesMs{50, 100, 200, 400, 800};

    struct Hooks {
        // The engine (index 0..5) answers and its values are worth plotting.
        std::function<bool(int index)> live;
        // The engine's curve is shown (software settings).
        std::function<bool(int index)> visible;
        // The station's clock, for the time of each column (none: columns carry no time).
        std::function<QDateTime()> now;
        // Runs a column's work, perhaps a few milliseconds later, when the thread is clear (none: at once).
        std::function<void(std::function<void()>)> whenClear;
    };
    TrendGraphs(const EngineTables& tables, QString imageFolder, Hooks hooks, QObject* parent = nullptr);

    // Starts the six timers at the current time scale.
    void start();
    void stop();

    int timeScale() const { return scaleMs_; }
    // One of kScalesMs: sets all six timers at once.
    void setTimeScale(int ms);
    bool scroll() const { return scroll_; }
    void setScroll(bool on) { scroll_ = on; }
    bool autoSave() const { return autoSave_; }
    void setAutoSave(bool on) { autoSave_ = on; }
    bool frozen() const { return frozen_; }
    void setFrozen(bool on) { frozen_ = on; }
    // Clear Screen: every graph empty, every sweep back to the left edge.
    void clear();

    // The column last drawn by engine index 0..5 (0: none yet).
    int x(int index) const { return x_.at(static_cast<std::size_t>(index)); }
    QTimer* timer(int index) const { return timers_.at(static_cast<std::size_t>(index)); }
    QString imageFolder() const { return folder_; }
    QDateTime now() const;
    // The value of a series of engine index 0..5 now, in the series' unit; NaN when not live.
    double value(int index, int series) const;

    // One tick of engine index 0..5's timer.
    void tick(int index);
    // A screenshot's writer is done: error is empty when the file is whole.
    void saveFinished(const QString& path, const QString& error);

signals:
    // Draw column x of the graph; levels are 0..1 of each series' full scale, NaN for no value.
    // With shifted, the picture first moves one column left (scrolling at the right edge).
    void column(int index, int x, const QList<double>& levels, bool shifted);
    void cleared(int index);
    // Save the graph picture of engine index 0..5 to this file now.
    void saveRequested(int index, const QString& path);
    void timeScaleChanged(int ms);
    // A screenshot could not be written; said once until one is written again.
    void saveFailed(const QString& text);

private:
    QList<double> levels(int index) const;

    const EngineTables& tables_;
    QString folder_;
    Hooks hooks_;
    std::array<QTimer*, kEngines> timers_{};
    std::array<int, kEngines> x_{};
    std::array<int, kEngines> sweep_{}; // columns since the sweep began, also while scrolling
    int scaleMs_ = kDefaultScaleMs;
    int lastIssued_ = 0;
    bool scroll_ = false;
    bool autoSave_ = false;
    bool frozen_ = false;
    bool saveFailing_ = false;
};

} // namespace tarvek
