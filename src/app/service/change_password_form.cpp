#include "app/service/change_password_form.h"

#include "app/common/form_buttons.h"
#include "station/station.h"

#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace tarvek {

ChangePasswordForm::ChangePasswordForm(Station& station, QWidget* parent)
    : QDialog(parent), station_(station)
{
    setObjectName(QStringLiteral("ChangePassword"));
    setWindowTitle(QStringLiteral(" Change Password"));
    setModal(false);

    auto* outer = new QVBoxLayout(this);
    auto* which = new QGroupBox(QStringLiteral("Password to change"));
    auto* whichLayout = new QHBoxLayout(which);
    user_ = new QRadioButton(QStringLiteral("User mode"));
    user_->setObjectName(QStringLiteral("OptionRecord_0"));
    service_ = new QRadioButton(QStringLiteral("Service mode"));
    service_->setObjectName(QStringLiteral("OptionRecord_1"));
    user_->setChecked(true);
    whichLayout->addWidget(user_);
    whichLayout->addWidget(service_);
    outer->addWidget(which);

    auto* entries = new QFormLayout;
    first_ = new QLineEdit;
    first_->setObjectName(QStringLiteral("TextPassword"));
    second_ = new QLineEdit;
    second_->setObjectName(QStringLiteral("TextRepeat"));
    for (QLineEdit* e : {first_, second_})
        e->setEchoMode(QLineEdit::Password);
    entries->addRow(QStringLiteral("New password:"), first_);
    entries->addRow(QStringLiteral("Once again:"), second_);
    outer->addLayout(entries);

    refusal_ = new QLabel;
    refusal_->setObjectName(QStringLiteral("LabelRefusal"));
    refusal_->setStyleSheet(QStringLiteral("color: #b00000"));
    outer->addWidget(refusal_);

    auto* note = new QLabel(QStringLiteral("Letter case does not matter. The password is stored hashed."));
    note->setWordWrap(true);
    outer->addWidget(note);

    connect(addSaveCloseRow(this, outer), &QPushButton::clicked, this, &ChangePasswordForm::save);
}

void ChangePasswordForm::reset()
{
    first_->clear();
    second_->clear();
    refusal_->clear();
}

void ChangePasswordForm::save()
{
    const QString refused =
        station_.changePassword(service_->isChecked() ? 1 : 0, first_->text(), second_->text());
    if (!refused.isEmpty()) {
        refusal_->setText(refused);
        return;
    }
    reset();
    accept();
}

} // namespace tarvek
