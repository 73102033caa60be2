#pragma once
// The alarm summary window AlarmSummary: every alarm and fault the station raised, newest first,
// with engine, text and the times raised, acknowledged and cleared. The first column says what is
// still to do ("UNACK" in bold, "ack" while it holds, "done"). AlarmList, AcknowledgeAlarm (the
// selected row), AcknowledgeAll, UnacknowledgedCount.
#include "operation/alarm_summary.h"

#include <QDialog>

class QLabel;
class QPushButton;
class QTableWidget;

namespace tarvek {

class AlarmSummaryWindow : public QDialog {
    Q_OBJECT
public:
    explicit AlarmSummaryWindow(AlarmSummary& summary, QWidget* parent = nullptr);

    QTableWidget* list() const { return list_; }

public slots:
    void refresh();

private:
    void acknowledgeSelected();

    AlarmSummary& summary_;
    QTableWidget* list_;
    QPushButton* acknowledge_;
    QPushButton* acknowledgeAll_;
    QLabel* count_;
};

} // namespace tarvek
