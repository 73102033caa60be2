#pragma once
// The trends window's plot: one lane per quantity, one colour per engine, drawn from min/max
// buckets of one pixel each, so a week draws as fast as an hour. Gaps where a link was down stay
// gaps; the faults of the range are marked on the time axis. Drawn with QPainter: a few lines per
// bucket need nothing more, and Qt Charts would add a module under the GPL in Debian's build.
#include "historian/historian_store.h"

#include <QWidget>

#include <map>
#include <vector>

namespace tarvek {

struct StationSettings;

class HistorianPlot : public QWidget {
    Q_OBJECT
public:
    HistorianPlot(HistorianStore& store, const StationSettings& settings, QWidget* parent = nullptr);

    void setEngines(const std::vector<int>& engines);
    void setRows(const std::vector<int>& rows);
    // The range shown, [from, to) in seconds since 1970; zoom and pan move it.
    void setRange(qint64 from, qint64 to);
    qint64 from() const { return from_; }
    qint64 to() const { return to_; }
    const std::vector<int>& engines() const { return engines_; }
    const std::vector<int>& rows() const { return rows_; }
    // Reads the buckets of the range again from the file (a range change does it by itself).
    void reload();
    // Zooms by `factor` (< 1 in) around the time `at`, or pans by a fraction of the range.
    void zoom(double factor, qint64 at);
    void pan(double fraction);
    // The cursor's time, 0 when there is none, and what it reads on every trace.
    qint64 cursor() const { return cursor_; }
    void setCursor(qint64 time);
    QStringList readout() const;
    int plotWidth() const;
    static QColor engineColour(int engine);

signals:
    void rangeChanged(qint64 from, qint64 to);
    void cursorMoved(qint64 time);

protected:
    void paintEvent(QPaintEvent*) override;
    void resizeEvent(QResizeEvent*) override;
    void wheelEvent(QWheelEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    void mouseMoveEvent(QMouseEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;
    void keyPressEvent(QKeyEvent*) override;

private:
    QRect plotRect() const;
    double xOf(qint64 t) const;
    qint64 timeAt(double x) const;
    qint64 bucketSeconds() const;
    double shown(int row, int raw) const;

    HistorianStore& store_;
    const StationSettings& settings_;
    std::vector<int> engines_{1};
    std::vector<int> rows_{0};
    qint64 from_ = 0, to_ = 0;
    qint64 cursor_ = 0;
    qint64 bucket_ = 1;
    std::map<int, std::vector<HistorianBucket>> data_; // per engine
    int dragX_ = -1;
    qint64 dragFrom_ = 0;
};

} // namespace tarvek
