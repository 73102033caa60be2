// The main window's side of the passwords: the Service menu entry and its form.
#include "app/change_password_form.h"
#include "app/log_window.h"

#include <QAction>
#include <QMenu>

namespace tarvek {

void LogWindow::wirePasswords()
{
    functionsMenu_->addSeparator();
    QAction* change = functionsMenu_->addAction(QStringLiteral("Change Password"));
    change->setObjectName(QStringLiteral("mnuChangePassword"));
    addControl(change, Access::ServiceFunctions, true);
    connect(change, &QAction::triggered, this, [this] { openChangePassword(); });
    // The form goes with service mode: a time-out must not leave it open to a user.
    connect(&station_, &Station::modeChanged, this, [this](int mode) {
        if (passwordForm_ && mode != static_cast<int>(OperatingMode::Service))
            passwordForm_->reject();
    });
}

ChangePasswordForm* LogWindow::openChangePassword()
{
    if (!passwordForm_)
        passwordForm_ = new ChangePasswordForm(station_, this);
    passwordForm_->reset();
    passwordForm_->show();
    passwordForm_->raise();
    passwordForm_->activateWindow();
    return passwordForm_;
}

} // namespace tarvek
