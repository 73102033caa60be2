#include "app/alarms/alarm_summary_window.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace tarvek {

namespace {
enum Column { Mark, Engine, Text, Raised, Acknowledged, Cleared, Columns };
}

AlarmSummaryWindow::AlarmSummaryWindow(AlarmSummary& summary, QWidget* parent) : QDialog(parent), summary_(summary)
{
    setObjectName(QStringLiteral("AlarmSummary"));
    setWindowTitle(QStringLiteral("Alarm Summary"));
    auto* layout = new QVBoxLayout(this);
    count_ = new QLabel(this);
    count_->setObjectName(QStringLiteral("UnacknowledgedCount"));
    layout->addWidget(count_);
    list_ = new QTableWidget(0, Columns, this);
    list_->setObjectName(QStringLiteral("AlarmList"));
    list_->setHorizontalHeaderLabels({QStringLiteral("State"), QStringLiteral("LE"), QStringLiteral("Alarm"),
                                      QStringLiteral("Raised"), QStringLiteral("Acknowledged"),
                                      QStringLiteral("Cleared")});
    list_->setSelectionBehavior(QAbstractItemView::SelectRows);
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list_->verticalHeader()->hide();
    list_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    list_->horizontalHeader()->setSectionResizeMode(Text, QHeaderView::Stretch);
    list_->setMinimumSize(900, 300);
    layout->addWidget(list_);
    auto* buttons = new QHBoxLayout;
    acknowledge_ = new QPushButton(QStringLiteral("Acknowledge"), this);
    acknowledge_->setObjectName(QStringLiteral("AcknowledgeAlarm"));
    acknowledgeAll_ = new QPushButton(QStringLiteral("Acknowledge all"), this);
    acknowledgeAll_->setObjectName(QStringLiteral("AcknowledgeAll"));
    auto* close = new QPushButton(QStringLiteral("OK"), this);
    close->setObjectName(QStringLiteral("CloseAlarmSummary"));
    buttons->addWidget(acknowledge_);
    buttons->addWidget(acknowledgeAll_);
    buttons->addStretch();
    buttons->addWidget(close);
    layout->addLayout(buttons);
    connect(acknowledge_, &QPushButton::clicked, this, &AlarmSummaryWindow::acknowledgeSelected);
    connect(acknowledgeAll_, &QPushButton::clicked, &summary_, &AlarmSummary::acknowledgeAll);
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
    connect(&summary_, &AlarmSummary::changed, this, &AlarmSummaryWindow::refresh);
    refresh();
}

void AlarmSummaryWindow::refresh()
{
    const QList<AlarmEntry>& entries = summary_.entries();
    list_->setRowCount(static_cast<int>(entries.size()));
    for (int row = 0; row < entries.size(); ++row) {
        const AlarmEntry& e = entries.at(row);
        const QStringList cells{e.mark(), QStringLiteral("LE%1").arg(e.engine), e.text, summary_.timeText(e.raised),
                                summary_.timeText(e.acknowledged), summary_.timeText(e.cleared)};
        for (int c = 0; c < Columns; ++c) {
            auto* item = new QTableWidgetItem(cells.at(c));
            item->setData(Qt::UserRole, e.id);
            QFont f = item->font();
            f.setBold(!e.isAcknowledged());
            item->setFont(f);
            if (!e.isAcknowledged() && e.holds())
                item->setBackground(QColor(255, 200, 200));
            else if (e.holds())
                item->setBackground(QColor(255, 240, 200));
            list_->setItem(row, c, item);
        }
    }
    const int open = summary_.unacknowledgedCount();
    count_->setText(open == 0 ? QStringLiteral("No alarm to acknowledge")
                              : QStringLiteral("%1 alarm(s) to acknowledge").arg(open));
    acknowledgeAll_->setEnabled(open > 0);
}

void AlarmSummaryWindow::acknowledgeSelected()
{
    QList<int> ids;
    for (const QModelIndex& index : list_->selectionModel()->selectedRows())
        ids << index.data(Qt::UserRole).toInt();
    for (int id : ids)
        summary_.acknowledge(id);
}

} // namespace tarvek
