#pragma once
// User mode ends by itself after a time without keyboard or mouse input, when service mode has
// chosen one (0 minutes: never). The window reports every input through noteInput(); the
// station's clock decides when the time is up, checked on each tick of TimerIdle.
#include "recording/clock.h"

#include <QObject>

class QTimer;

namespace tarvek {

class IdleLogout : public QObject {
    Q_OBJECT
public:
    static constexpr int kTickMs = 5'000;

    IdleLogout(const Clock& clock, QObject* parent = nullptr);

    void setMinutes(int minutes);
    int minutes() const { return minutes_; }
    // Arms or disarms the watch: only a user-mode session is logged out.
    void setWatching(bool watching);
    void noteInput();
    // One tick: emits timedOut() once when the session has been idle for the chosen time.
    void check();

signals:
    void timedOut();

private:
    const Clock& clock_;
    QTimer* timer_;
    QDateTime lastInput_;
    int minutes_ = 0;
    bool watching_ = false;
};

} // namespace tarvek
