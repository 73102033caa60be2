#pragma once
// The button row at the foot of a form: Save (Command1, the default) and Close (Command2, which
// closes the form without saving).
#include <QBoxLayout>
#include <QDialog>
#include <QPushButton>

namespace tarvek {

// Adds the row to the form's layout; returns Save for the form to connect.
inline QPushButton* addSaveCloseRow(QDialog* form, QBoxLayout* layout)
{
    auto* buttons = new QHBoxLayout;
    auto* saveButton = new QPushButton(QStringLiteral("Save"));
    saveButton->setObjectName(QStringLiteral("Command1"));
    saveButton->setDefault(true);
    auto* closeButton = new QPushButton(QStringLiteral("Close"));
    closeButton->setObjectName(QStringLiteral("Command2"));
    buttons->addStretch(1);
    buttons->addWidget(saveButton);
    buttons->addWidget(closeButton);
    layout->addLayout(buttons);
    QObject::connect(closeButton, &QPushButton::clicked, form, &QDialog::reject);
    return saveButton;
}

} // namespace tarvek
