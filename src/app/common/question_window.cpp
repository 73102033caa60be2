#include "app/common/question_window.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace tarvek {

QuestionRouter::QuestionRouter(QObject* parent) : QObject(parent) {}

void QuestionRouter::setHandler(const QString& question, QObject* context, Handler onYes, Handler onNo)
{
    routes_.insert(question, Route{context, context != nullptr, std::move(onYes), std::move(onNo)});
}

void QuestionRouter::removeHandler(const QString& question) { routes_.remove(question); }

bool QuestionRouter::hasHandler(const QString& question) const
{
    const auto it = routes_.constFind(question);
    return it != routes_.constEnd() && !(it->bound && it->context.isNull());
}

void QuestionRouter::ask(const QString& caption, const QString& question) { emit asked(caption, question); }

bool QuestionRouter::answer(const QString& question, bool yes)
{
    emit answered(question, yes);
    const auto it = routes_.constFind(question);
    if (it == routes_.constEnd())
        return false;
    if (it->bound && it->context.isNull()) {
        routes_.erase(it);
        return false;
    }
    // A copy: the handler may register or remove routes while it runs.
    const Handler handler = yes ? it->yes : it->no;
    if (!handler)
        return false;
    handler();
    return true;
}

FenQuestion::FenQuestion(QuestionRouter& router, QWidget* parent)
    : QDialog(parent), router_(router), text_(new QLabel(this)), yes_(new QPushButton(tr("Yes"), this)),
      no_(new QPushButton(tr("No"), this))
{
    setObjectName(QStringLiteral("FenQuestion"));
    text_->setObjectName(QStringLiteral("TextQuestion"));
    yes_->setObjectName(QStringLiteral("OuiQuestion"));
    no_->setObjectName(QStringLiteral("NonQuestion"));
    text_->setAlignment(Qt::AlignCenter);
    text_->setWordWrap(true);
    text_->setMinimumWidth(320);
    // No is the default, so a stray Enter never deletes or prints anything.
    no_->setDefault(true);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(yes_);
    buttons->addWidget(no_);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(text_);
    layout->addLayout(buttons);

    connect(yes_, &QPushButton::clicked, this, &QDialog::accept);
    connect(no_, &QPushButton::clicked, this, &QDialog::reject);
    connect(this, &QDialog::finished, this, &FenQuestion::onFinished);
    connect(&router_, &QuestionRouter::asked, this, &FenQuestion::enqueue);
}

void FenQuestion::ask(const QString& caption, const QString& question) { router_.ask(caption, question); }

void FenQuestion::enqueue(const QString& caption, const QString& question)
{
    pending_.append({caption, question});
    if (current_.isEmpty())
        showNext();
}

void FenQuestion::showNext()
{
    if (pending_.isEmpty())
        return;
    const auto [caption, question] = pending_.takeFirst();
    current_ = question;
    setWindowTitle(caption);
    text_->setText(question);
    // A question that lists things reads down a left edge; a one-liner stays centred.
    text_->setAlignment(question.contains(QLatin1Char('\n')) ? Qt::AlignLeft | Qt::AlignVCenter : Qt::AlignCenter);
    no_->setFocus();
    open();
}

void FenQuestion::onFinished(int result)
{
    const QString question = current_;
    current_.clear();
    // A handler that asks again is shown at once (current_ is free); anything else queued follows.
    if (!question.isEmpty())
        router_.answer(question, result == QDialog::Accepted);
    if (current_.isEmpty())
        showNext();
}

} // namespace tarvek
