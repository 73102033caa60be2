#include "operation/stop_alarm.h"

#include "recording/named_timer.h"

namespace tarvek {

StopAlarm::StopAlarm(OperationContext& context, AlarmState& alarms, QObject* parent)
    : QObject(parent), ctx_(context), alarms_(alarms)
{
    setObjectName(QStringLiteral("StopAlarm"));
    timer11_ = namedTimer(this, QStringLiteral("Timer11"), operation_timing::kStopAlarmCountdownMs, false);
    timer54_ = namedTimer(this, QStringLiteral("Timer54"), operation_timing::kStopAlarmWatchMs, false);
    connect(timer11_, &QTimer::timeout, this, &StopAlarm::countdownTick);
    connect(timer54_, &QTimer::timeout, this, &StopAlarm::watchTick);
}

void StopAlarm::setCaption(const QString& caption)
{
    caption_ = caption;
    emit captionChanged(caption_);
}

void StopAlarm::toggle()
{
    if (state_ == State::Counting || state_ == State::Watching) {
        timer11_->stop();
        timer54_->stop();
        alarms_.stopAlarmArmed = 0;
        state_ = State::Off;
        setCaption(QStringLiteral("Stop Alarm"));
        return;
    }
    alarms_.stopAlarmArmed = 1;
    counter_ = alarms_.stopAlarmSeconds;
    seenRunning_.fill(0);
    state_ = State::Counting;
    setCaption(QStringLiteral("Stop Alarm (%1 sec.)").arg(counter_));
    timer11_->start();
}

void StopAlarm::reset()
{
    flags_.fill(false);
    if (state_ == State::Raised)
        state_ = State::Off;
    if (state_ == State::Off)
        setCaption(QStringLiteral("Stop Alarm"));
}

void StopAlarm::countdownTick()
{
    if (alarms_.stopAlarmArmed && counter_ > 0) {
        --counter_;
        setCaption(QStringLiteral("Stop Alarm (%1 sec.)").arg(counter_));
    }
    if (counter_ > 0)
        return;
    setCaption(QStringLiteral("Stop Alarm (Actived)"));
    state_ = State::Watching;
    timer54_->start();
    timer11_->stop();
}

void StopAlarm::watchTick()
{
    bool raisedNow = false;
    for (int n = 1; n <= kEngines; ++n) {
        const auto i = static_cast<std::size_t>(n - 1);
        const LightEngineRecord& r = ctx_.record(n);
        if (r.RunCommand != 2 || r.Phase != 5 || flags_[i]) {
            seenRunning_[i] = 0;
            continue;
        }
        if (++seenRunning_[i] < 2)
            continue;
        const QString text = QStringLiteral("  Stop Alarm (Actived) ") + operation_texts::designation(n);
        emit eventLine(text);
        ctx_.history.append(QStringLiteral("0"), text);
        flags_[i] = true;
        raisedNow = true;
        emit raisedOn(n);
    }
    if (!raisedNow)
        return;
    timer54_->stop();
    state_ = State::Raised;
    setCaption(QStringLiteral("Stop Alarm *"));
    emit offAllRequested();
}

} // namespace tarvek
