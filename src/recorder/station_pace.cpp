#include "recorder/station_pace.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tarvek::recording {

void StationPace::scan()
{
    for (auto it = timers_.begin(); it != timers_.end();)
        it = it.value().timer ? std::next(it) : timers_.erase(it);
    for (QTimer* t : root_.findChildren<QTimer*>()) {
        Held& h = timers_[t];
        h.timer = t;
        // A timer started since with an interval of its own has a new base.
        if (h.appliedMs < 0 || t->interval() != h.appliedMs)
            h.baseMs = t->interval();
    }
}

void StationPace::apply(Held& held)
{
    QTimer* timer = held.timer;
    const int ms = held.baseMs == 0 ? 0 : std::max(1, static_cast<int>(std::lround(double(held.baseMs) / speed_)));
    held.appliedMs = ms;
    if (timer->interval() == ms)
        return;
    if (timer->isActive())
        timer->start(ms); // begins its interval again, at the new pace
    else
        timer->setInterval(ms);
}

void StationPace::setSpeed(int speed)
{
    scan();
    speed_ = std::max(1, speed);
    for (Held& held : timers_)
        apply(held);
}

void StationPace::freeze()
{
    if (frozen_)
        return;
    frozen_ = true;
    scan();
    for (Held& held : timers_) {
        held.frozen = held.timer->isActive();
        held.timer->stop();
    }
}

void StationPace::thaw()
{
    if (!frozen_)
        return;
    frozen_ = false;
    for (Held& held : timers_)
        if (std::exchange(held.frozen, false) && held.timer)
            held.timer->start();
}

} // namespace tarvek::recording
