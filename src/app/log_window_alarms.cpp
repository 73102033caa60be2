// The main window's side of the alarms: the three alarm windows and the alarm summary from the
// Alarms menu, and the lost-link box closing itself once every engine answers again.
#include "app/alarm_summary_window.h"
#include "app/control_lfc_alarm.h"
#include "app/halogen.h"
#include "app/log_window.h"
#include "app/shtpc.h"

#include <QAction>
#include <QMenu>

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
