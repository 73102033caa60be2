// The main window's side of the alarms: the alarm banner above the columns, the three alarm
// windows and the alarm summary from the Alarms menu, and the lost-link box closing itself once
// every engine answers again.
#include "app/alarms/alarm_banner.h"
#include "app/alarms/alarm_summary_window.h"
#include "app/alarms/control_lfc_alarm.h"
#include "app/alarms/halogen.h"
#include "app/main_window/log_window.h"
#include "app/alarms/shtpc.h"

#include <QAction>
#include <QMenu>
#include <QShortcut>
#include <QStatusBar>
#include <QBoxLayout>
#include <QLayout>

namespace tarvek {

void LogWindow::wireAlarms()
{
    // The alarm entries open their windows; the "... Alarm Control" entries open the same ones.
    const std::array<std::pair<const char*, const char*>, 6> entries{{
        {"mnuAlarmHalogen", "Halogen"},
        {"mnuHalogen", "Halogen"},
        {"mnuAlarmPlateau", "SHTPC"},
        {"mnuSHTFenetre", "SHTPC"},
        {"mnuAlarmLFC", "ControlLfcAlarm"},
        {"mnuLfcControlAlarm", "ControlLfcAlarm"},
    }};
    for (const auto& [entry, form] : entries) {
        if (QAction* a = action(QString::fromLatin1(entry))) {
            const QString name = QString::fromLatin1(form);
            connect(a, &QAction::triggered, this, [this, name] { openAlarmForm(name); });
            setWired(a->objectName());
        }
    }
    // The banner takes the free middle of the top bar, above the engine columns and the graphs,
    // so the columns keep their height.
    banner_ = new AlarmBanner(station_.alarmSupervision().summary());
    auto* top = static_cast<QBoxLayout*>(centralWidget()->layout()->itemAt(0)->layout());
    for (int i = 0; i < top->count(); ++i) {
        // The stretch, not the fixed spacings.
        if (top->itemAt(i)->spacerItem() && (top->itemAt(i)->expandingDirections() & Qt::Horizontal)) {
            delete top->takeAt(i);
            top->insertWidget(i, banner_, 1);
            break;
        }
    }
    connect(banner_, &AlarmBanner::summaryRequested, this, [this] { openAlarmForm(QStringLiteral("AlarmSummary")); });
    // The keys work wherever the focus is in the main window.
    auto* acknowledgeKey = new QShortcut(QKeySequence(Qt::Key_F9), this);
    acknowledgeKey->setObjectName(QStringLiteral("ShortcutAcknowledgeAlarm"));
    connect(acknowledgeKey, &QShortcut::activated, banner_, &AlarmBanner::acknowledgeShown);
    auto* summaryKey = new QShortcut(QKeySequence(Qt::Key_F10), this);
    summaryKey->setObjectName(QStringLiteral("ShortcutAlarmSummary"));
    connect(summaryKey, &QShortcut::activated, banner_, &AlarmBanner::summaryRequested);
    connect(banner_, &AlarmBanner::acknowledged, this,
            [this](const QString& what) { statusBar()->showMessage(QStringLiteral("Acknowledged: ") + what, 10'000); });
    connect(&station_, &Station::screenSettingsChanged, banner_, [this] { banner_->setSound(station_.screen().alarmSound); });
    if (auto* menu = findChild<QMenu*>(QStringLiteral("mnuAlarm"))) {
        QAction* summary = menu->addAction(QStringLiteral("Alarm Summary"));
        summary->setObjectName(QStringLiteral("mnuAlarmSummary"));
        addControl(summary, Access::Operator, true);
        connect(summary, &QAction::triggered, this, [this] { openAlarmForm(QStringLiteral("AlarmSummary")); });
    }
    // START All LE closes the three alarm windows along with their alarms.
    connect(&station_.groupOperation(), &GroupOperation::startAllPrepared, this, [this] {
        for (const char* name : {"Halogen", "SHTPC", "ControlLfcAlarm"})
            if (auto* w = findChild<QWidget*>(QString::fromLatin1(name), Qt::FindDirectChildrenOnly))
                w->close();
    });
    connect(&station_, &Station::linkLossWarningClosed, this, [this] {
        if (lossBox_)
            lossBox_->close();
    });
}

QWidget* LogWindow::openAlarmForm(const QString& name)
{
    if (name == QLatin1String("BoiteDialogue")) {
        if (!lossBox_)
            showLoss(LostLinkWarning::caption(), station_.lostLinks().lines());
        return lossBox_;
    }
    auto* form = findChild<QWidget*>(name, Qt::FindDirectChildrenOnly);
    if (!form) {
        if (name == QLatin1String("Halogen"))
            form = new Halogen(station_, this);
        else if (name == QLatin1String("SHTPC"))
            form = new SHTPC(station_, this);
        else if (name == QLatin1String("ControlLfcAlarm"))
            form = new ControlLfcAlarm(station_, this);
        else if (name == QLatin1String("AlarmSummary"))
            form = new AlarmSummaryWindow(station_.alarmSupervision().summary(), this);
        else
            return nullptr;
        form->setAttribute(Qt::WA_DeleteOnClose);
    }
    form->show();
    form->raise();
    return form;
}

} // namespace tarvek
