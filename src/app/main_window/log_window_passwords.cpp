// The main window's side of the passwords: the log-in box, the Service menu entry and its form.
#include "app/service/change_password_form.h"
#include "app/main_window/log_window.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>

namespace tarvek {

void LogWindow::showLogIn(bool service)
{
    loginHint_->setText(service ? QStringLiteral("Service password:") : QStringLiteral("Password:"));
    loginBox_->show();
    text1_->clear();
    text1_->setFocus();
}

void LogWindow::onLogIn()
{
    if (station_.logIn(text1_->text())) {
        text1_->clear();
        loginError_->hide();
        return;
    }
    // A wrong password changes nothing; the text is selected so it can be typed again.
    text1_->selectAll();
}

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
