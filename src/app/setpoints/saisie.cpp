#include "app/setpoints/saisie.h"

#include "app/common/form_buttons.h"
#include "setpoints/value_entry.h"

#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

namespace tarvek {

Saisie::Saisie(ValueEntry& entry, QWidget* parent) : QDialog(parent), entry_(entry)
{
    setObjectName(QStringLiteral("Saisie"));
    setWindowTitle(QStringLiteral(" Input"));
    // Modal to the main window, shown with open(): the frame cycle goes on underneath.
    setWindowModality(Qt::WindowModal);

    auto* outer = new QVBoxLayout(this);
    subject_ = new QLabel;
    subject_->setObjectName(QStringLiteral("LabelSubject"));
    outer->addWidget(subject_);
    hint_ = new QLabel;
    hint_->setObjectName(QStringLiteral("LabelHint"));
    QFont bold = hint_->font();
    bold.setBold(true);
    hint_->setFont(bold);
    outer->addWidget(hint_);
    auto* form = new QFormLayout;
    minimum_ = new QLabel;
    minimum_->setObjectName(QStringLiteral("LabelMin"));
    maximum_ = new QLabel;
    maximum_->setObjectName(QStringLiteral("LabelMax"));
    text1_ = new QLineEdit;
    text1_->setObjectName(QStringLiteral("Text1"));
    form->addRow(QStringLiteral("Min:"), minimum_);
    form->addRow(QStringLiteral("Max:"), maximum_);
    form->addRow(QStringLiteral("Value:"), text1_);
    outer->addLayout(form);
    // What the typed value becomes, before it is sent (a motor speed rounded to its unit).
    note_ = new QLabel;
    note_->setObjectName(QStringLiteral("LabelNote"));
    note_->setWordWrap(true);
    note_->hide();
    outer->addWidget(note_);
    connect(&entry_, &ValueEntry::noteChanged, this, [this](const QString& note) {
        note_->setText(note);
        note_->setVisible(!note.isEmpty());
    });

    // AnnulerSaisie goes through reject(), which cancels the entry.
    QPushButton* ok = addButtonRow(this, outer, {"ValidationSaisie", QStringLiteral("OK")},
                                   {"AnnulerSaisie", QStringLiteral("Cancel")});
    connect(ok, &QPushButton::clicked, this, [this] { entry_.validate(text1_->text()); });
    connect(text1_, &QLineEdit::textEdited, &entry_, [this](const QString& text) { entry_.edited(text); });
    connect(&entry_, &ValueEntry::opened, this, &Saisie::showEntry);
    connect(&entry_, &ValueEntry::warning, this, &Saisie::showWarning);
    connect(&entry_, &ValueEntry::closed, this, [this](bool accepted) {
        if (box_)
            box_->close();
        done(accepted ? QDialog::Accepted : QDialog::Rejected);
    });
}

void Saisie::showEntry(const QString& hint, const QString& minimum, const QString& maximum)
{
    subject_->setText(entry_.request().subject);
    subject_->setVisible(!entry_.request().subject.isEmpty());
    hint_->setText(hint);
    minimum_->setText(minimum);
    maximum_->setText(maximum);
    text1_->clear();
    open();
    raise();
    text1_->setFocus();
}

void Saisie::showWarning(const QString& caption, const QString& text)
{
    if (box_)
        box_->close();
    box_ = new QMessageBox(QMessageBox::Warning, caption, text, QMessageBox::Ok, this);
    box_->setObjectName(QStringLiteral("MessageWarning"));
    box_->setAttribute(Qt::WA_DeleteOnClose);
    // Back to the entry as typed, ready to correct.
    connect(box_, &QMessageBox::finished, text1_, [this] { text1_->setFocus(); });
    box_->open();
}

void Saisie::reject()
{
    if (entry_.isOpen())
        entry_.cancel();
    else
        QDialog::reject();
}

} // namespace tarvek
