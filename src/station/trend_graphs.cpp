#include "station/trend_graphs.h"

#include "station/engine_rows.h"

#include "recording/named_timer.h"

#include <QDir>
#include <QRegularExpression>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <limits>

namespace tarvek {

const std::array<TrendSeries, kTrendSeriesCount>& trendSeries()
{
    // The first ten rows of the main window, in its order and units; the supply voltages are not drawn.
    static constexpr std::array<TrendSeries, kTrendSeriesCount> all{{
        {"M", 0, 150.0},  {"V1", 1, 150.0}, {"V2", 2, 150.0}, {"MAT", 3, 150.0}, {"SHT", 4, 150.0},
        {"LPC", 5, 255.0}, {"LFC", 6, 100.0}, {"VIS", 7, 255.0}, {"IR", 8, 100.0},  {"RH", 9, 100.0},
    }};
    return all;
}

int TrendSeries::position() const { return engineRows().at(static_cast<std::size_t>(row)).position; }

QString TrendSeries::unit() const { return engineRowUnit(row); }

namespace screenshots {

QString fileName(int engine, int number)
{
    return QStringLiteral("LE%1-%2.bmp").arg(engine).arg(number, 4, 10, QLatin1Char('0'));
}

int numberOf(const QString& fileName)
{
    static const QRegularExpression name(QStringLiteral("^LE\\d+-(\\d+)\\.bmp$"),
                                         QRegularExpression::CaseInsensitiveOption);
    const auto m = name.match(fileName);
    if (!m.hasMatch())
        return -1;
    bool ok = false;
    const int n = m.captured(1).toInt(&ok);
    return ok ? n : -1;
}

int highest(const QString& folder)
{
    int top = 0;
    const QStringList files = QDir(folder).entryList({QStringLiteral("*.bmp"), QStringLiteral("*.BMP")}, QDir::Files);
    for (const QString& f : files)
        top = std::max(top, numberOf(f));
    return top;
}

} // namespace screenshots

TrendGraphs::TrendGraphs(const EngineTables& tables, QString imageFolder, Hooks hooks, QObject* parent)
    : QObject(parent), tables_(tables), folder_(std::move(imageFolder)), hooks_(std::move(hooks))
{
    if (!hooks_.whenClear)
        hooks_.whenClear = [](const std::function<void()>& work) { work(); };
    static constexpr std::array<int, kEngines> kTimerNumbers{4, 6, 10, 18, 20, 28};
    for (int i = 0; i < kEngines; ++i) {
        QTimer* t = namedTimer(this, QStringLiteral("Timer%1").arg(kTimerNumbers[static_cast<std::size_t>(i)]),
                               scaleMs_, false);
        connect(t, &QTimer::timeout, this, [this, i] { hooks_.whenClear([this, i] { tick(i); }); });
        timers_[static_cast<std::size_t>(i)] = t;
    }
}

void TrendGraphs::start()
{
    for (QTimer* t : timers_)
        t->start(scaleMs_);
}

void TrendGraphs::stop()
{
    for (QTimer* t : timers_)
        t->stop();
}

void TrendGraphs::setTimeScale(int ms)
{
    if (std::find(kScalesMs.begin(), kScalesMs.end(), ms) == kScalesMs.end())
        return;
    scaleMs_ = ms;
    for (QTimer* t : timers_)
        t->setInterval(ms);
    emit timeScaleChanged(ms);
}

void TrendGraphs::clear()
{
    x_.fill(0);
    sweep_.fill(0);
    for (int i = 0; i < kEngines; ++i)
        emit cleared(i);
}

QDateTime TrendGraphs::now() const
{
    return hooks_.now ? hooks_.now() : QDateTime();
}

double TrendGraphs::value(int index, int series) const
{
    const TrendSeries& s = trendSeries().at(static_cast<std::size_t>(series));
    if (hooks_.live && !hooks_.live(index))
        return std::numeric_limits<double>::quiet_NaN();
    return tables_.at(index).reported[static_cast<std::size_t>(s.position())];
}

QList<double> TrendGraphs::levels(int index) const
{
    QList<double> out;
    out.reserve(kTrendSeriesCount);
    const bool live = hooks_.live ? hooks_.live(index) : true;
    const LightEngineRecord& r = tables_.at(index);
    for (const TrendSeries& s : trendSeries()) {
        if (!live) {
            out << std::numeric_limits<double>::quiet_NaN();
            continue;
        }
        const double v = r.reported[static_cast<std::size_t>(s.position())] / s.fullScale;
        out << std::clamp(v, 0.0, 1.0);
    }
    return out;
}

void TrendGraphs::tick(int index)
{
    const auto k = static_cast<std::size_t>(index);
    if (frozen_ || (hooks_.visible && !hooks_.visible(index)))
        return;
    bool shifted = false;
    if (x_[k] >= kWidth) {
        // Past the right edge: scroll by a column, or begin again on an empty picture.
        if (scroll_) {
            shifted = true;
        } else {
            x_[k] = 0;
            emit cleared(index);
        }
    }
    if (!shifted)
        ++x_[k];
    if (++sweep_[k] > kWidth)
        sweep_[k] = 1;
    emit column(index, x_[k], levels(index), shifted);

    const bool running = tables_.at(index).Phase > 0 && (!hooks_.live || hooks_.live(index));
    if (sweep_[k] == kSaveColumn && autoSave_ && running) {
        // Files written by the previous run, or still being written by this one, both count.
        lastIssued_ = std::max(lastIssued_, screenshots::highest(folder_)) + 1;
        emit saveRequested(index, QDir(folder_).filePath(screenshots::fileName(index + 1, lastIssued_)));
    }
}

void TrendGraphs::saveFinished(const QString& path, const QString& error)
{
    if (error.isEmpty()) {
        saveFailing_ = false;
        return;
    }
    // A full disk fails every sweep; the operator hears of it once, not every few minutes.
    if (!saveFailing_)
        emit saveFailed(QStringLiteral("Screenshot not saved: %1: %2").arg(QDir::toNativeSeparators(path), error));
    saveFailing_ = true;
}

} // namespace tarvek
