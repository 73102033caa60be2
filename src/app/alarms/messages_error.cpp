#include "app/alarms/messages_error.h"

#include <QFontDatabase>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

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
    const QFontMetrics metrics = list_->fontMetrics();
    const qreal tab = metrics.horizontalAdvance(QStringLiteral("0000"));
    list_->setTabStopDistance(tab);
    const QStringList shown = linesFor(texts);
    list_->setPlainText(shown.join(QLatin1Char('\n')));
    int widest = 0;
    for (const QString& text : texts)
        widest = std::max(widest, metrics.horizontalAdvance(text));
    // Both columns and every line in view: the list is sized to its lines and never scrolls.
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setMinimumSize(static_cast<int>(tab) + widest + 60, (static_cast<int>(shown.size()) + 3) * metrics.lineSpacing());
    layout->addWidget(list_);
    auto* close = new QPushButton(QStringLiteral("OK"), this);
    close->setObjectName(QStringLiteral("CDMQuitter"));
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
    layout->addWidget(close, 0, Qt::AlignRight);
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
