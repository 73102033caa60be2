#pragma once
// HistorianTrends: the historian's values of any engines and quantities over any range, with
// zoom, pan, a reading cursor, the faults of the range and an export of what is shown.
#include "historian/historian_store.h"

#include <QWidget>

#include <array>

class QCheckBox;
class QComboBox;
class QDateTimeEdit;
class QLabel;
class QListWidget;
class QPushButton;

namespace tarvek {

class HistorianPlot;
class Station;

class HistorianTrends : public QWidget {
    Q_OBJECT
public:
    // Custom: a range the operator chose by zoom or pan (or From / to moved since).
    enum Range { LastHour, Last8Hours, Last24Hours, Last7Days, FromTo, Custom };

    HistorianTrends(Station& station, const QString& historianPath, QWidget* parent = nullptr);

    // Shows the engine (1..6) alone, as its column's menu asks.
    void showEngine(int engine);
    void setRange(Range range);
    HistorianPlot* plot() const { return plot_; }
    // Writes the shown range, engines and quantities; returns the rows written, -1 on failure.
    qint64 exportCsv(const QString& file);

signals:
    void exported(const QString& file, qint64 rows);

private:
    void applyChoices();
    void applyRange();
    void updateReadout();

    Station& station_;
    HistorianStore store_;
    HistorianPlot* plot_;
    std::array<QCheckBox*, 6> engines_{};
    QListWidget* rows_;
    QComboBox* range_;
    QDateTimeEdit* fromEdit_;
    QDateTimeEdit* toEdit_;
    QPushButton* export_;
    QLabel* readout_;
    QLabel* status_;
    bool applying_ = false; // the plot's range is being set from the choice, not by zoom or pan
};

} // namespace tarvek
