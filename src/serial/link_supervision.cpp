#include "serial/link_supervision.h"

#include "recording/named_timer.h"
#include "serial/serial_link.h"

namespace tarvek {

using namespace supervision_timing;

PortDiscovery::PortDiscovery(SerialLink& link, QObject* parent)
    : QObject(parent), link_(link), pass_(namedTimer(this, QStringLiteral("Timer57"), kFirstPassMs)),
      reactivate_(namedTimer(this, QStringLiteral("Timer58"), kReactivateMs)),
      retest_(namedTimer(this, QStringLiteral("Timer59"), kRetestMs)),
      normal_(namedTimer(this, QStringLiteral("Timer60"), kNextPassMs))
{
    connect(pass_, &QTimer::timeout, this, &PortDiscovery::pass);
    connect(reactivate_, &QTimer::timeout, this, &PortDiscovery::reactivate);
    connect(retest_, &QTimer::timeout, this, &PortDiscovery::retest);
    connect(normal_, &QTimer::timeout, this, [this] { pass_->start(kNextPassMs); });
}

void PortDiscovery::start()
{
    stop();
    retries_.fill(0);
    pass_->start(kFirstPassMs);
}

void PortDiscovery::stop()
{
    for (QTimer* t : {pass_, reactivate_, retest_, normal_})
        t->stop();
}

void PortDiscovery::addLine(const QString& line)
{
    lines_ << line;
}

void PortDiscovery::pass()
{
    lines_.clear();
    std::array<bool, 6> active{};
    for (int k = 1; k <= 6; ++k) {
        auto& retries = retries_[static_cast<std::size_t>(k - 1)];
        bool isActive = link_.portOpen(k);
        QString mark;
        // Nothing at all has come in: the engine may still be waking up, so it gets some passes.
        if (isActive && link_.firstByte(k) < 0) {
            mark = QStringLiteral(" <---  ? ");
            if (retries < kSilentPassLimit) {
                ++retries;
                isActive = false;
                link_.form().enabled[static_cast<std::size_t>(k - 1)] = false;
                emit configurationBoxCleared(k);
            }
        }
        active[static_cast<std::size_t>(k - 1)] = isActive;
        const int first = std::max(0, link_.firstByte(k));
        addLine(QStringLiteral("   LE-%1   %2   COM(i) = %3 %4")
                    .arg(k)
                    .arg(QStringLiteral("000%1").arg(first).right(3))
                    .arg(isActive ? 1 : 0)
                    .arg(mark));
    }
    bool droppedAny = false;
    for (int k = 1; k <= 6; ++k) {
        // Still active without a good last reply: whatever answers there is not an engine.
        if (!active[static_cast<std::size_t>(k - 1)] || link_.tables().at(k - 1).ReplySeen == kSyncValue)
            continue;
        droppedAny = true;
        link_.stopSenders();
        link_.closeSlot(k);
        link_.setDropped(k, true);
        addLine(QStringLiteral(" Cancelled ComX i=%1").arg(k));
        emit portDropped(k);
    }
    emit linesChanged(lines_);
    // After a drop the re-activation chain leads to the next pass; otherwise normal operation does.
    if (droppedAny)
        reactivate_->start();
    else
        normal_->start();
}

void PortDiscovery::reactivate()
{
    link_.openPorts();
    addLine(QStringLiteral(" Activating ComX"));
    emit linesChanged(lines_);
    retest_->start();
}

void PortDiscovery::retest()
{
    addLine(QStringLiteral(" Re-test ComX full"));
    emit linesChanged(lines_);
    pass_->start(kRetestMs);
}

LinkWatchdog::LinkWatchdog(SerialLink& link, Supervised supervised, QObject* parent)
    : QObject(parent), link_(link), supervised_(std::move(supervised))
{
}

void LinkWatchdog::tick()
{
    for (int k = 1; k <= 6; ++k) {
        State& s = state(k);
        const int good = link_.takeGoodRepliesSinceTick(k);
        // Slots not meant to carry an engine would only raise false alarms.
        if (!link_.enabled(k) || (supervised_ && !supervised_(k)))
            continue;
        if (good > 0) {
            const bool wasLost = s.lost;
            s = State{};
            if (wasLost)
                emit linkRestored(k);
            continue;
        }
        if (s.count < kNoReplyLimit)
            ++s.count;
        if (s.count < kNoReplyLimit)
            continue;
        s.lost = true;
        if (!s.reported) {
            s.reported = true;
            emit lossDetected(k);
        }
    }
}

} // namespace tarvek
