#pragma once
// The button row at the foot of a form: the default button and one that closes the form through
// reject() (so a form that overrides reject() hears Escape, the close box and the button alike).
#include <QBoxLayout>
#include <QDialog>
#include <QPushButton>

namespace tarvek {

struct FormButton {
    const char* name;
    QString caption;
};

// Adds the row to the form's layout; returns the default button for the form to connect.
inline QPushButton* addButtonRow(QDialog* form, QBoxLayout* layout, const FormButton& main, const FormButton& close)
{
    auto* buttons = new QHBoxLayout;
    auto* mainButton = new QPushButton(main.caption);
    mainButton->setObjectName(QString::fromLatin1(main.name));
    mainButton->setDefault(true);
    auto* closeButton = new QPushButton(close.caption);
    closeButton->setObjectName(QString::fromLatin1(close.name));
    buttons->addStretch(1);
    buttons->addWidget(mainButton);
    buttons->addWidget(closeButton);
    layout->addLayout(buttons);
    QObject::connect(closeButton, &QPushButton::clicked, form, &QDialog::reject);
    return mainButton;
}

// Save (Command1, the default) and Close (Command2, which closes the form without saving).
inline QPushButton* addSaveCloseRow(QDialog* form, QBoxLayout* layout)
{
    return addButtonRow(form, layout, {"Command1", QStringLiteral("Save")}, {"Command2", QStringLiteral("Close")});
}

} // namespace tarvek
