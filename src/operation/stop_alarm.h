#pragma once
// The stop alarm, armed from the menu entry mnuStopAlarm: Timer11 counts the arming down in the
// entry's caption, then Timer54 watches every engine told to stop (RunCommand 2) that still runs
// in phase 5. Such an engine raises the alarm once: history and List4 line, STOP All's off
// sequence for every checked engine, "Stop Alarm *".
//
// A stop takes a frame and a reply to reach phase 6, so an engine counts as still running once
// it was seen running after its stop on two ticks of Timer54 in a row.
#include "operation/alarm_state.h"
#include "operation/operation_context.h"

#include <QObject>
#include <QTimer>

#include <array>

namespace tarvek {

namespace operation_timing {
inline constexpr int kStopAlarmCountdownMs = 1000; // Timer11: the countdown is in seconds
inline constexpr int kStopAlarmWatchMs = 1000;     // Timer54
} // namespace operation_timing

class StopAlarm : public QObject {
    Q_OBJECT
public:
    enum class State { Off, Counting, Watching, Raised };

    StopAlarm(OperationContext& context, AlarmState& alarms, QObject* parent = nullptr);

    State state() const { return state_; }
    int secondsLeft() const { return counter_; }
    QString caption() const { return caption_; }
    bool raised(int engine) const { return flags_.at(static_cast<std::size_t>(engine - 1)); }
    QTimer* countdownTimer() const { return timer11_; }
    QTimer* watchTimer() const { return timer54_; }

public slots:
    // mnuStopAlarm: arms the alarm, or disarms it while it counts down or watches.
    void toggle();
    // START All: the flags and the caption start afresh.
    void reset();
    void countdownTick();
    void watchTick();

signals:
    void captionChanged(const QString& caption);
    void eventLine(const QString& line);
    void offAllRequested();
    // Engine 1..6 kept running after its stop: the alarm list takes it from here.
    void raisedOn(int engine);

private:
    void setCaption(const QString& caption);

    OperationContext& ctx_;
    AlarmState& alarms_;
    State state_ = State::Off;
    int counter_ = 0;
    QString caption_ = QStringLiteral("Stop Alarm");
    std::array<bool, kEngines> flags_{};
    std::array<int, kEngines> seenRunning_{};
    QTimer* timer11_;
    QTimer* timer54_;
};

} // namespace tarvek
