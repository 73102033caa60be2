#include "serial/when_clear.h"

#include "serial/precise_deadlines.h"

#include <QTimer>

namespace tarvek {

WhenClear::WhenClear(BusyUntil busyUntil, QObject* parent) : QObject(parent), busyUntil_(std::move(busyUntil))
{
    timer_ = new QTimer(this);
    timer_->setObjectName(QStringLiteral("WhenClear"));
    timer_->setSingleShot(true);
    timer_->setTimerType(Qt::PreciseTimer);
    connect(timer_, &QTimer::timeout, this, &WhenClear::look);
}

void WhenClear::run(QObject* context, std::function<void()> work)
{
    if (!queue_.empty()) {
        queue_.push_back({context, std::move(work)}); // behind what already waits
        return;
    }
    const qint64 now = PreciseDeadlines::nowNs();
    const qint64 until = busyUntil_ ? busyUntil_(now, kAheadNs) : 0;
    if (until <= 0) {
        work();
        return;
    }
    queue_.push_back({context, std::move(work)});
    looks_ = 1;
    schedule(now, until);
}

void WhenClear::look()
{
    const qint64 now = PreciseDeadlines::nowNs();
    const qint64 until = busyUntil_ ? busyUntil_(now, kAheadNs) : 0;
    if (until > 0 && looks_ < kMostLooks) {
        ++looks_;
        schedule(now, until);
        return;
    }
    // What is run may ask to run more: that goes in a queue of its own.
    std::vector<Waiting> due = std::exchange(queue_, {});
    looks_ = 0;
    for (Waiting& w : due)
        if (w.context)
            w.work();
}

void WhenClear::schedule(qint64 nowNs, qint64 untilNs)
{
    // The loop waits in whole milliseconds, and never less than one.
    const qint64 ms = std::max<qint64>(1, (untilNs - nowNs + 999'999) / 1'000'000);
    timer_->start(static_cast<int>(ms));
}

} // namespace tarvek
