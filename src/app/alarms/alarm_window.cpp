#include "app/alarms/alarm_window.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace tarvek {

namespace {
constexpr int kRefreshMs = 500; // the readings follow the replies without redrawing on each one
}

AlarmWindow::AlarmWindow(Station& station, AlarmSource source, const QString& name, const QString& title,
                         QWidget* parent)
    : QDialog(parent), station_(station), source_(source)
{
    setObjectName(name);
    setWindowTitle(title);
}

void AlarmWindow::build()
{
    auto* layout = new QVBoxLayout(this);
    auto* rows = new QGroupBox(QStringLiteral("Engines"), this);
    auto* grid = new QGridLayout(rows);
    const QStringList headings{QStringLiteral("LE"), QStringLiteral("Armed"), QStringLiteral("Alarm"),
                               QStringLiteral("Reading")};
    for (int c = 0; c < headings.size(); ++c) {
        auto* h = new QLabel(QStringLiteral("<b>%1</b>").arg(headings[c]), rows);
        grid->addWidget(h, 0, c);
    }
    for (int n = 1; n <= kEngines; ++n) {
        const auto i = static_cast<std::size_t>(n - 1);
        grid->addWidget(new QLabel(QStringLiteral("LE%1").arg(n), rows), n, 0);
        armed_[i] = new QCheckBox(rows);
        armed_[i]->setObjectName(QStringLiteral("Armed%1").arg(n));
        grid->addWidget(armed_[i], n, 1);
        state_[i] = new QLabel(rows);
        state_[i]->setObjectName(QStringLiteral("State%1").arg(n));
        state_[i]->setMinimumWidth(70);
        grid->addWidget(state_[i], n, 2);
        value_[i] = new QLabel(rows);
        value_[i]->setObjectName(QStringLiteral("Value%1").arg(n));
        value_[i]->setMinimumWidth(160);
        grid->addWidget(value_[i], n, 3);
    }
    layout->addWidget(rows);

    auto* limits = new QGroupBox(QStringLiteral("Limits"), this);
    limitsBox_ = limits;
    auto* form = new QFormLayout(limits);
    addLimits(form);
    layout->addWidget(limits);

    message_ = new QLabel(this);
    message_->setObjectName(QStringLiteral("Message"));
    layout->addWidget(message_);
    auto* buttons = new QHBoxLayout;
    save_ = new QPushButton(QStringLiteral("Save"), this);
    save_->setObjectName(QStringLiteral("SaveLimits"));
    auto* close = new QPushButton(QStringLiteral("OK"), this);
    close->setObjectName(QStringLiteral("CloseAlarmWindow"));
    buttons->addStretch();
    buttons->addWidget(save_);
    buttons->addWidget(close);
    layout->addLayout(buttons);
    connect(save_, &QPushButton::clicked, this, [this] { message_->setText(save()); });
    connect(close, &QPushButton::clicked, this, &QDialog::accept);

    timer_ = new QTimer(this);
    timer_->setObjectName(QStringLiteral("TimerAlarmWindow"));
    timer_->setInterval(kRefreshMs);
    connect(timer_, &QTimer::timeout, this, &AlarmWindow::refresh);
    timer_->start();
    connect(&station_.alarmSupervision(), &AlarmSupervision::changed, this, &AlarmWindow::refresh);
    connect(&station_, &Station::modeChanged, this, &AlarmWindow::refresh);
    load();
    refresh();
}

void AlarmWindow::load()
{
    AlarmLimits limits = station_.alarmSupervision().limits();
    for (std::size_t i = 0; i < kEngines; ++i)
        armed_[i]->setChecked(armed(limits)[i]);
    showLimits(limits);
}

void AlarmWindow::refresh()
{
    const bool edit = service();
    for (int n = 1; n <= kEngines; ++n) {
        const auto i = static_cast<std::size_t>(n - 1);
        armed_[i]->setEnabled(edit);
        const bool answering = station_.tables().at(n - 1).everReported && !station_.linkLost.at(i);
        const bool holds = station_.alarmSupervision().holds(n, source_);
        // In words and in bold, not by colour alone.
        state_[i]->setText(holds ? QStringLiteral("<b>ALARM</b>") : answering ? QStringLiteral("normal") : QStringLiteral("---"));
        state_[i]->setStyleSheet(holds ? QStringLiteral("color: #b00000") : QString());
        value_[i]->setText(answering ? reading(n) : QStringLiteral("---"));
    }
    limitsBox_->setEnabled(edit);
    save_->setEnabled(edit);
    static const QString hint = QStringLiteral("Limits and arming are changed in SERVICE mode");
    if (!edit)
        message_->setText(hint);
    else if (message_->text() == hint)
        message_->clear();
    // Outside service mode the controls follow the files; in it they keep what is being edited.
    if (!edit)
        load();
}

QString AlarmWindow::save()
{
    AlarmLimits limits = station_.alarmSupervision().limits();
    takeLimits(limits);
    for (std::size_t i = 0; i < kEngines; ++i)
        armed(limits)[i] = armed_[i]->isChecked();
    const QString why = station_.alarmSupervision().saveLimits(limits);
    refresh();
    return why.isEmpty() ? QStringLiteral("Saved") : why;
}

} // namespace tarvek
