#pragma once
// The graph page of the main window: six trend pictures (PictureLE1..PictureLE6), one per engine,
// each over a time axis with clock times, and one legend (GraphLegend) for all six: each trace's
// colour, name, value and unit, read at the cursor when one is set, else the latest reading.
// Traces are drawn as a share of their series' top value, also in the legend.
//
// A picture is a QImage that TrendGraphs draws into one column at a time; painting the widget
// only copies it. A click (or a drag) on a graph sets its cursor there, a double click removes
// it. A saved picture carries its engine, date, time scale and legend; a worker writes it, so a
// disk never holds up a reply.
#include "station/trend_graphs.h"

#include <QDateTime>
#include <QFuture>
#include <QImage>
#include <QWidget>

#include <array>
#include <vector>

class QLabel;
class QTimer;

namespace tarvek {

class TrendGraph : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 72;
    static constexpr int kAxisHeight = 16;
    static constexpr int kTickColumns = 92; // a clock time every 92 columns: five a picture

    struct Sample {
        QDateTime at; // invalid: nothing drawn in this column
        std::array<double, kTrendSeriesCount> levels{};
    };

    TrendGraph(int engine, QWidget* parent = nullptr);
    int engine() const { return engine_; }
    // The picture as it shows, oldest column first.
    QImage picture() const;
    // Draws column x (1-based) into the picture; shifted, the picture scrolls one column left
    // first. With show, what was drawn or scrolled since the last showing is put on the screen
    // now; without, it waits for the next column shown or present().
    void drawColumn(int x, const QList<double>& levels, bool shifted, const QDateTime& at = {}, bool show = true);
    // Puts on the screen the columns drawn but not shown yet.
    void present();
    void clear();
    // The column drawn last (0-based), -1 before any.
    int lastColumn() const { return last_; }
    const Sample& sample(int column) const { return samples_.at(static_cast<std::size_t>(physical(column))); }
    // -1: no cursor.
    int cursorColumn() const { return cursor_; }
    void setCursorColumn(int column);
    // The picture as it is saved: a title line (engine, date and time, time scale), the picture,
    // its time axis and the legend of the traces at the last column.
    QImage annotated(int scaleMs) const;
    // Writes an image as a BMP file off the GUI thread; the future holds why it failed, or
    // nothing once the file is whole.
    static QFuture<QString> save(const QImage& shot, const QString& path);
    QSize sizeHint() const override;

signals:
    void cursorMoved(int engine);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    // The time axis below the picture, the clock times reaching columns fromX..toX.
    void drawAxis(class QPainter& p, int top, int fromX, int toX) const;
    void updateChangedAxisTimes();
    // Where a column of the picture as it shows is kept.
    int physical(int column) const;

    int engine_;
    // A ring of columns: scrolling moves where the oldest one is kept (origin_), not the pixels.
    QImage picture_;
    int origin_ = 0;
    std::array<int, kTrendSeriesCount> lastY_{};
    std::vector<Sample> samples_;
    int last_ = -1;
    int cursor_ = -1;
    // Columns drawn and not shown yet (picture columns, 0-based; unshownTo_ -1: none), and whether
    // one of them carries a clock time.
    int unshownFrom_ = TrendGraphs::kWidth;
    int unshownTo_ = -1;
    bool unshownAxis_ = false;
    int unshownShift_ = 0; // columns scrolled since the screen last took the picture
    // The second each clock time under the picture shows, to redraw one only when it changes.
    std::array<qint64, TrendGraphs::kWidth / kTickColumns + 1> axisSeconds_{};
};

class TrendGraphPage : public QWidget {
    Q_OBJECT
public:
    static constexpr int kLegendMs = 500; // the legend's "now" values, twice a second
    // The pictures reach the screen at most this often: five times a second, at 50 ms a pixel
    // four columns at a time, and a scrolling picture moves on the screen once for the four. A
    // repaint pass costs much the same whatever the strip's width (a painter for each graph, a
    // cache line for each row of the strip), so fewer passes cost less: at ten a second the
    // repaints were about a seventh of the station's time on this page.
    static constexpr int kShowMs = 200;

    TrendGraphPage(TrendGraphs& graphs, QWidget* parent = nullptr);
    TrendGraph* graph(int index) const { return graphs_.at(static_cast<std::size_t>(index)); }
    static QColor colour(int series);
    // "123 AU", "---" for no value; a level at the top of the picture reads "\u2265 top".
    static QString valueText(int series, double value, bool atTop = false);
    // The engine the legend reads (1..6).
    int legendEngine() const { return legendEngine_; }
    void refreshLegend();

private:
    TrendGraphs& logic_;
    std::array<TrendGraph*, kEngines> graphs_{};
    std::array<QLabel*, kTrendSeriesCount> values_{};
    QLabel* legendTitle_ = nullptr;
    QTimer* legendTimer_ = nullptr;
    int legendEngine_ = 1;
    std::array<int, kEngines> unshownMs_{}; // of each graph, the time its columns not shown cover
};

} // namespace tarvek
