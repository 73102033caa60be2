#include "setpoints/value_entry.h"

#include "recording/named_timer.h"

#include <algorithm>

namespace tarvek {

ValueEntry::ValueEntry(QObject* parent) : QObject(parent)
{
    setObjectName(QStringLiteral("ValueEntry"));
    timer17_ = namedTimer(this, QStringLiteral("Timer17"), entry_timing::kIdleCancelMs, true);
    connect(timer17_, &QTimer::timeout, this, &ValueEntry::cancel);
}

EntryCheck ValueEntry::check(const QString& text, const QString& minimum, const QString& maximum, bool motorSpeed)
{
    if (!std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c >= u'0' && c <= u'9'; }))
        return EntryCheck::NotDigits;
    // Code unit by code unit, as the texts stand: the length of a number does not count.
    if (QString::compare(text, minimum, Qt::CaseSensitive) < 0 || QString::compare(text, maximum, Qt::CaseSensitive) > 0)
        return EntryCheck::OutsideLimits;
    if (motorSpeed) {
        const long long rpm = text.toLongLong();
        if (rpm < kMotorMinRpm || rpm > kMotorMaxRpm)
            return EntryCheck::OutsideMotorRange;
    }
    return EntryCheck::Accepted;
}

EntryCheck ValueEntry::check(const QString& text, const EntryRequest& request)
{
    if (!request.numericLimits)
        return check(text, request.minimum, request.maximum, request.motorSpeed);
    if (!std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c >= u'0' && c <= u'9'; }))
        return EntryCheck::NotDigits;
    bool ok = false;
    const qulonglong value = text.toULongLong(&ok); // too many digits do not convert
    if (!ok || value < request.minimum.toULongLong() || value > request.maximum.toULongLong())
        return EntryCheck::OutsideLimits;
    return EntryCheck::Accepted;
}

QString ValueEntry::message(EntryCheck verdict)
{
    switch (verdict) {
    case EntryCheck::Accepted: return {};
    case EntryCheck::NotDigits: return entry_texts::kNotDigits;
    case EntryCheck::OutsideLimits: return entry_texts::kOutsideLimits;
    case EntryCheck::OutsideMotorRange: return entry_texts::kOutsideMotorRange;
    }
    return {};
}

void ValueEntry::open(EntryRequest request)
{
    if (open_)
        cancel();
    request_ = std::move(request);
    open_ = true;
    timer17_->start();
    emit opened(request_.hint, request_.minimum, request_.maximum);
    emit noteChanged(QString());
}

bool ValueEntry::validate(const QString& text)
{
    if (!open_)
        return false;
    const EntryCheck verdict = check(text, request_);
    if (verdict != EntryCheck::Accepted) {
        timer17_->start();
        emit warning(entry_texts::kCaption, message(verdict));
        return false;
    }
    const auto onAccepted = request_.onAccepted;
    close(true);
    if (onAccepted)
        onAccepted(text);
    return true;
}

void ValueEntry::cancel()
{
    if (open_)
        close(false);
}

void ValueEntry::edited(const QString& text)
{
    if (!open_)
        return;
    timer17_->start();
    emit noteChanged(request_.note ? request_.note(text) : QString());
}

void ValueEntry::close(bool accepted)
{
    timer17_->stop();
    open_ = false;
    request_ = EntryRequest{};
    emit closed(accepted);
}

} // namespace tarvek
