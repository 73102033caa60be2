#include "maintenance/hardware_tests.h"

#include "recording/history.h"
#include "recording/named_timer.h"

#include <cstdlib>

namespace tarvek {

namespace {
int reported(const LightEngineRecord& r, int position) { return r.reported[static_cast<std::size_t>(position)]; }
int byteAt(const QByteArray& frame, int position)
{
    return position < frame.size() ? static_cast<unsigned char>(frame.at(position)) : -1;
}
} // namespace

HardwareTests::HardwareTests(EngineTables& tables, History& history, const Clock& clock, Hooks hooks, QObject* parent)
    : QObject(parent), tables_(tables), history_(history), clock_(clock), hooks_(std::move(hooks))
{
    setObjectName(QStringLiteral("HardwareTests"));
    timer_ = namedTimer(this, QStringLiteral("TimerTests"), kTimeLimitMs, true);
    connect(timer_, &QTimer::timeout, this, [this] {
        end(TestState::Failed, QStringLiteral("no such answer within %1 s").arg(timer_->interval() / 1000) +
                                   (lastSeen_.isEmpty() ? QString() : QStringLiteral("; last seen: ") + lastSeen_));
    });
}

QString HardwareTests::name(HardwareTest test)
{
    switch (test) {
    case HardwareTest::QthLamps: return QStringLiteral("QTH lamps");
    case HardwareTest::AlarmReset: return QStringLiteral("Alarm reset");
    case HardwareTest::MotorAndFans: return QStringLiteral("Motor and fans");
    }
    return {};
}

QString HardwareTests::stateText(TestState s)
{
    switch (s) {
    case TestState::Idle: return QStringLiteral("ready");
    case TestState::Commanding: return QStringLiteral("sending the command");
    case TestState::Judging: return QStringLiteral("waiting for the FADEC's answer");
    case TestState::Releasing: return QStringLiteral("switching back off");
    case TestState::Passed: return QStringLiteral("passed");
    case TestState::Failed: return QStringLiteral("FAILED");
    case TestState::Aborted: return QStringLiteral("aborted");
    }
    return {};
}

bool HardwareTests::running() const
{
    return run_.state == TestState::Commanding || run_.state == TestState::Judging ||
           run_.state == TestState::Releasing;
}

bool HardwareTests::checkAtRest(int engine)
{
    if (engine < 1 || engine > kEngines)
        return false;
    if (hooks_.portOpen && !hooks_.portOpen(engine)) {
        emit warning(QStringLiteral(" Warning ! "), QStringLiteral("The Port Com%1 is not activated ! ").arg(engine));
        return false;
    }
    return checkPhase(engine);
}

bool HardwareTests::checkPhase(int engine)
{
    if (engine < 1 || engine > kEngines)
        return false;
    const LightEngineRecord& r = tables_.at(engine - 1);
    // An engine that has not answered yet has no known phase: it is not known to be at rest.
    if (!r.everReported || r.Phase != 0 || (hooks_.startPending && hooks_.startPending(engine))) {
        emit warning(QStringLiteral(" Warning!"), phaseRefusal());
        return false;
    }
    return true;
}

bool HardwareTests::run(int engine, HardwareTest test, int motorRpm)
{
    if (engine < 1 || engine > kEngines)
        return false;
    if (running()) {
        emit warning(QStringLiteral(" Warning!"),
                     QStringLiteral("A test is running on LE%1: wait for its end or stop it").arg(run_.engine));
        return false;
    }
    if (test == HardwareTest::MotorAndFans && (motorRpm < kMinMotorRpm || motorRpm > kMaxMotorRpm)) {
        emit warning(QStringLiteral(" Warning!"), QStringLiteral("Motor M speed from %1 to %2 rpm")
                                                      .arg(kMinMotorRpm)
                                                      .arg(kMaxMotorRpm));
        return false;
    }
    if (!checkAtRest(engine))
        return false;
    run_ = TestRun{test, engine, TestState::Commanding, motorRpm, {}};
    LightEngineRecord& r = record();
    savedQth_ = r.QthCommand;
    savedReset_ = r.AlarmResetCommand;
    savedMode_ = r.ModeCode;
    savedMotor_ = r.MotorSpeedSetPoint;
    irBefore_ = reported(r, pos::Ir);
    lastSeen_.clear();
    sent_ = false;
    inBand_ = 0;
    apply();
    journal(QStringLiteral("begun"));
    timer_->start(test == HardwareTest::MotorAndFans ? kMotorTimeLimitMs : kTimeLimitMs);
    emit changed();
    return true;
}

void HardwareTests::apply()
{
    LightEngineRecord& r = record();
    switch (run_.test) {
    case HardwareTest::QthLamps: r.QthCommand = run_.state == TestState::Releasing ? 0 : 1; break;
    case HardwareTest::AlarmReset: r.AlarmResetCommand = 1; break;
    case HardwareTest::MotorAndFans:
        r.ModeCode = kCoolingAtRest;
        r.MotorSpeedSetPoint = static_cast<std::uint8_t>(run_.motorRpm / kRpmUnit);
        break;
    }
}

void HardwareTests::restore()
{
    LightEngineRecord& r = record();
    switch (run_.test) {
    case HardwareTest::QthLamps: r.QthCommand = savedQth_; break;
    case HardwareTest::AlarmReset: r.AlarmResetCommand = savedReset_; break;
    case HardwareTest::MotorAndFans:
        r.ModeCode = savedMode_;
        r.MotorSpeedSetPoint = savedMotor_;
        break;
    }
}

bool HardwareTests::carries(const QByteArray& frame) const
{
    switch (run_.test) {
    case HardwareTest::QthLamps: return byteAt(frame, pos::QthRelay) == (run_.state == TestState::Releasing ? 0 : 1);
    case HardwareTest::AlarmReset: return byteAt(frame, pos::AlarmRelay) == 1;
    case HardwareTest::MotorAndFans:
        return byteAt(frame, pos::Cooling) == kCoolingAtRest &&
               byteAt(frame, pos::MotorSpeedSetPoint) == run_.motorRpm / kRpmUnit;
    }
    return false;
}

void HardwareTests::onFrameSent(int engine, const QByteArray& frame)
{
    if (!running() || engine != run_.engine || sent_ || !carries(frame))
        return;
    sent_ = true;
    if (run_.state == TestState::Commanding) {
        run_.state = TestState::Judging;
        emit changed();
    }
}

void HardwareTests::onReply(int engine, bool good, int replyType)
{
    if (!running() || engine != run_.engine || !good || replyType == 2)
        return;
    const LightEngineRecord& r = tables_.at(engine - 1);
    if (r.Phase != 0) {
        end(TestState::Aborted, QStringLiteral("LE%1 left phase 0 (phase %2)").arg(engine).arg(r.Phase));
        return;
    }
    // Only a reply to a frame that carried the command says anything about it.
    if (sent_)
        judge(r);
}

bool HardwareTests::judge(const LightEngineRecord& r)
{
    switch (run_.test) {
    case HardwareTest::QthLamps: {
        const int relay = reported(r, pos::QthRelay), state = reported(r, pos::QthIrState);
        lastSeen_ = QStringLiteral("QTH relay %1, QTH and IR %2").arg(relay).arg(state);
        if (run_.state == TestState::Judging) {
            if (relay == 1 && state == 2) {
                end(TestState::Failed, QStringLiteral("QTH relay on with the QTH and IR alarm on"));
                return true;
            }
            if (relay == 1 && state == 1) {
                run_.detail = QStringLiteral("IR %1 -> %2").arg(irBefore_).arg(reported(r, pos::Ir));
                run_.state = TestState::Releasing;
                sent_ = false;
                apply();
                emit changed();
            }
            return false;
        }
        if (relay == 0) {
            end(TestState::Passed, QStringLiteral("relay on and off, ") + run_.detail);
            return true;
        }
        return false;
    }
    case HardwareTest::AlarmReset: {
        const int relay = reported(r, pos::AlarmRelay);
        lastSeen_ = QStringLiteral("alarm relay %1, fault code %2").arg(relay).arg(r.FaultCode);
        if (relay == 0) {
            end(TestState::Passed, QStringLiteral("alarm relay off, fault code %1").arg(r.FaultCode));
            return true;
        }
        return false;
    }
    case HardwareTest::MotorAndFans: {
        const int m = reported(r, pos::TachoM), v1 = reported(r, pos::TachoV1), v2 = reported(r, pos::TachoV2);
        const int target = run_.motorRpm / kRpmUnit;
        // The main window's units: M in units of 30 rpm with the rpm typed beside it, fans in counts.
        lastSeen_ = QStringLiteral("M %1 \u00D730 rpm (%2 rpm), V1 %3 counts, V2 %4 counts")
                        .arg(m)
                        .arg(m * kRpmUnit)
                        .arg(v1)
                        .arg(v2);
        // Two replies in a row within the band: a motor that only sweeps through it does not pass.
        inBand_ = std::abs(m - target) * 10 <= target && v1 > 0 && v2 > 0 ? inBand_ + 1 : 0;
        if (inBand_ >= kRepliesInBand) {
            end(TestState::Passed, lastSeen_ + QStringLiteral(" for %1 rpm").arg(run_.motorRpm));
            return true;
        }
        return false;
    }
    }
    return false;
}

void HardwareTests::abort(const QString& why)
{
    if (running())
        end(TestState::Aborted, why);
}

void HardwareTests::end(TestState state, const QString& detail)
{
    if (!running())
        return;
    timer_->stop();
    restore();
    run_.state = state;
    run_.detail = detail;
    journal(stateText(state) + QStringLiteral(", ") + detail);
    emit changed();
    emit finished(run_);
}

void HardwareTests::journal(const QString& text)
{
    history_.append(QStringLiteral("0"), QStringLiteral("  Test LE %1 %2: %3   %4")
                                             .arg(run_.engine)
                                             .arg(name(run_.test), text, clock_.timeText()));
}

} // namespace tarvek
