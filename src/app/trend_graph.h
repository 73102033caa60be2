#pragma once
// The graph page of the main window: six trend pictures (PictureLE1..PictureLE6), one per engine, and
// one legend, since every engine's graph uses the same colours and scales.
//
// A picture is a QImage that TrendGraphs draws into one column at a time; painting the widget
// only copies it. Saving hands a copy of the picture to a worker, so a disk never holds up a
// reply.
#include "station/trend_graphs.h"

#include <QFuture>
#include <QImage>
#include <QWidget>

#include <array>

namespace tarvek {

class TrendGraph : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 72;

    TrendGraph(int engine, QWidget* parent = nullptr);
    const QImage& picture() const { return picture_; }
    void drawColumn(int x, const QList<double>& levels, bool shifted);
    void clear();
    // Writes the picture as a BMP file off the GUI thread; the future holds why it failed, or
    // nothing once the file is whole.
    QFuture<QString> save(const QString& path) const;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QImage picture_;
    std::array<int, kTrendSeriesCount> lastY_{};
};

class TrendGraphPage : public QWidget {
    Q_OBJECT
public:
    TrendGraphPage(TrendGraphs& graphs, QWidget* parent = nullptr);
    TrendGraph* graph(int index) const { return graphs_.at(static_cast<std::size_t>(index)); }
    static QColor colour(int series);

private:
    std::array<TrendGraph*, kEngines> graphs_{};
};

} // namespace tarvek
