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
        // No whole reply yet (nothing at all, or a reply still arriving): the engine may still be
        // waking up, so it gets some passes. What came before its first good reply and was no
        // reply at all is judged below.
        if (isActive && !link_.answered(k) && !link_.noiseBeforeAnswer(k)) {
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
    bool undecided = false;
    for (int k = 1; k <= 6; ++k) {
        // A port that has answered once is the watchdog's alone.
        if (link_.answered(k))
            continue;
        if (!active[static_cast<std::size_t>(k - 1)]) {
            undecided = undecided || link_.portOpen(k);
            continue;
        }
        droppedAny = true;
        link_.sender(k)->stop();
        link_.closeSlot(k);
        link_.setDropped(k, true);
        addLine(QStringLiteral(" Cancelled ComX i=%1").arg(k));
        emit portDropped(k);
    }
    emit linesChanged(lines_);
    // After a drop the re-activation chain leads to the next pass; while a port is still silent
    // the passes go on; once every open port is confirmed or dropped, discovery steps aside.
    if (droppedAny)
        reactivate_->start();
    else if (undecided)
        normal_->start();
    else
        emit finished();
}

bool PortDiscovery::running() const
{
    for (const QTimer* t : {pass_, reactivate_, retest_, normal_})
        if (t->isActive())
            return true;
    return false;
}

void PortDiscovery::confirmWhenOpened(int slot)
{
    // A port that opens later (its device came back, or was plugged in) is confirmed like the others.
    if (!link_.answered(slot) && !running())
        pass_->start(kFirstPassMs);
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
