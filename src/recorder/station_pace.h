#pragma once
// The pace of a replaying station: its timers run `speed` times faster, so a silence of 8 recorded
// seconds is still a loss at 10x, and they stand still while the replay is paused, so a pause is
// no loss at all. Works on every QTimer below one object (the station).
#include <QHash>
#include <QPointer>
#include <QTimer>

namespace tarvek::recording {

class StationPace {
public:
    explicit StationPace(QObject& root) : root_(root) {}
    void setSpeed(int speed);
    int speed() const { return speed_; }
    // Stops every running timer; thaw() starts them again with their whole interval.
    void freeze();
    void thaw();

private:
    struct Held {
        QPointer<QTimer> timer; // a timer deleted since is passed over
        int baseMs = 0;      // the interval the station gave the timer
        int appliedMs = -1;  // what this pace made of it
        bool frozen = false; // running when frozen
    };
    void apply(Held& held);
    void scan();

    QObject& root_;
    int speed_ = 1;
    bool frozen_ = false;
    QHash<QTimer*, Held> timers_;
};

} // namespace tarvek::recording
