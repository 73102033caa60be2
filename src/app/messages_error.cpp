#include "app/messages_error.h"

#include <QFontDatabase>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace tarvek {

MessagesError::MessagesError(const QStringList& texts, QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("MessagesError"));
    setWindowTitle(QStringLiteral(" FADEC Error Codes"));
    auto* layout = new QVBoxLayout(this);
    list_ = new QPlainTextEdit(this);
    list_->setObjectName(QStringLiteral("List1"));
    list_->setReadOnly(true);
    list_->setLineWrapMode(QPlainTextEdit::NoWrap);
    // The second column starts one code and a little space to the right of the first.
    list_->setTabStopDistance(list_->fontMetrics().horizontalAdvance(QStringLiteral("0000")));
    list_->setPlainText(linesFor(texts).join(QLatin1Char('\n')));
    layout->addWidget(list_);
    auto* close = new QPushButton(QStringLiteral("OK"), this);
    close->setObjectName(QStringLiteral("CDMQuitter"));
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
    layout->addWidget(close, 0, Qt::AlignRight);
    resize(list_->fontMetrics().horizontalAdvance(QStringLiteral("00    Temp. Magnetron > 120 C FADEC (DS1307)")) + 80,
           (kCodesShown + 3) * list_->fontMetrics().lineSpacing() + 60);
}

QStringList MessagesError::linesFor(const QStringList& texts)
{
    QStringList out;
    for (int code = 0; code < kCodesShown && code < texts.size(); ++code)
        out << QStringLiteral("%1\t%2").arg(code, 2, 10, QLatin1Char('0')).arg(texts[code]);
    return out;
}

QStringList MessagesError::lines() const
{
    return list_->toPlainText().split(QLatin1Char('\n'));
}

} // namespace tarvek
