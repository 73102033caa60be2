#include "app/recording/historian_plot.h"

#include "station/engine_rows.h"

#include <QDateTime>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <limits>

namespace tarvek {

namespace {
constexpr int kLeft = 64, kRight = 8, kTop = 4, kBottom = 36;
constexpr qint64 kMinSpan = 60;            // zoom stops at a minute across
// Rows further apart than this (or a bucket) are not joined: the station was not recording.
constexpr qint64 kMaxGapSeconds = 10;
} // namespace

QColor HistorianPlot::engineColour(int engine)
{
    static const QColor colours[] = {QColor(0, 90, 200), QColor(200, 60, 0), QColor(0, 150, 60),
                                     QColor(150, 0, 160), QColor(190, 140, 0), QColor(0, 150, 160)};
    return colours[std::clamp(engine, 1, 6) - 1];
}

HistorianPlot::HistorianPlot(HistorianStore& store, const StationSettings& settings, QWidget* parent)
    : QWidget(parent), store_(store), settings_(settings)
{
    setObjectName(QStringLiteral("HistorianPlot"));
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setMinimumSize(400, 300);
    setAutoFillBackground(true);
    QPalette p = palette();
    p.setColor(QPalette::Window, Qt::white);
    setPalette(p);
}

void HistorianPlot::setEngines(const std::vector<int>& engines)
{
    engines_ = engines;
    reload();
}

void HistorianPlot::setRows(const std::vector<int>& rows)
{
    rows_ = rows;
    update();
}

void HistorianPlot::setRange(qint64 from, qint64 to)
{
    if (to - from < kMinSpan)
        to = from + kMinSpan;
    from_ = from;
    to_ = to;
    reload();
    emit rangeChanged(from_, to_);
}

QRect HistorianPlot::plotRect() const { return rect().adjusted(kLeft, kTop, -kRight, -kBottom); }
int HistorianPlot::plotWidth() const { return std::max(1, plotRect().width()); }

qint64 HistorianPlot::bucketSeconds() const
{
    const qint64 span = to_ - from_;
    const qint64 seconds = std::max<qint64>(1, (span + plotWidth() - 1) / plotWidth());
    // From a minute up, whole minutes: long ranges are read from the minute table.
    return seconds < 60 ? seconds : (seconds + 59) / 60 * 60;
}

double HistorianPlot::xOf(qint64 t) const
{
    const QRect r = plotRect();
    return r.left() + static_cast<double>(t - from_) * r.width() / static_cast<double>(std::max<qint64>(1, to_ - from_));
}

qint64 HistorianPlot::timeAt(double x) const
{
    const QRect r = plotRect();
    return from_ + static_cast<qint64>((x - r.left()) * static_cast<double>(to_ - from_) / std::max(1, r.width()));
}

double HistorianPlot::shown(int row, int raw) const { return engineRowValue(settings_, row, raw); }

void HistorianPlot::reload()
{
    bucket_ = bucketSeconds();
    data_.clear();
    if (store_.isOpen() && to_ > from_)
        for (int e : engines_)
            data_[e] = store_.buckets(e, from_, to_, bucket_);
    update();
}

void HistorianPlot::zoom(double factor, qint64 at)
{
    const auto span = static_cast<double>(to_ - from_);
    const double left = static_cast<double>(at - from_) / std::max(1.0, span);
    const double next = std::max(static_cast<double>(kMinSpan), span * factor);
    const qint64 from = at - static_cast<qint64>(left * next);
    setRange(from, from + static_cast<qint64>(next));
}

void HistorianPlot::pan(double fraction)
{
    const auto shift = static_cast<qint64>(static_cast<double>(to_ - from_) * fraction);
    setRange(from_ + shift, to_ + shift);
}

void HistorianPlot::setCursor(qint64 time)
{
    cursor_ = time;
    update();
    emit cursorMoved(time);
}

QStringList HistorianPlot::readout() const
{
    QStringList lines;
    if (cursor_ == 0)
        return lines;
    const qint64 index = (cursor_ - from_) / bucket_;
    for (int e : engines_) {
        const auto it = data_.find(e);
        // The last values at or before the cursor, unless the link broke or the rows stop there.
        const HistorianBucket* b = nullptr;
        if (it != data_.end())
            for (const HistorianBucket& c : it->second) {
                if (c.index > index)
                    break;
                b = c.first != 0 && !(c.broken && c.index < index) ? &c : nullptr;
            }
        if (b && b->index < index && cursor_ - b->last > std::max(kMaxGapSeconds, bucket_))
            b = nullptr;
        for (int row : rows_) {
            QString value = QStringLiteral("---");
            if (b) {
                const int d = engineRowDecimals(settings_, row);
                const auto k = static_cast<std::size_t>(row);
                value = QString::number(shown(row, b->min[k]), 'f', d);
                if (b->max[k] != b->min[k])
                    value += QStringLiteral(" .. ") + QString::number(shown(row, b->max[k]), 'f', d);
                const QString unit = engineRowUnit(row);
                if (!unit.isEmpty())
                    value += QLatin1Char(' ') + unit;
            }
            lines << QStringLiteral("LE%1 %2: %3").arg(e).arg(engineRowName(row), value);
        }
        if (b && b->fault != 0)
            lines << QStringLiteral("LE%1 fault code %2").arg(e).arg(b->fault);
    }
    return lines;
}

void HistorianPlot::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    const QRect r = plotRect();
    p.setPen(QColor(160, 160, 160));
    p.drawRect(r.adjusted(0, 0, -1, -1));
    if (!store_.isOpen()) {
        p.drawText(r, Qt::AlignCenter, QStringLiteral("No history recorded yet"));
        return;
    }
    const int lanes = std::max<int>(1, static_cast<int>(rows_.size()));
    const double laneHeight = static_cast<double>(r.height()) / lanes;

    // The time axis: about one label every 110 pixels, with the date once the range passes a day.
    const qint64 span = to_ - from_;
    static const qint64 steps[] = {60, 300, 600, 1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800};
    qint64 step = steps[std::size(steps) - 1];
    for (qint64 s : steps)
        if (static_cast<double>(s) * r.width() / static_cast<double>(span) >= 110) {
            step = s;
            break;
        }
    const QString format = span > 86'400 ? QStringLiteral("MM-dd hh:mm") : QStringLiteral("hh:mm");
    const qint64 offset = QDateTime::fromSecsSinceEpoch(from_).offsetFromUtc();
    for (qint64 t = ((from_ + offset) / step + 1) * step - offset; t < to_; t += step) {
        const double x = xOf(t);
        p.setPen(QColor(230, 230, 230));
        p.drawLine(QPointF(x, r.top()), QPointF(x, r.bottom()));
        p.setPen(Qt::black);
        p.drawText(QRectF(x - 50, r.bottom() + 14, 100, 18), Qt::AlignHCenter | Qt::AlignTop,
                   QDateTime::fromSecsSinceEpoch(t).toString(format));
    }

    for (int lane = 0; lane < lanes && lane < static_cast<int>(rows_.size()); ++lane) {
        const int row = rows_[static_cast<std::size_t>(lane)];
        const auto k = static_cast<std::size_t>(row);
        const double top = r.top() + lane * laneHeight + 14, bottom = r.top() + (lane + 1) * laneHeight - 4;
        double lo = std::numeric_limits<double>::max(), hi = std::numeric_limits<double>::lowest();
        for (const auto& [e, buckets] : data_)
            for (const HistorianBucket& b : buckets)
                if (b.first != 0) {
                    lo = std::min(lo, shown(row, b.min[k]));
                    hi = std::max(hi, shown(row, b.max[k]));
                }
        if (lo > hi)
            lo = 0, hi = 1;
        if (hi - lo < 1e-9)
            lo -= 1, hi += 1;
        const auto yOf = [&](double v) { return bottom - (v - lo) * (bottom - top) / (hi - lo); };
        if (lane > 0) {
            p.setPen(QColor(200, 200, 200));
            p.drawLine(QPointF(r.left(), r.top() + lane * laneHeight), QPointF(r.right(), r.top() + lane * laneHeight));
        }
        const QString unit = engineRowUnit(row);
        const int d = engineRowDecimals(settings_, row);
        p.setPen(Qt::black);
        p.drawText(QPointF(r.left() + 4, r.top() + lane * laneHeight + 12),
                   engineRowName(row) + (unit.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(unit)));
        p.drawText(QRectF(0, top - 6, kLeft - 4, 14), Qt::AlignRight, QString::number(hi, 'f', d));
        p.drawText(QRectF(0, bottom - 8, kLeft - 4, 14), Qt::AlignRight, QString::number(lo, 'f', d));

        p.save();
        p.setClipRect(r);
        for (const auto& [e, buckets] : data_) {
            p.setPen(QPen(engineColour(e), 1.2));
            const HistorianBucket* prev = nullptr;
            for (const HistorianBucket& b : buckets) {
                if (b.first == 0) { // only a link state: nothing to draw, the trace stops
                    prev = nullptr;
                    continue;
                }
                const double x = xOf(from_ + b.index * bucket_ + bucket_ / 2);
                const double y1 = yOf(shown(row, b.min[k])), y2 = yOf(shown(row, b.max[k]));
                if (prev && !prev->broken && b.first - prev->last <= std::max(kMaxGapSeconds, bucket_)) {
                    const double px = xOf(from_ + prev->index * bucket_ + bucket_ / 2);
                    p.drawLine(QPointF(px, yOf(shown(row, prev->max[k]))), QPointF(x, y2));
                }
                p.drawLine(QPointF(x, y1), QPointF(x, y2));
                prev = b.broken ? nullptr : &b;
            }
        }
        p.restore();
    }

    // Faults on the time axis: a red mark with the code where a fault was reported.
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.8);
    p.setFont(small);
    double lastLabel = -1e9;
    for (const auto& [e, buckets] : data_)
        for (const HistorianBucket& b : buckets)
            if (b.fault != 0) {
                const double x = xOf(from_ + b.index * bucket_);
                p.setPen(QPen(QColor(220, 0, 0), 2));
                p.drawLine(QPointF(x, r.bottom() + 1), QPointF(x, r.bottom() + 10));
                if (x - lastLabel > 40) {
                    p.drawText(QPointF(x + 2, r.bottom() + 10), QStringLiteral("LE%1:%2").arg(e).arg(b.fault));
                    lastLabel = x;
                }
            }

    if (cursor_ >= from_ && cursor_ < to_ && cursor_ != 0) {
        p.setPen(QPen(Qt::black, 1, Qt::DashLine));
        const double x = xOf(cursor_);
        p.drawLine(QPointF(x, r.top()), QPointF(x, r.bottom()));
    }
}

void HistorianPlot::resizeEvent(QResizeEvent*)
{
    if (bucketSeconds() != bucket_)
        reload();
}

void HistorianPlot::wheelEvent(QWheelEvent* e)
{
    const double steps = e->angleDelta().y() / 120.0;
    if (steps != 0)
        zoom(std::pow(0.8, steps), timeAt(e->position().x()));
    e->accept();
}

void HistorianPlot::mousePressEvent(QMouseEvent* e)
{
    if (e->button() == Qt::LeftButton) {
        dragX_ = qRound(e->position().x());
        dragFrom_ = from_;
    }
}

void HistorianPlot::mouseMoveEvent(QMouseEvent* e)
{
    if (dragX_ >= 0 && (e->buttons() & Qt::LeftButton)) {
        const qint64 shift = timeAt(dragX_) - timeAt(e->position().x());
        const qint64 span = to_ - from_;
        if (dragFrom_ + shift != from_)
            setRange(dragFrom_ + shift, dragFrom_ + shift + span);
        return;
    }
    if (plotRect().contains(e->position().toPoint()))
        setCursor(timeAt(e->position().x()));
}

void HistorianPlot::mouseReleaseEvent(QMouseEvent*) { dragX_ = -1; }

void HistorianPlot::keyPressEvent(QKeyEvent* e)
{
    const qint64 middle = cursor_ >= from_ && cursor_ < to_ && cursor_ != 0 ? cursor_ : (from_ + to_) / 2;
    switch (e->key()) {
    case Qt::Key_Plus:
    case Qt::Key_Equal: zoom(0.5, middle); break;
    case Qt::Key_Minus: zoom(2.0, middle); break;
    case Qt::Key_Left: pan(-0.25); break;
    case Qt::Key_Right: pan(0.25); break;
    default: QWidget::keyPressEvent(e); return;
    }
    e->accept();
}

} // namespace tarvek
