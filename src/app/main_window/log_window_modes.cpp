// The control initialisation for each mode: who may use which control of the main window, and
// why a control that cannot act is greyed, told in its tip.
#include "app/main_window/log_window.h"

#include <QAction>
#include <QCoreApplication>
#include <QLabel>
#include <QMenuBar>
#include <QResizeEvent>
#include <QStatusBar>

namespace tarvek {

void LogWindow::addControl(QObject* control, Access access, bool wired)
{
    rules_.insert(control->objectName(), Rule{control, access});
    if (wired)
        wired_.insert(control->objectName());
}

void LogWindow::setWired(const QString& name, bool wired)
{
    if (wired)
        wired_.insert(name);
    else
        wired_.remove(name);
    applyMode();
}

bool LogWindow::isAllowed(Access access) const
{
    const OperatingMode mode = station_.mode();
    const bool loggedIn = mode != OperatingMode::NotLoggedIn;
    switch (access) {
    case Access::Always: return true;
    case Access::Operator: return loggedIn;
    case Access::Service: return mode == OperatingMode::Service;
    case Access::Functions: return loggedIn && station_.functionsMenuAvailable();
    case Access::ServiceFunctions:
        return mode == OperatingMode::Service && station_.functionsMenuAvailable();
    case Access::Quit: return station_.quitAvailable();
    }
    return false;
}

QString LogWindow::whyNot(Access access) const
{
    const bool loggedIn = station_.mode() != OperatingMode::NotLoggedIn;
    switch (access) {
    case Access::Always: return {};
    case Access::Operator: return QStringLiteral("Log in first (Ctrl+L, or the password box at the top right)");
    case Access::Service:
    case Access::ServiceFunctions:
        return QStringLiteral("Service mode only: log in with the service password (Station > Start in SERVICE Mode)");
    case Access::Functions:
        return loggedIn ? QStringLiteral("Not opened in this mode: Software Settings chooses which log-in opens the "
                                         "Service menu")
                        : QStringLiteral("Log in first (Ctrl+L, or the password box at the top right)");
    case Access::Quit:
        return QStringLiteral("Opened by a service-mode log-in; closing the window asks to quit at any time");
    }
    return {};
}

void LogWindow::applyMode()
{
    for (auto it = rules_.cbegin(); it != rules_.cend(); ++it) {
        QObject* c = it->control;
        if (!c)
            continue;
        const bool wired = wired_.contains(it.key());
        const bool enabled = wired && isAllowed(it->access);
        // A control that cannot act says why in its tip, after what it does.
        if (!c->property("tarvekTip").isValid()) {
            // An action's tip reads as its caption until one is given.
            const auto* a = qobject_cast<QAction*>(c);
            const QString own = c->property("toolTip").toString();
            c->setProperty("tarvekTip", a && own == QString(a->text()).remove(QLatin1Char('&')) ? QString() : own);
        }
        QString tip = c->property("tarvekTip").toString();
        if (!enabled) {
            const QString why = wired ? whyNot(it->access) : QStringLiteral("Not available yet while the station starts");
            tip = tip.isEmpty() ? why : tip + QLatin1Char('\n') + why;
        }
        if (auto* a = qobject_cast<QAction*>(c)) {
            a->setEnabled(enabled);
            a->setToolTip(tip);
        } else if (auto* w = qobject_cast<QWidget*>(c)) {
            w->setEnabled(enabled);
            w->setToolTip(tip);
        }
    }
    action(QStringLiteral("mnuStartperatorMode"))->setText(station_.modeMenuCaption());

    const bool loggedIn = station_.mode() != OperatingMode::NotLoggedIn;
    if (loginBox_->isVisibleTo(this) == loggedIn) {
        loginBox_->setVisible(!loggedIn);
        // The menu bar places its corner by the corner's size: tell it the new one.
        QWidget* corner = menuBar()->cornerWidget(Qt::TopRightCorner);
        corner->adjustSize();
        QResizeEvent again(menuBar()->size(), menuBar()->size());
        QCoreApplication::sendEvent(menuBar(), &again);
    }
    if (loggedIn)
        statusBar()->clearMessage();
    picture10_->setVisible(station_.serviceMarkerShown());
    QString modeText = QStringLiteral("Not logged in");
    if (station_.mode() == OperatingMode::User)
        modeText = QStringLiteral("User mode");
    else if (station_.mode() == OperatingMode::Service)
        modeText = QStringLiteral("Service mode");
    findChild<QLabel*>(QStringLiteral("LabelMode"))->setText(modeText);
}

} // namespace tarvek
