#include "app/recording/trend_graph.h"

#include <QGridLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPromise>
#include <QSaveFile>
#include <QThreadPool>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <memory>

namespace tarvek {

namespace {
// The station's grey around a quiet picture; the curves carry the only colour.
const QColor kBackground(236, 236, 236);
const QColor kGrid(200, 200, 200);
const QColor kAxis(250, 250, 250);
constexpr int kNoLine = -1;
constexpr int kTitleHeight = 18;
constexpr int kLegendRowHeight = 16;
constexpr int kLegendPerRow = 4;
const QString kTimeFormat = QStringLiteral("HH:mm:ss");
} // namespace

QColor TrendGraphPage::colour(int series)
{
    // Speeds in blues, temperatures in reds, light in greens and yellow, humidity in violet.
    static const std::array<QColor, kTrendSeriesCount> colours{
        QColor(0, 0, 200),  QColor(0, 140, 255), QColor(0, 190, 190), QColor(220, 0, 0),    QColor(255, 120, 0),
        QColor(0, 150, 0),  QColor(120, 200, 0), QColor(200, 170, 0), QColor(140, 70, 20), QColor(160, 0, 200)};
    return colours.at(static_cast<std::size_t>(series));
}

QString TrendGraphPage::valueText(int series, double value, bool atTop)
{
    const TrendSeries& t = trendSeries().at(static_cast<std::size_t>(series));
    if (std::isnan(value))
        return QStringLiteral("---");
    return QStringLiteral("%1%2 %3")
        .arg(atTop ? QStringLiteral("\u2265") : QString())
        .arg(value, 0, 'f', 0)
        .arg(t.unit());
}

TrendGraph::TrendGraph(int engine, QWidget* parent)
    : QWidget(parent), engine_(engine), picture_(TrendGraphs::kWidth, kHeight, QImage::Format_RGB32),
      samples_(TrendGraphs::kWidth)
{
    setObjectName(QStringLiteral("PictureLE%1").arg(engine));
    // The paint event covers all it is asked for, the picture and the time axis below it: nothing
    // behind the graph is painted first, twenty times a second.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFixedSize(sizeHint());
    setToolTip(QStringLiteral("Click to read every trace at a point; double-click to remove the cursor"));
    clear();
}

QSize TrendGraph::sizeHint() const { return {TrendGraphs::kWidth, kHeight + kAxisHeight}; }

void TrendGraph::clear()
{
    picture_.fill(kBackground);
    QPainter p(&picture_);
    p.setPen(kGrid);
    for (int q = 1; q < 4; ++q)
        p.drawLine(0, kHeight * q / 4, TrendGraphs::kWidth - 1, kHeight * q / 4);
    lastY_.fill(kNoLine);
    std::fill(samples_.begin(), samples_.end(), Sample{});
    origin_ = 0;
    unshownShift_ = 0;
    last_ = -1;
    unshownFrom_ = TrendGraphs::kWidth;
    unshownTo_ = -1;
    unshownAxis_ = false;
    update();
}

void TrendGraph::drawColumn(int x, const QList<double>& levels, bool shifted, const QDateTime& at, bool show)
{
    // Six graphs take a column twenty times a second at the finest scale: the column is written
    // into the picture's pixels directly, which costs a small share of what a painter set up for it
    // (and a pen for every curve) did.
    const int column = x - 1;
    if (shifted) {
        // Scrolling: the oldest column becomes the newest, blank again; nothing is moved.
        origin_ = (origin_ + 1) % TrendGraphs::kWidth;
        // Columns waiting to be shown moved with the picture.
        unshownFrom_ = std::max(unshownFrom_ - 1, 0);
        unshownTo_ = unshownTo_ >= 0 ? unshownTo_ - 1 : -1;
        ++unshownShift_;
    }
    auto* const pixels = reinterpret_cast<QRgb*>(picture_.bits());
    const auto stride = static_cast<std::size_t>(picture_.bytesPerLine()) / sizeof(QRgb);
    const auto row = [pixels, stride](int y) { return pixels + static_cast<std::size_t>(y) * stride; };
    static const QRgb background = kBackground.rgb();
    static const QRgb grid = kGrid.rgb();
    static const std::array<QRgb, kTrendSeriesCount> colours = [] {
        std::array<QRgb, kTrendSeriesCount> c{};
        for (int s = 0; s < kTrendSeriesCount; ++s)
            c[static_cast<std::size_t>(s)] = TrendGraphPage::colour(s).rgb();
        return c;
    }();
    const int here = physical(column);
    Sample& sample = samples_.at(static_cast<std::size_t>(here));
    sample.at = at;
    for (int y = 0; y < kHeight; ++y)
        row(y)[here] = background;
    for (int q = 1; q < 4; ++q)
        row(kHeight * q / 4)[here] = grid;
    // A vertical run of a curve, two pixels thick, to read from across the room.
    const auto run = [&row](int c, int from, int to, QRgb colour) {
        if (from > to)
            std::swap(from, to);
        for (int y = std::max(from, 0); y <= std::min(to + 1, kHeight - 1); ++y)
            row(y)[c] = colour;
    };
    const int before = column > 0 ? physical(column - 1) : -1;
    for (int s = 0; s < kTrendSeriesCount; ++s) {
        int& last = lastY_[static_cast<std::size_t>(s)];
        const double level = s < levels.size() ? levels[s] : std::nan("");
        sample.levels[static_cast<std::size_t>(s)] = level;
        if (std::isnan(level)) {
            last = kNoLine;
            continue;
        }
        const int y = static_cast<int>(std::lround((1.0 - level) * (kHeight - 2))) + 1;
        const QRgb colour = colours[static_cast<std::size_t>(s)];
        // A curve joins its previous column, unless this is the first column of a sweep: the first
        // half of the step in that column, the rest in this one, as a line from one to the other.
        if (last == kNoLine || before < 0) {
            run(here, y, y, colour);
        } else {
            const int half = last + (y - last) / 2;
            run(before, last, half, colour);
            run(here, half == y ? y : half + (y > last ? 1 : -1), y, colour);
        }
        last = y;
    }
    last_ = column;
    // The column and the one before it, where a step may have been joined.
    unshownFrom_ = std::min(unshownFrom_, std::max(column - 1, 0));
    unshownTo_ = std::max(unshownTo_, column);
    unshownAxis_ = unshownAxis_ || column % kTickColumns == 0;
    if (show)
        present();
}

int TrendGraph::physical(int column) const { return (origin_ + column) % TrendGraphs::kWidth; }

QImage TrendGraph::picture() const
{
    if (origin_ == 0)
        return picture_;
    QImage shown(picture_.size(), picture_.format());
    QPainter p(&shown);
    const int oldest = TrendGraphs::kWidth - origin_;
    p.drawImage(0, 0, picture_, origin_, 0, oldest, kHeight);
    p.drawImage(oldest, 0, picture_, 0, 0, origin_, kHeight);
    return shown;
}

void TrendGraph::present()
{
    if (unshownShift_ > 0) {
        // What is on the screen moves left in the window's own buffer, once for all the columns
        // scrolled since the last showing, and only the newest columns are painted. The cursor's
        // line stays where it is, so with a cursor the picture is painted whole.
        if (cursor_ < 0)
            scroll(-std::min(unshownShift_, TrendGraphs::kWidth), 0, QRect(0, 0, TrendGraphs::kWidth, kHeight));
        else
            update(0, 0, TrendGraphs::kWidth, kHeight);
        unshownShift_ = 0;
        updateChangedAxisTimes();
    }
    if (unshownTo_ >= 0)
        update(unshownFrom_, 0, unshownTo_ - unshownFrom_ + 1, kHeight);
    if (unshownAxis_)
        update(0, kHeight, TrendGraphs::kWidth, kAxisHeight);
    unshownFrom_ = TrendGraphs::kWidth;
    unshownTo_ = -1;
    unshownAxis_ = false;
}

void TrendGraph::updateChangedAxisTimes()
{
    // The clock times stay at their columns while the curves move under them: each is drawn
    // again only when the second it shows changes.
    constexpr int kHalfLabel = 56; // more than "00:00:00" in the axis font: the first time is not centred
    for (int c = 0, i = 0; c < TrendGraphs::kWidth; c += kTickColumns, ++i) {
        const QDateTime& at = sample(c).at;
        const qint64 second = at.isValid() ? at.toSecsSinceEpoch() : -1;
        if (std::exchange(axisSeconds_.at(static_cast<std::size_t>(i)), second) != second)
            update(c - kHalfLabel, kHeight, 2 * kHalfLabel, kAxisHeight);
    }
}

void TrendGraph::setCursorColumn(int column)
{
    const int before = cursor_;
    cursor_ = column >= 0 && column < TrendGraphs::kWidth ? column : -1;
    if (before == cursor_)
        return;
    if (before >= 0)
        update(before, 0, 1, kHeight);
    if (cursor_ >= 0)
        update(cursor_, 0, 1, kHeight);
    emit cursorMoved(engine_);
}

void TrendGraph::drawAxis(QPainter& p, int top, int fromX, int toX) const
{
    p.fillRect(fromX, top, toX - fromX + 1, kAxisHeight, kAxis);
    QFont f = p.font();
    f.setPixelSize(kAxisHeight - 5);
    p.setFont(f);
    const QFontMetrics metrics = p.fontMetrics();
    const int textWidth = metrics.horizontalAdvance(QStringLiteral("00:00:00"));
    // A time is drawn from its base line, as wide as "00:00:00" (a font's digits are all as wide):
    // laid out and centred in a box, it cost several times as much, each time a new tick reaches
    // the axis of each graph.
    const int baseline = top + 2 + (kAxisHeight - 2 - metrics.height()) / 2 + metrics.ascent();
    for (int c = 0; c < TrendGraphs::kWidth; c += kTickColumns) {
        const QDateTime& at = sample(c).at;
        if (!at.isValid())
            continue;
        p.setPen(Qt::darkGray);
        p.drawLine(c, top, c, top + 3);
        p.setPen(Qt::black);
        const int left = std::clamp(c - textWidth / 2, 0, TrendGraphs::kWidth - textWidth);
        if (left > toX || left + textWidth < fromX)
            continue; // a time the strip painted does not reach: drawing it costs more than its pixels
        p.drawText(left, baseline, at.toString(kTimeFormat));
    }
}

QImage TrendGraph::annotated(int scaleMs) const
{
    const int rows = (kTrendSeriesCount + kLegendPerRow - 1) / kLegendPerRow;
    QImage shot(TrendGraphs::kWidth, kTitleHeight + kHeight + kAxisHeight + rows * kLegendRowHeight + 2,
                QImage::Format_RGB32);
    shot.fill(Qt::white);
    QPainter p(&shot);
    QFont f = p.font();
    f.setPixelSize(12);
    f.setBold(true);
    p.setFont(f);
    const Sample* newest = last_ >= 0 ? &sample(last_) : nullptr;
    const QString when = newest && newest->at.isValid() ? newest->at.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))
                                                        : QString();
    p.drawText(QRect(4, 0, TrendGraphs::kWidth - 8, kTitleHeight), Qt::AlignVCenter | Qt::AlignLeft,
               QStringLiteral("LE%1   %2   %3 ms/pixel").arg(engine_).arg(when).arg(scaleMs));
    p.drawImage(0, kTitleHeight, picture());
    drawAxis(p, kTitleHeight + kHeight, 0, TrendGraphs::kWidth - 1);
    f.setBold(false);
    f.setPixelSize(11);
    p.setFont(f);
    const int cell = TrendGraphs::kWidth / kLegendPerRow;
    const auto& series = trendSeries();
    for (int s = 0; s < kTrendSeriesCount; ++s) {
        const int x = (s % kLegendPerRow) * cell + 4;
        const int y = kTitleHeight + kHeight + kAxisHeight + (s / kLegendPerRow) * kLegendRowHeight + 2;
        p.fillRect(x, y + 3, 10, 10, TrendGraphPage::colour(s));
        const double level = newest ? newest->levels.at(static_cast<std::size_t>(s)) : std::nan("");
        const double top = series.at(static_cast<std::size_t>(s)).fullScale;
        p.setPen(Qt::black);
        p.drawText(QRect(x + 13, y, cell - 17, kLegendRowHeight), Qt::AlignVCenter | Qt::AlignLeft,
                   QStringLiteral("%1 %2").arg(QString::fromLatin1(series.at(static_cast<std::size_t>(s)).name),
                                               TrendGraphPage::valueText(s, level * top, level >= 1.0)));
    }
    return shot;
}

QFuture<QString> TrendGraph::save(const QImage& shot, const QString& path)
{
    // The worker owns the image; the file appears under its name only once it is whole, for the
    // viewer and the numbering.
    auto promise = std::make_shared<QPromise<QString>>();
    QFuture<QString> done = promise->future();
    QThreadPool::globalInstance()->start([promise, shot, path] {
        promise->start();
        QSaveFile file(path);
        QString error;
        if (!file.open(QIODevice::WriteOnly) || !shot.save(&file, "BMP") || !file.commit())
            error = file.errorString().isEmpty() ? QStringLiteral("cannot write the picture") : file.errorString();
        promise->addResult(error);
        promise->finish();
    });
    return done;
}

void TrendGraph::paintEvent(QPaintEvent* event)
{
    QPainter p(this);
    // Each strip asked for on its own: the newest columns and a clock time far to their left
    // would otherwise make one rectangle of the whole picture.
    for (const QRect& strip : event->region()) {
        if (strip.bottom() >= kHeight)
            drawAxis(p, kHeight, strip.left(), strip.right());
        const QRect shown = strip.intersected(picture_.rect());
        if (shown.isEmpty())
            continue;
        // The picture is a ring: a strip may wrap from its last column to its first.
        const int from = physical(shown.left());
        const int first = std::min(shown.width(), TrendGraphs::kWidth - from);
        p.drawImage(QRect(shown.left(), shown.top(), first, shown.height()), picture_,
                    QRect(from, shown.top(), first, shown.height()));
        if (first < shown.width())
            p.drawImage(QRect(shown.left() + first, shown.top(), shown.width() - first, shown.height()), picture_,
                        QRect(0, shown.top(), shown.width() - first, shown.height()));
    }
    const QRect r = event->rect();
    if (cursor_ >= 0 && r.left() <= cursor_ && cursor_ <= r.right()) {
        p.setPen(QPen(Qt::black, 1, Qt::DashLine));
        p.drawLine(cursor_, 0, cursor_, kHeight - 1);
    }
}

void TrendGraph::mousePressEvent(QMouseEvent* event)
{
    setCursorColumn(static_cast<int>(event->position().x()));
    emit cursorMoved(engine_); // also when the cursor stays: the legend turns to this engine
}

void TrendGraph::mouseMoveEvent(QMouseEvent* event)
{
    if (event->buttons() & Qt::LeftButton)
        setCursorColumn(static_cast<int>(event->position().x()));
}

void TrendGraph::mouseDoubleClickEvent(QMouseEvent*)
{
    setCursorColumn(-1);
}

TrendGraphPage::TrendGraphPage(TrendGraphs& logic, QWidget* parent) : QWidget(parent), logic_(logic)
{
    setObjectName(QStringLiteral("GraphPage"));
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(6, 4, 6, 4);
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(3);
    for (int i = 0; i < kEngines; ++i) {
        auto* title = new QLabel(QStringLiteral("LE%1").arg(i + 1));
        QFont f = title->font();
        f.setBold(true);
        f.setPointSizeF(f.pointSizeF() * 1.25);
        title->setFont(f);
        grid->addWidget(title, i, 0, Qt::AlignRight | Qt::AlignTop);
        auto* g = new TrendGraph(i + 1);
        graphs_[static_cast<std::size_t>(i)] = g;
        grid->addWidget(g, i, 1);
        // One cursor at a time: the legend reads the graph last clicked.
        connect(g, &TrendGraph::cursorMoved, this, [this](int engine) {
            legendEngine_ = engine;
            for (TrendGraph* other : graphs_)
                if (other->engine() != engine)
                    other->setCursorColumn(-1);
            refreshLegend();
        });
    }

    // One legend for all six: colour, name, the value read, unit and the value at the top.
    auto* legend = new QWidget;
    legend->setObjectName(QStringLiteral("GraphLegend"));
    auto* rows = new QGridLayout(legend);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setHorizontalSpacing(8);
    rows->setVerticalSpacing(2);
    legendTitle_ = new QLabel;
    legendTitle_->setObjectName(QStringLiteral("GraphLegendTitle"));
    QFont bold = legendTitle_->font();
    bold.setBold(true);
    legendTitle_->setFont(bold);
    rows->addWidget(legendTitle_, 0, 0, 1, 3);
    const auto& series = trendSeries();
    for (int s = 0; s < kTrendSeriesCount; ++s) {
        const TrendSeries& t = series[static_cast<std::size_t>(s)];
        auto* name = new QLabel(QStringLiteral("<span style='color:%1; font-size:16pt'>&#9632;</span> <b>%2</b>")
                                    .arg(colour(s).name(), QString::fromLatin1(t.name)));
        auto* value = new QLabel(QStringLiteral("---"));
        value->setObjectName(QStringLiteral("LegendValue%1").arg(QString::fromLatin1(t.name)));
        value->setFont(bold);
        value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        // A fixed size, room for the widest value any series can show: a new value twice a
        // second then repaints the label and asks for no layout.
        int widest = 0;
        for (int w = 0; w < kTrendSeriesCount; ++w)
            widest = std::max(widest, value->fontMetrics().horizontalAdvance(valueText(w, -32768.0, true)));
        value->setFixedSize(widest + 4, value->sizeHint().height());
        values_[static_cast<std::size_t>(s)] = value;
        auto* top = new QLabel(QStringLiteral("top %1").arg(t.fullScale, 0, 'f', 0));
        rows->addWidget(name, s + 1, 0);
        rows->addWidget(value, s + 1, 1);
        rows->addWidget(top, s + 1, 2);
    }
    auto* scale = new QLabel;
    scale->setObjectName(QStringLiteral("GraphTimeScale"));
    scale->setFont(bold);
    const auto showScale = [scale](int ms) {
        scale->setText(QStringLiteral("%1 ms/pixel, %2 s a sweep").arg(ms).arg(ms * TrendGraphs::kWidth / 1000.0, 0, 'f', 0));
    };
    showScale(logic.timeScale());
    connect(&logic, &TrendGraphs::timeScaleChanged, scale, showScale);
    rows->addWidget(scale, kTrendSeriesCount + 1, 0, 1, 3);
    auto* hint = new QLabel(QStringLiteral("Traces: share of the top value.\nClick a graph to read it there."));
    rows->addWidget(hint, kTrendSeriesCount + 2, 0, 1, 3);
    rows->setRowStretch(kTrendSeriesCount + 3, 1);
    grid->addWidget(legend, 0, 2, kEngines, 1);
    grid->setColumnStretch(3, 1);
    grid->setRowStretch(kEngines, 1);

    connect(&logic, &TrendGraphs::column, this, [this](int index, int x, const QList<double>& levels, bool shifted) {
        int& unshown = unshownMs_.at(static_cast<std::size_t>(index));
        unshown += logic_.timeScale();
        const bool show = unshown >= kShowMs;
        if (show)
            unshown = 0;
        graph(index)->drawColumn(x, levels, shifted, logic_.now(), show);
    });
    connect(&logic, &TrendGraphs::cleared, this, [this](int index) { graph(index)->clear(); });
    connect(&logic, &TrendGraphs::saveRequested, this, [this, &logic](int index, const QString& path) {
        TrendGraph::save(graph(index)->annotated(logic.timeScale()), path)
            .then(&logic, [&logic, path](const QString& error) { logic.saveFinished(path, error); });
    });
    legendTimer_ = new QTimer(this);
    legendTimer_->setObjectName(QStringLiteral("TimerGraphLegend"));
    legendTimer_->setInterval(kLegendMs);
    connect(legendTimer_, &QTimer::timeout, this, [this] {
        if (!isVisible())
            return;
        refreshLegend();
        // A column left waiting when the sweeps stopped (Freeze, a hidden curve) is shown now.
        for (TrendGraph* g : graphs_)
            g->present();
    });
    legendTimer_->start();
    refreshLegend();
}

void TrendGraphPage::refreshLegend()
{
    const TrendGraph* g = graph(legendEngine_ - 1);
    const int c = g->cursorColumn();
    const bool atCursor = c >= 0 && g->sample(c).at.isValid();
    if (atCursor)
        legendTitle_->setText(QStringLiteral("LE%1 at %2 (cursor)").arg(legendEngine_).arg(g->sample(c).at.toString(kTimeFormat)));
    else
        legendTitle_->setText(QStringLiteral("LE%1 now").arg(legendEngine_));
    const auto& series = trendSeries();
    for (int s = 0; s < kTrendSeriesCount; ++s) {
        QString text;
        if (atCursor) {
            const double level = g->sample(c).levels.at(static_cast<std::size_t>(s));
            text = valueText(s, level * series.at(static_cast<std::size_t>(s)).fullScale, level >= 1.0);
        } else {
            text = valueText(s, logic_.value(legendEngine_ - 1, s));
        }
        if (values_.at(static_cast<std::size_t>(s))->text() != text)
            values_.at(static_cast<std::size_t>(s))->setText(text);
    }
}

} // namespace tarvek
