#pragma once
// The start-step debugger behind EspionStart: for each engine, its last start followed phase by
// phase, with the time each step took on the station's clock against what the registers z1, z2
// and z3 (18..20, tenths of a second) ask for.
//
// A trace is a small state machine per engine:
//   Idle --start pressed--> Reading (the parameter read before the start)
//   Reading --parameters read, run request set--> Requested
//   Requested / Idle at phase 0 --phase 1..4 reported--> Following
//   Following --phase 5--> Reached      Following --phase 0 or 6--> Ended (the start failed)
// A start the station did not ask for (or one already under way when the station began to listen)
// is followed from the first phase it reports.
#include "protocol/parameter_block.h"
#include "recording/clock.h"

#include <QDateTime>
#include <QObject>
#include <QString>

#include <array>
#include <vector>

namespace tarvek {

enum class SpyState { Idle, Reading, Requested, Following, Reached, Ended };
enum class StepVerdict { Pending, Running, Ok, Slow, Short, NotSeen, Info };

struct StartStep {
    QString name;
    qint64 expectedMs = -1; // -1: nothing to compare with
    qint64 measuredMs = -1; // -1: not measured (yet)
    StepVerdict verdict = StepVerdict::Info;
};

struct StartTrace {
    SpyState state = SpyState::Idle;
    QDateTime pressed;                     // the start button (or START All) asked for it
    QDateTime requested;                   // the parameters were read; the start goes out
    // Each phase the replies reported while following, in order, with the first reply of it.
    std::vector<std::pair<int, QDateTime>> path;
    std::array<int, 3> z{};                // z1, z2, z3 in tenths of a second
    bool zFromRegisters = false;           // false: the factory defaults, no read was seen
    int lastPhase = 0;
    int endPhase = -1;                     // Ended: the phase the start fell back to
    int faultCode = 0;                     // as last reported while following
};

class StartSpy : public QObject {
    Q_OBJECT
public:
    static constexpr int kEngines = 6;
    static constexpr int kTimeUnitMs = 100; // z registers count tenths of a second
    // A step is judged slow (or short) beyond this: one reply cycle either side, and a tenth.
    static constexpr qint64 kToleranceMs = 500;

    explicit StartSpy(const Clock& clock, QObject* parent = nullptr);

    const StartTrace& trace(int engine) const { return traces_.at(index(engine)); }

    // What the station saw, engine 1..6.
    void startPressed(int engine);
    void startRequested(int engine);
    void startCancelled(int engine);
    // The registers z1..z3 as last read from (or written to) the engine's controller.
    void registersKnown(int engine, int z1, int z2, int z3);
    // A good status reply: its phase and fault code.
    void observe(int engine, int phase, int faultCode);

    // The rows the window shows: parameter read, start to phase 1, phases 1 to 4, the total.
    // `now` measures a step still running.
    static std::vector<StartStep> steps(const StartTrace& trace, const QDateTime& now);
    // The step furthest past what it should take, or -1 when none is slow.
    static int slowest(const std::vector<StartStep>& steps);
    static QString verdictText(StepVerdict v);
    static QString stateText(const StartTrace& trace, int engine);
    // "2.3 s"
    static QString seconds(qint64 ms);

signals:
    void changed(int engine);

private:
    static std::size_t index(int engine) { return static_cast<std::size_t>(engine - 1); }
    void begin(StartTrace& t);

    const Clock& clock_;
    std::array<StartTrace, kEngines> traces_{};
    std::array<std::array<int, 3>, kEngines> known_{};
    std::array<bool, kEngines> registersSeen_{};
    std::array<int, kEngines> phase_{};
};

} // namespace tarvek
