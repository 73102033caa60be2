#include "app/trend_graph.h"

#include <QGridLayout>
#include <QLabel>
#include <QPaintEvent>
#include <QPainter>
#include <QPromise>
#include <QSaveFile>
#include <QThreadPool>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <memory>

namespace tarvek {

namespace {
// The station's grey around a quiet picture; the curves carry the only colour.
const QColor kBackground(236, 236, 236);
const QColor kGrid(200, 200, 200);
constexpr int kNoLine = -1;
} // namespace

QColor TrendGraphPage::colour(int series)
{
    // Speeds in blues, temperatures in reds, light in greens and yellow, humidity in violet.
    static const std::array<QColor, kTrendSeriesCount> colours{
        QColor(0, 0, 200),  QColor(0, 140, 255), QColor(0, 190, 190), QColor(220, 0, 0),    QColor(255, 120, 0),
        QColor(0, 150, 0),  QColor(120, 200, 0), QColor(200, 170, 0), QColor(140, 70, 20), QColor(160, 0, 200)};
    return colours.at(static_cast<std::size_t>(series));
}

TrendGraph::TrendGraph(int engine, QWidget* parent)
    : QWidget(parent), picture_(TrendGraphs::kWidth, kHeight, QImage::Format_RGB32)
{
    setObjectName(QStringLiteral("PictureLE%1").arg(engine));
    setFixedSize(sizeHint());
    clear();
}

QSize TrendGraph::sizeHint() const { return picture_.size(); }

void TrendGraph::clear()
{
    picture_.fill(kBackground);
    QPainter p(&picture_);
    p.setPen(kGrid);
    for (int q = 1; q < 4; ++q)
        p.drawLine(0, kHeight * q / 4, TrendGraphs::kWidth - 1, kHeight * q / 4);
    lastY_.fill(kNoLine);
    update();
}

void TrendGraph::drawColumn(int x, const QList<double>& levels, bool shifted)
{
    const int column = x - 1;
    QPainter p(&picture_);
    if (shifted) {
        // Scrolling: everything moves one column left and the last column is blank again.
        p.drawImage(0, 0, picture_.copy(1, 0, TrendGraphs::kWidth - 1, kHeight));
    }
    p.setPen(kBackground);
    p.drawLine(column, 0, column, kHeight - 1);
    p.setPen(kGrid);
    for (int q = 1; q < 4; ++q)
        p.drawPoint(column, kHeight * q / 4);
    for (int s = 0; s < levels.size() && s < kTrendSeriesCount; ++s) {
        int& last = lastY_[static_cast<std::size_t>(s)];
        if (std::isnan(levels[s])) {
            last = kNoLine;
            continue;
        }
        const int y = static_cast<int>(std::lround((1.0 - levels[s]) * (kHeight - 2))) + 1;
        // Two pixels thick, to read from across the room; a curve joins its previous column,
        // unless this is the first column of a sweep.
        p.setPen(QPen(TrendGraphPage::colour(s), 1));
        const int from = last != kNoLine && column > 0 ? last : y;
        p.drawLine(std::max(column - 1, 0), from, column, y);
        p.drawLine(std::max(column - 1, 0), from + 1, column, y + 1);
        last = y;
    }
    if (shifted)
        update();
    else
        update(std::max(column - 1, 0), 0, 2, kHeight);
}

QFuture<QString> TrendGraph::save(const QString& path) const
{
    // The copy is the picture as it is now; the worker owns it.
    // The file appears under its name only once it is whole, for the viewer and the numbering.
    auto promise = std::make_shared<QPromise<QString>>();
    QFuture<QString> done = promise->future();
    QThreadPool::globalInstance()->start([promise, shot = picture_.copy(), path] {
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
    const QRect r = event->rect();
    p.drawImage(r, picture_, r);
}

TrendGraphPage::TrendGraphPage(TrendGraphs& logic, QWidget* parent) : QWidget(parent)
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
        grid->addWidget(title, i, 0, Qt::AlignRight | Qt::AlignVCenter);
        auto* g = new TrendGraph(i + 1);
        graphs_[static_cast<std::size_t>(i)] = g;
        grid->addWidget(g, i, 1);
    }

    // One legend for all six: colour, name, unit and the value at the top of the picture.
    auto* legend = new QWidget;
    legend->setObjectName(QStringLiteral("GraphLegend"));
    auto* rows = new QVBoxLayout(legend);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(2);
    const auto& series = trendSeries();
    for (int s = 0; s < kTrendSeriesCount; ++s) {
        const TrendSeries& t = series[static_cast<std::size_t>(s)];
        auto* l = new QLabel(QStringLiteral("<span style='color:%1; font-size:16pt'>&#9632;</span> <b>%2</b> "
                                            "0\u2013%3 %4")
                                 .arg(colour(s).name(), QString::fromLatin1(t.name))
                                 .arg(t.fullScale, 0, 'f', 0)
                                 .arg(QString::fromUtf8(t.unit)));
        rows->addWidget(l);
    }
    auto* scale = new QLabel;
    scale->setObjectName(QStringLiteral("GraphTimeScale"));
    QFont sf = scale->font();
    sf.setBold(true);
    scale->setFont(sf);
    const auto showScale = [scale](int ms) {
        scale->setText(QStringLiteral("%1 ms/pixel, %2 s a sweep").arg(ms).arg(ms * TrendGraphs::kWidth / 1000.0, 0, 'f', 0));
    };
    showScale(logic.timeScale());
    connect(&logic, &TrendGraphs::timeScaleChanged, scale, showScale);
    rows->addSpacing(8);
    rows->addWidget(scale);
    rows->addStretch(1);
    grid->addWidget(legend, 0, 2, kEngines, 1);
    grid->setColumnStretch(3, 1);
    grid->setRowStretch(kEngines, 1);

    connect(&logic, &TrendGraphs::column, this, [this](int index, int x, const QList<double>& levels, bool shifted) {
        graph(index)->drawColumn(x, levels, shifted);
    });
    connect(&logic, &TrendGraphs::cleared, this, [this](int index) { graph(index)->clear(); });
    connect(&logic, &TrendGraphs::saveRequested, this, [this, &logic](int index, const QString& path) {
        graph(index)->save(path).then(&logic, [&logic, path](const QString& error) { logic.saveFinished(path, error); });
    });
}

} // namespace tarvek
