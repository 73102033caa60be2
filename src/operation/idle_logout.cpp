#include "operation/idle_logout.h"

#include <QTimer>

namespace tarvek {

IdleLogout::IdleLogout(const Clock& clock, QObject* parent) : QObject(parent), clock_(clock), timer_(new QTimer(this))
{
    timer_->setObjectName(QStringLiteral("TimerIdle"));
    timer_->setInterval(kTickMs);
    connect(timer_, &QTimer::timeout, this, &IdleLogout::check);
    lastInput_ = clock_.now();
}

void IdleLogout::setMinutes(int minutes)
{
    minutes_ = std::max(0, minutes);
    setWatching(watching_);
}

void IdleLogout::setWatching(bool watching)
{
    watching_ = watching;
    lastInput_ = clock_.now();
    if (watching_ && minutes_ > 0)
        timer_->start();
    else
        timer_->stop();
}

void IdleLogout::noteInput()
{
    lastInput_ = clock_.now();
}

void IdleLogout::check()
{
    if (!watching_ || minutes_ <= 0 || lastInput_.secsTo(clock_.now()) < qint64{minutes_} * 60)
        return;
    setWatching(false);
    emit timedOut();
}

} // namespace tarvek
