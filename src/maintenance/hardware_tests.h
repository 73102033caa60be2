#pragma once
// The hardware tests behind TestsMateriel: checks a technician runs on an engine at rest, each
// through a command the frame already carries, judged on what the FADEC reports back.
//
//   QTH lamps      QthCommand (6) on, until the reply shows the QTH relay (6) on and the QTH and
//                  IR state (7) on; then off, until the relay shows off. The IR reading before and
//                  after is reported: a lit bank warms the IR sensor.
//   Alarm reset    AlarmResetCommand (8) at 1 until the alarm relay (8) reads off, then 0 again.
//   Motor and fans ModeCode (31) 1, cooling enabled at rest, with the motor set-point (24) the
//                  technician chose; passes once the M tachometer (27) is within 10 % of it and
//                  both fans (28, 29) turn, on two replies in a row. Both fields get their earlier values back afterwards.
// Power (4) and regulation (12) act in phase 5 only and the run request (2) would start the lamp:
// none of those is a test at rest.
//
// A test runs as a state machine: Idle -> Commanding (the command is in the record; waiting for a
// frame carrying it) -> Judging (replies after that frame) [-> Releasing for QTH] -> Passed,
// Failed (no such reply within its time limit) or Aborted (the technician stopped it, the engine
// left phase 0, or its link went). Every end puts the command fields back and writes one history
// line, as the start does.
#include "protocol/engine.h"
#include "recording/clock.h"

#include <QObject>
#include <QTimer>

#include <functional>

namespace tarvek {

class History;

enum class HardwareTest { QthLamps, AlarmReset, MotorAndFans };
enum class TestState { Idle, Commanding, Judging, Releasing, Passed, Failed, Aborted };

struct TestRun {
    HardwareTest test = HardwareTest::QthLamps;
    int engine = 0;
    TestState state = TestState::Idle;
    int motorRpm = 0;
    QString detail; // what the replies showed
};

class HardwareTests : public QObject {
    Q_OBJECT
public:
    static constexpr int kTimeLimitMs = 10'000;        // TimerTests: QTH lamps and alarm reset
    static constexpr int kMotorTimeLimitMs = 20'000;   // the motor needs its time to come up
    static constexpr int kMinMotorRpm = 1000, kMaxMotorRpm = 4000, kDefaultMotorRpm = 3000;
    static constexpr int kRpmUnit = 30;                // set-point and tachometers count 30 rpm
    static constexpr std::uint8_t kCoolingAtRest = 1;  // ModeCode: motor and fans turn at rest
    static constexpr int kRepliesInBand = 2;

    struct Hooks {
        std::function<bool(int engine)> portOpen;
        // The engine is in a start (its parameter read is waiting): not at rest for a test.
        std::function<bool(int engine)> startPending;
    };

    HardwareTests(EngineTables& tables, History& history, const Clock& clock, Hooks hooks,
                  QObject* parent = nullptr);

    static QString name(HardwareTest test);
    static QString phaseRefusal() { return QStringLiteral("Tests can be done when phase (0)! "); }
    static QString stateText(TestState s);

    // Whether engine 1..6 may be tested now (port open, phase 0); when not, the warning is emitted.
    bool checkAtRest(int engine);
    // Only the phase: the engine answered, reports phase 0 and no start is waiting.
    bool checkPhase(int engine);
    // Runs a test; false (with a warning, or nothing for an engine outside 1..6) when refused.
    bool run(int engine, HardwareTest test, int motorRpm = kDefaultMotorRpm);
    void abort(const QString& why = QStringLiteral("stopped by the technician"));
    bool running() const;
    const TestRun& current() const { return run_; }
    QTimer* timeLimit() const { return timer_; }

public slots:
    // A reply the link handled for engine 1..6: good status replies judge the test.
    void onReply(int engine, bool good, int replyType);
    // A frame that went to engine 1..6.
    void onFrameSent(int engine, const QByteArray& frame);

signals:
    void warning(const QString& caption, const QString& text);
    void changed();
    void finished(const tarvek::TestRun& run);

private:
    LightEngineRecord& record() { return tables_.at(run_.engine - 1); }
    void apply();
    void restore();
    bool judge(const LightEngineRecord& r);
    void end(TestState state, const QString& detail);
    void journal(const QString& text);
    bool carries(const QByteArray& frame) const;

    EngineTables& tables_;
    History& history_;
    const Clock& clock_;
    Hooks hooks_;
    TestRun run_;
    QTimer* timer_;
    // The command fields as they were before the test.
    std::uint8_t savedQth_ = 0, savedReset_ = 0, savedMode_ = 0, savedMotor_ = 0;
    int irBefore_ = 0;
    bool sent_ = false; // a frame carrying the step's command went out
    int inBand_ = 0;    // motor and fans: replies in a row within the band
    QString lastSeen_;
};

} // namespace tarvek
