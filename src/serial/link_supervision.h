#pragma once
// Confirming each opened port (discovery) and noticing an engine that stops answering (watchdog).
#include "protocol/engine.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <array>
#include <functional>

namespace tarvek {

class SerialLink;

namespace supervision_timing {
inline constexpr int kFirstPassMs = 1500;   // Timer57 after the ports open: time for first replies
inline constexpr int kReactivateMs = 500;   // Timer58
inline constexpr int kRetestMs = 1500;      // Timer59
inline constexpr int kNextPassMs = 1000;    // Timer60: one pass a second while a port is undecided
inline constexpr int kWatchdogTickMs = 200; // Timer12: 25 silent ticks declare a loss in 5 s
inline constexpr int kSilentPassLimit = 15;
inline constexpr int kNoReplyLimit = 25;
} // namespace supervision_timing

// Confirms or drops each open port, writing its progress into the List3 lines.
class PortDiscovery : public QObject {
    Q_OBJECT
public:
    explicit PortDiscovery(SerialLink& link, QObject* parent = nullptr);

    // Starts the chain with a first pass; Connect and a saved configuration start it again.
    void start();
    void stop();
    // One discovery pass (the Timer57 step); tests may call it directly.
    void pass();
    // A pass, re-activation or re-test is due.
    bool running() const;
    // Starts a pass for a port that opened outside Connect or a saved configuration.
    void confirmWhenOpened(int slot);
    const QStringList& lines() const { return lines_; }
    int openRetries(int slot) const { return retries_.at(static_cast<std::size_t>(slot - 1)); }

signals:
    void linesChanged(const QStringList& lines);
    // Discovery clears a silent slot's box on the port configuration form.
    void configurationBoxCleared(int slot);
    void portDropped(int slot);
    // Every open port is confirmed or dropped; no pass is due.
    void finished();

private:
    void addLine(const QString& line);
    void reactivate();
    void retest();

    SerialLink& link_;
    QTimer* pass_;       // Timer57
    QTimer* reactivate_; // Timer58
    QTimer* retest_;     // Timer59
    QTimer* normal_;     // Timer60
    std::array<int, 6> retries_{};
    QStringList lines_;
};

// Counts watchdog ticks without a good reply per engine and reports a loss once. Only slots
// enabled in the port configuration and chosen for supervision are watched.
class LinkWatchdog : public QObject {
    Q_OBJECT
public:
    using Supervised = std::function<bool(int slot)>;
    LinkWatchdog(SerialLink& link, Supervised supervised, QObject* parent = nullptr);

    // One tick of the main display timer.
    void tick();
    bool linkLost(int slot) const { return state(slot).lost; }
    int noReplyCount(int slot) const { return state(slot).count; }
    bool lossReported(int slot) const { return state(slot).reported; }

signals:
    // A new loss: the history line and the warning box are the station's to write and show.
    void lossDetected(int slot);
    void linkRestored(int slot);

private:
    struct State {
        int count = 0;
        bool lost = false;
        bool reported = false;
    };
    State& state(int slot) { return states_.at(static_cast<std::size_t>(slot - 1)); }
    const State& state(int slot) const { return states_.at(static_cast<std::size_t>(slot - 1)); }

    SerialLink& link_;
    Supervised supervised_;
    std::array<State, 6> states_{};
};

} // namespace tarvek
