#include "app/alarms/boite_dialogue.h"

#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace tarvek {

BoiteDialogue::BoiteDialogue(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("BoiteDialogue"));
    setModal(false);
    auto* layout = new QVBoxLayout(this);
    text_ = new QLabel(this);
    text_->setObjectName(QStringLiteral("BoiteDialogueText"));
    QFont f = text_->font();
    f.setBold(true);
    text_->setFont(f);
    text_->setMinimumWidth(320);
    layout->addWidget(text_);
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    ok->setObjectName(QStringLiteral("OkValide"));
    layout->addWidget(ok, 0, Qt::AlignRight);
    connect(ok, &QPushButton::clicked, this, &QDialog::accept);
}

void BoiteDialogue::setLines(const QString& caption, const QStringList& lines)
{
    setWindowTitle(caption);
    text_->setText(lines.join(QLatin1Char('\n')));
    adjustSize();
}

QStringList BoiteDialogue::lines() const
{
    return text_->text().split(QLatin1Char('\n'));
}

} // namespace tarvek
