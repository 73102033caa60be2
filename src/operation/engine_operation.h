#pragma once
// Start and stop of one engine from its button ComOperStartLE1..ComOperStartLE6, the parameter
// read that comes before every start, and the button captions that Timer61 keeps true.
//
// The read before a start is a state machine per engine:
//   Idle --start--> Asked (read request in the next frame of that engine; "STOP LE-n")
//   Asked --type-2 reply--> Answered: parameter list filled, RunCommand 1, "  Start LE n"; then Idle
//   Asked --second press, STOP All--> Cancelled: the press is a stop; then Idle
// There is no time-out: an engine that never answers keeps its start waiting until it is stopped.
// A start is only asked of an engine that reports phase 0.
//
// An engine that reports phase 1..6 without a start from this station (it ran before the station
// came up, or while its link was down) is found running: it is shown as such, its button asks
// whether to stop it, and the history has one line when it is found.
#include "maintenance/parameter_list.h"
#include "operation/operation_context.h"
#include "protocol/codec.h"
#include "protocol/parameter_block.h"

#include <QObject>
#include <QTimer>

#include <array>
#include <cstdint>

namespace tarvek {

namespace operation_timing {
inline constexpr int kButtonRefreshMs = 250; // Timer61: button captions follow StartedByUser
inline constexpr int kStartDisplayMs = 100;  // Timer5: the start page of the main display, once
} // namespace operation_timing

enum class StartRead { Idle, Asked, Answered, Cancelled };

class EngineOperation : public QObject {
    Q_OBJECT
public:
    EngineOperation(OperationContext& context, ParameterList& parameters, QObject* parent = nullptr);

    // Per engine 1..6.
    bool startedByUser(int engine) const { return StartedByUser[index(engine)] != 0; }
    StartRead readState(int engine) const { return reads_[index(engine)]; }
    bool foundRunning(int engine) const { return found_[index(engine)]; }
    bool waiting(int engine) const { return readState(engine) == StartRead::Asked; }
    int startAux(int engine) const { return StartAux[index(engine)]; }
    int startParameter(int engine) const { return StartParameter[index(engine)]; }
    static QString caption(int engine, bool started);

    bool rightClickMark() const { return RightClickMark != 0; }
    bool panelToggle() const { return PanelToggle != 0; }
    void clearRightClickMark() { RightClickMark = 0; }

    QTimer* buttonTimer() const { return timer61_; }

public slots:
    // The button of engine n: a start when it reads "START LE-n", a stop when it reads "STOP LE-n".
    void press(int engine);
    // Right-button release over any start/stop button.
    void rightRelease();
    // Steps 3 to 9 of a start (START All brings engines up with these): StartedByUser, the read.
    void beginStart(int engine);
    // A stop from STOP All: RunCommand 2 and a waiting start cancelled; the caller writes the lines.
    void stopFromGroup(int engine);
    // Every reply the link handled for engine n.
    void onReply(int engine, const tarvek::ReplyOutcome& outcome);
    // The operator confirmed the stop of an engine found running.
    void stopFoundRunning(int engine);

signals:
    void warning(const QString& caption, const QString& text);
    // A yes/no question about engine n; a "Yes" comes back through stopFoundRunning().
    void question(int engine, const QString& caption, const QString& text);
    void startedByUserChanged(int engine, bool started);
    void foundRunningChanged(int engine, bool running);
    void statusText(const QString& text);
    // The status picture of an engine shows the wait, and what it showed before when it ends.
    void engineStatus(int engine, const QString& text);
    void engineStatusRestored(int engine);
    // Timer61 and every change: caption and colour of ComOperStartLEn.
    void buttonState(int engine, bool started);
    // A stop went to an engine: the QTH button's follow-up.
    void stopSent(int engine);
    void startBegun(int engine);
    void started(int engine);
    void startCancelled(int engine);
    // An engine that ran is back in phase 0: its rest begins and its faults may be logged again.
    void runEnded(int engine);
    // Timer5: the main display turns to its start page.
    void startPageRequested(int page);
    // PanelToggle flipped: the main display's first (1) or second (2) operation.
    void panelOperation(int which);

private:
    static std::size_t index(int engine) { return static_cast<std::size_t>(engine - 1); }
    void setStarted(int engine, bool on);
    void cancelRead(int engine);
    void finishStart(int engine);
    void stop(int engine);

    OperationContext& ctx_;
    ParameterList& parameters_;
    std::array<std::uint8_t, kEngines> StartedByUser{};
    std::array<std::uint8_t, kEngines> StartAux{};
    std::array<std::uint8_t, kEngines> StartParameter{};
    std::array<StartRead, kEngines> reads_{};
    std::array<int, kEngines> lastPhase_{};
    std::array<bool, kEngines> found_{};
    std::array<bool, kEngines> stopping_{}; // a stop went out; phase 0 has not been seen since
    std::uint8_t RightClickMark = 0;
    std::uint8_t PanelToggle = 0;
    QTimer* timer5_;
    QTimer* timer61_;
};

} // namespace tarvek
