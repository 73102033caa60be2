#pragma once
// Deadlines met to the microsecond. Qt's event loop rounds every wait up to a whole millisecond,
// so even a precise QTimer fires up to 1 ms after its time (half a millisecond on average): too
// late for a frame that is to follow its reply by 30 ms as closely as the line allows. A timerfd
// in the loop wakes it at the nanosecond. One timerfd serves every key, armed for the earliest
// deadline; a deadline that shares its wake with an earlier one costs no wake of its own.
// Where there is no timerfd, available() is false and the caller's QTimer alone keeps the time.
#include <QObject>

#include <array>

class QSocketNotifier;

namespace tarvek {

class PreciseDeadlines : public QObject {
    Q_OBJECT
public:
    static constexpr int kKeys = 12; // the six senders, and the six rests of the reading

    explicit PreciseDeadlines(QObject* parent = nullptr);
    ~PreciseDeadlines() override;

    bool available() const { return fd_ >= 0; }
    // The monotonic clock, in nanoseconds: the one deadlines are given on.
    static qint64 nowNs();
    // Key 1..kKeys is due at deadlineNs (replacing an earlier deadline of the key), or no more.
    void arm(int key, qint64 deadlineNs);
    void disarm(int key);
    bool armed(int key) const;
    // The earliest deadline armed, or 0 when none is.
    qint64 earliest() const;

    // How late the deadlines were told, and whose the time was: the machine's, that woke the
    // sleeping thread after the deadline, or the station's, whose work (before the deadline came,
    // or for the keys told before it in the same wake) held it up. Kept once watchLateness() is
    // called: it listens to every turn of the thread's event loop, so only when the figures are
    // wanted.
    struct Lateness {
        static constexpr qint64 kLateNs = 300'000;
        quint64 told = 0;       // deadlines told
        quint64 wokeLate = 0;   // the thread woken more than kLateNs after the deadline
        quint64 heldByWork = 0; // told more than kLateNs after the deadline or the wake, for work
        qint64 maxWokeLateNs = 0;
        qint64 maxHeldNs = 0;
    };
    void watchLateness();
    const Lateness& lateness() const { return lateness_; }

signals:
    void due(int key); // in the order of the deadlines, never before one

private:
    void fired();
    void program();
    void noteLateness(qint64 deadlineNs, qint64 wokeNs, qint64 toldNs);

    int fd_ = -1;
    QSocketNotifier* notifier_ = nullptr;
    std::array<qint64, kKeys> deadlines_{}; // 0: not armed
    qint64 programmed_ = 0;                 // what the timerfd is set to; 0: nothing
    // Telling the due keys: what their handlers arm is programmed once they are all told, so the
    // timerfd is not set for a deadline the same wake then serves.
    bool firing_ = false;
    bool watching_ = false;
    Lateness lateness_;
    qint64 loopTurnNs_ = 0; // when the event loop last began a turn
    qint64 blockedNs_ = 0;  // when it last went to sleep
};

} // namespace tarvek
