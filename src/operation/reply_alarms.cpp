#include "operation/reply_alarms.h"

namespace tarvek {

namespace {
constexpr int kRunningPhase = 5;

std::size_t slot(ReplyAlarm alarm) { return alarm == ReplyAlarm::Sht ? 0 : 1; }
} // namespace

void ReplyAlarms::setLimits(int shtSetPoint, int lfcLow)
{
    shtSetPoint_ = shtSetPoint;
    lfcLow_ = lfcLow;
}

void ReplyAlarms::setArmed(int index, ReplyAlarm alarm, bool armed)
{
    armed_.at(static_cast<std::size_t>(index))[slot(alarm)] = armed;
}

std::vector<AlarmChange> ReplyAlarms::judge(int index, const LightEngineRecord& record)
{
    auto& held = held_.at(static_cast<std::size_t>(index));
    const auto& armed = armed_.at(static_cast<std::size_t>(index));
    const bool sht = armed[0] && record.reported[pos::Sht] > shtSetPoint_;
    const bool lfc = armed[1] && record.Phase == kRunningPhase && record.reported[pos::Lfc] < lfcLow_;
    std::vector<AlarmChange> changes;
    for (const auto& [alarm, now] : {std::pair{ReplyAlarm::Sht, sht}, std::pair{ReplyAlarm::Lfc, lfc}}) {
        bool& was = held[slot(alarm)];
        if (was != now)
            changes.push_back({alarm, now});
        was = now;
    }
    return changes;
}

bool ReplyAlarms::holds(int index, ReplyAlarm alarm) const
{
    return held_.at(static_cast<std::size_t>(index))[slot(alarm)];
}

bool ReplyAlarms::holdsAnywhere(ReplyAlarm alarm) const
{
    for (const auto& held : held_)
        if (held[slot(alarm)])
            return true;
    return false;
}

} // namespace tarvek
