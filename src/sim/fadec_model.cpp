#include "sim/fadec_model.h"

#include "protocol/codec.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tarvek::sim {

namespace {
constexpr double kAmbient = 22.0;
constexpr int kStepMs = 100;         // physics moves in steps of at most this much
constexpr int kFanRunning = 80;      // 2400 rpm while the lamp runs
constexpr int kFanCooling = 100;     // 3000 rpm while cooling down
constexpr double kBattery = 75.0;    // 3.0 V as the battery input reads it
constexpr double kSupply = 50.0;     // 5.0 V
enum Jitter { JMat, JSht, JLpc, JLfc, JVis, JIr, JRh, JSupply };

// Line noise has no digits, blanks, signs or dots, so no field of it converts.
constexpr std::string_view kGarbage =
    "!\"#$%&'()*/:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~\x80\x9f\xa4"
    "\xb5\xc3\xd7\xe9\xff";

// Moves `value` toward `target` as a first-order lag with time constant tau seconds.
void follow(double& value, double target, double tau, double seconds)
{
    value += (target - value) * (1.0 - std::exp(-seconds / tau));
}

int rounded(double v) { return static_cast<int>(std::lround(std::max(0.0, v))); }
} // namespace

FadecModel::FadecModel(std::uint32_t seed) : registers_(defaultRegisters()), random_(seed)
{
    power_ = registers_[23];
}

double FadecModel::noise(double amplitude)
{
    const double unit = static_cast<double>(random_()) / static_cast<double>(std::mt19937::max());
    return (unit * 2.0 - 1.0) * amplitude;
}

int FadecModel::phaseDurationMs(int phase) const
{
    switch (phase) {
    case 1: return registers_[18] * kRegisterTimeUnitMs;
    case 2: return registers_[19] * kRegisterTimeUnitMs;
    case 3: return registers_[20] * kRegisterTimeUnitMs;
    case 4: return kWarmUpMs;
    case 6: return kCoolingMs;
    default: return 0; // phases 0 and 5 last until the station asks otherwise
    }
}

void FadecModel::setFaultCode(int code)
{
    injectedFault_ = std::clamp(code, 0, kMaxFaultCode);
}

void FadecModel::dropByte(int position)
{
    dropPosition_ = position < 0 ? -1 : std::min(position, kReplyLength - 1);
}

bool FadecModel::timedPhase() const
{
    return (phase_ >= 1 && phase_ <= 4) || phase_ == 6;
}

int FadecModel::derivedFault() const
{
    if (phase_ == 0)
        return 0;
    if (tachoM_ > kMaxMotorSpeed + 0.5)
        return 9;
    if (mat_ > registers_[26])
        return 8;
    if (phase_ == 6)
        return 18;
    return 20;
}

int FadecModel::faultCode() const
{
    if (injectedFault_ != 0)
        return injectedFault_;
    if (startRefused_)
        return 11;
    if (overflow_)
        return 17;
    return derivedFault();
}

void FadecModel::startSequence()
{
    // The Stamp adds the three start times in one byte.
    if (registers_[18] + registers_[19] + registers_[20] > 255) {
        overflow_ = true;
        return;
    }
    overflow_ = false;
    power_ = registers_[23];
    phase_ = 1;
    phaseElapsedMs_ = 0;
}

bool FadecModel::startLocally()
{
    if (phase_ != 0)
        return false;
    startSequence();
    return true;
}

void FadecModel::beginCooling()
{
    phase_ = 6;
    phaseElapsedMs_ = 0;
}

bool FadecModel::frame(std::string_view bytes)
{
    if (bytes.size() != static_cast<std::size_t>(kFrameLength) || bytes[32] != '\r' ||
        bytes[33] != '\n') {
        ++counts_.rejectedFrames;
        return false;
    }
    ++counts_.frames;
    lastFrame_.assign(bytes);
    const auto b = frameBytes(bytes);

    // A parameter write carries registers in every position: none of them is a command.
    if (b[0] == static_cast<std::uint8_t>(CommandCode::WriteParameters)) {
        for (std::size_t i = 1; i < kParameterCount; ++i)
            registers_[i] = b[i];
        ++counts_.parameterWrites;
        return true;
    }
    if (b[0] == static_cast<std::uint8_t>(CommandCode::ReadParameters)) {
        parameterBlockNext_ = true;
        ++counts_.parameterReads;
    }

    runRequest_ = b[pos::RunRequest];
    if (runRequest_ != 1)
        startArmed_ = true;
    if (runRequest_ == 1 && startArmed_) {
        if (phase_ == 0)
            startSequence();
        else if (phase_ == 6) {
            startRefused_ = true;
            startArmed_ = false;
        }
    } else if (runRequest_ == 2 && phase_ >= 1 && phase_ <= 5 && !keepRunning_) {
        beginCooling();
    }

    if (phase_ == 5 && b[pos::Power] >= 30 && b[pos::Power] <= 130)
        power_ = b[pos::Power];
    qth_ = b[pos::QthRelay] != 0 ? 1 : 0;
    if (b[pos::AlarmRelay] == 1) {
        injectedFault_ = 0;
        overflow_ = false;
    }
    regulation_ = b[pos::Lpc] != 0 ? 1 : 0;
    motorSetPoint_ = b[pos::MotorSpeedSetPoint];
    mode_ = b[pos::Cooling];
    return true;
}

void FadecModel::advance(int ms)
{
    for (;;) {
        // A timed phase whose time is up ends before any more time passes (z = 0 skips it).
        while (timedPhase() && phaseElapsedMs_ >= phaseDurationMs(phase_)) {
            phase_ = phase_ == 6 ? 0 : phase_ + 1;
            phaseElapsedMs_ = 0;
            if (phase_ == 0)
                startRefused_ = false;
        }
        if (ms <= 0)
            break;
        int chunk = std::min(ms, kStepMs);
        if (timedPhase())
            chunk = std::min(chunk, phaseDurationMs(phase_) - phaseElapsedMs_);
        step(chunk);
        ms -= chunk;
        phaseElapsedMs_ += chunk;
    }
}

void FadecModel::step(int ms)
{
    const double s = ms / 1000.0;
    const bool lampOn = phase_ >= 3 && phase_ <= 5;
    const bool coolingAtRest = phase_ == 0 && mode_ == kCoolingAtRest;
    const bool turning = (phase_ >= 1 && phase_ <= 6) || coolingAtRest;

    const double motorTarget =
        turning ? (motorSetPoint_ > 0 ? motorSetPoint_ : kFixedMotorSpeed) : 0.0;
    const double fanTarget = phase_ == 6 ? kFanCooling : (turning ? kFanRunning : 0.0);
    follow(tachoM_, motorTarget, 0.8, s);
    follow(tachoV1_, fanTarget, 0.6, s);
    follow(tachoV2_, fanTarget, 0.6, s);

    double lpcTarget = 0;
    if (phase_ == 3)
        lpcTarget = registers_[30];
    else if (phase_ == 4)
        lpcTarget = registers_[30] + 10.0;
    else if (phase_ == 5)
        lpcTarget = 45.0 + 0.6 * power_;
    follow(lpc_, lpcTarget, lampOn ? 0.5 : 0.2, s);
    // The light feedback builds up during the warm-up, so a lamp that reaches phase 5 is above the
    // station's default LFC alarm limit of 30.
    follow(lfc_, (phase_ == 4 || phase_ == 5) ? 35.0 + 0.3 * power_ : 0.25 * lpc_, 0.5, s);
    vis_ = 0.8 * lpc_;
    follow(ir_, 0.5 * lpc_ + (qth_ ? 40.0 : 0.0), 0.7, s);

    double matTarget = kAmbient;
    double matTau = 20.0;
    if (phase_ == 1 || phase_ == 2) {
        matTarget = kAmbient + 10.0;
        matTau = 8.0;
    } else if (phase_ == 3 || phase_ == 4) {
        matTarget = kAmbient + 25.0;
        matTau = 8.0;
    } else if (phase_ == 5) {
        matTarget = kAmbient + 10.0 + 0.6 * power_;
        matTau = 8.0;
    } else if (phase_ == 6) {
        matTau = 1.5; // fans at full speed
    }
    follow(mat_, matTarget, matTau, s);
    follow(sht_, kAmbient + 0.2 * (mat_ - kAmbient), 15.0, s);
    follow(rh_, 45.0 + noise(5.0), 30.0, s);

    jitter_[JMat] = noise(0.4);
    jitter_[JSht] = noise(0.4);
    jitter_[JLpc] = lampOn ? noise(1.5) : 0.0;
    jitter_[JLfc] = lampOn ? noise(1.0) : 0.0;
    jitter_[JVis] = lampOn ? noise(1.5) : 0.0;
    jitter_[JIr] = noise(1.0);
    jitter_[JRh] = noise(0.6);
    jitter_[JSupply] = noise(0.6);
}

std::array<int, kReplyFields> FadecModel::statusFields() const
{
    std::array<int, kReplyFields> f{};
    const int fault = faultCode();
    f[pos::ReplyType] = replyType_;
    f[pos::Phase] = phase_;
    f[pos::RunRequest] = runRequest_;
    f[pos::Confirmation] = phase_ >= 1 && phase_ <= 5 ? 1 : 0;
    f[pos::Power] = power_;
    f[pos::NoIncrease] = mat_ > registers_[26] - 10 ? 1 : 0;
    f[pos::QthRelay] = qthRelayFault_ ? 1 - qth_ : qth_;
    f[pos::QthIrState] = qth_ ? (fault == 14 ? 2 : 1) : 0;
    f[pos::AlarmRelay] = fault == 0 || fault == 18 || fault == 20 ? 0 : 1;
    f[pos::FaultCode] = fault;
    f[pos::Mat] = rounded(mat_ + jitter_[JMat]);
    f[pos::Sht] = forcedSht_ >= 0 ? forcedSht_ : rounded(sht_ + jitter_[JSht]);
    f[pos::Lpc] = rounded(lpc_ + jitter_[JLpc]);
    f[pos::Lfc] = forcedLfc_ >= 0 ? forcedLfc_ : rounded(lfc_ + jitter_[JLfc]);
    f[pos::Sbv] = rounded(kBattery + jitter_[JSupply]);
    f[pos::Vcc] = rounded(kSupply + jitter_[JSupply] / 2);
    f[pos::Vis] = rounded(vis_ + jitter_[JVis]);
    f[pos::Ir] = rounded(ir_ + jitter_[JIr]);
    f[pos::Rh] = rounded(rh_ + jitter_[JRh]);
    f[pos::MotorSpeedSetPoint] = motorSetPoint_;
    f[pos::FixedSpeedM] = kFixedMotorSpeed;
    f[pos::StampVersion] = kStampVersion;
    f[pos::TachoM] = rounded(tachoM_);
    f[pos::TachoV1] = rounded(tachoV1_);
    f[pos::TachoV2] = rounded(tachoV2_);
    f[pos::Sync] = kSyncValue;
    f[pos::Cooling] = mode_;
    return f;
}

std::string FadecModel::reply()
{
    if (silent_)
        return {};
    std::string text;
    if (parameterBlockNext_ || unaskedBlocks_ > 0) {
        if (!parameterBlockNext_)
            --unaskedBlocks_;
        text = encodeParameterBlock(registers_);
        if (blockType_ != kParameterReplyType) {
            char cell[16];
            std::snprintf(cell, sizeof cell, "%5d", blockType_ % 100000);
            text.replace(0, kFieldWidth, cell, kFieldWidth);
        }
        parameterBlockNext_ = false;
    } else {
        auto f = statusFields();
        if (noSync_ > 0) {
            f[pos::Sync] = 0;
            --noSync_;
        }
        text = encodeReply(f);
    }
    if (garbage_ > 0) {
        for (char& c : text)
            c = kGarbage[random_() % kGarbage.size()];
        --garbage_;
    }
    if (dropPosition_ != -2) {
        const auto at = dropPosition_ >= 0 ? static_cast<std::size_t>(dropPosition_)
                                           : static_cast<std::size_t>(random_() % text.size());
        text.erase(at, 1);
        dropPosition_ = -2;
    }
    ++counts_.replies;
    return text;
}

} // namespace tarvek::sim
