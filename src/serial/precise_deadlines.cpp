#include "serial/precise_deadlines.h"

#include <QAbstractEventDispatcher>
#include <QSocketNotifier>

#include <algorithm>
#include <ctime>
#include <unistd.h>

#ifdef __linux__
#include <sys/timerfd.h>
#endif

namespace tarvek {

PreciseDeadlines::PreciseDeadlines(QObject* parent) : QObject(parent)
{
#ifdef __linux__
    fd_ = ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
#endif
    if (fd_ < 0)
        return;
    notifier_ = new QSocketNotifier(fd_, QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &PreciseDeadlines::fired);
}

PreciseDeadlines::~PreciseDeadlines()
{
    if (fd_ >= 0) {
        delete notifier_;
        ::close(fd_);
    }
}

qint64 PreciseDeadlines::nowNs()
{
    timespec t{};
    ::clock_gettime(CLOCK_MONOTONIC, &t);
    return qint64(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

void PreciseDeadlines::arm(int key, qint64 deadlineNs)
{
    if (!available() || key < 1 || key > kKeys)
        return;
    deadlines_[static_cast<std::size_t>(key - 1)] = std::max<qint64>(1, deadlineNs);
    if (!firing_)
        program(); // else once the wake's due keys are all told, for what is left
}

void PreciseDeadlines::disarm(int key)
{
    if (key < 1 || key > kKeys)
        return;
    deadlines_[static_cast<std::size_t>(key - 1)] = 0;
    // The timerfd may stay set: a wake with nothing due finds nothing to do, and costs less than
    // a system call for every frame sent.
}

bool PreciseDeadlines::armed(int key) const
{
    return key >= 1 && key <= kKeys && deadlines_[static_cast<std::size_t>(key - 1)] != 0;
}

void PreciseDeadlines::fired()
{
#ifdef __linux__
    quint64 expirations = 0;
    [[maybe_unused]] const ssize_t n = ::read(fd_, &expirations, sizeof expirations);
#endif
    const qint64 wokeNs = watching_ ? nowNs() : 0;
    programmed_ = 0;
    firing_ = true;
    // Each due key is taken off before it is told, so a handler may arm it again.
    for (;;) {
        const qint64 now = nowNs();
        int next = 0;
        for (int k = 1; k <= kKeys; ++k) {
            const qint64 d = deadlines_[static_cast<std::size_t>(k - 1)];
            if (d != 0 && d <= now && (next == 0 || d < deadlines_[static_cast<std::size_t>(next - 1)]))
                next = k;
        }
        if (next == 0)
            break;
        if (watching_)
            noteLateness(deadlines_[static_cast<std::size_t>(next - 1)], wokeNs, now);
        deadlines_[static_cast<std::size_t>(next - 1)] = 0;
        emit due(next);
    }
    firing_ = false;
    program();
}

void PreciseDeadlines::watchLateness()
{
    QAbstractEventDispatcher* loop = QAbstractEventDispatcher::instance(thread());
    if (watching_ || !loop)
        return;
    watching_ = true;
    // A turn of the loop begins with awake and, when nothing is left to do, sleeps after
    // aboutToBlock.
    connect(loop, &QAbstractEventDispatcher::awake, this, [this] { loopTurnNs_ = nowNs(); });
    connect(loop, &QAbstractEventDispatcher::aboutToBlock, this, [this] { blockedNs_ = nowNs(); });
}

void PreciseDeadlines::noteLateness(qint64 deadlineNs, qint64 wokeNs, qint64 toldNs)
{
    ++lateness_.told;
    // Asleep at the deadline: this turn of the loop went to sleep before it and woke after it.
    const bool asleep = blockedNs_ >= loopTurnNs_ && blockedNs_ < deadlineNs && deadlineNs <= wokeNs;
    const qint64 wokeLate = asleep ? wokeNs - deadlineNs : 0;
    const qint64 held = toldNs - deadlineNs - wokeLate;
    if (wokeLate > Lateness::kLateNs) {
        ++lateness_.wokeLate;
        lateness_.maxWokeLateNs = std::max(lateness_.maxWokeLateNs, wokeLate);
    }
    if (held > Lateness::kLateNs) {
        ++lateness_.heldByWork;
        lateness_.maxHeldNs = std::max(lateness_.maxHeldNs, held);
    }
}

qint64 PreciseDeadlines::earliest() const
{
    qint64 first = 0;
    for (const qint64 d : deadlines_)
        if (d != 0 && (first == 0 || d < first))
            first = d;
    return first;
}

void PreciseDeadlines::program()
{
    const qint64 earliest = this->earliest();
    if (earliest == 0 || (programmed_ != 0 && programmed_ <= earliest))
        return; // set already for this one, or for an earlier one that will look again
#ifdef __linux__
    itimerspec expiry{};
    expiry.it_value.tv_sec = static_cast<time_t>(earliest / 1'000'000'000);
    expiry.it_value.tv_nsec = static_cast<long>(earliest % 1'000'000'000);
    if (::timerfd_settime(fd_, TFD_TIMER_ABSTIME, &expiry, nullptr) == 0)
        programmed_ = earliest;
#endif
}

} // namespace tarvek
