#pragma once
// One simulated FADEC: what it reports, how it obeys the station's frames, and how it misbehaves
// when told to. No I/O and no real time: a transport feeds it frames and asks it for replies, and
// whoever owns it says how much time has passed.
//
// Units chosen for the controller side (the station only echoes or scales them):
//   registers z1, z2, z3 (18, 19, 20)  tenths of a second: phases 1, 2 and 3 last z1, z2 and z3
//                                      (defaults 5.0 s, 2.0 s, 1.5 s); phase 4 lasts kWarmUpMs.
//   position 4                          power in tens of We (30..130), starts at register 23.
//   positions 24, 25, 27                motor M in units of 30 rpm (set-point, fixed speed, tacho).
//   positions 28, 29                    fans V1, V2 in units of 30 rpm.
//   positions 10, 11                    degrees Celsius.
//   positions 12..18                    raw 0..255 sensor counts.
//   position 31 (cooling enable)        1 in phase 0 turns M and both fans at rest, as a hardware
//                                      test asks; other values only echo.
// Fault codes reported without injection: 0 at rest, 20 (nothing to say) while starting or
// running, 18 while cooling after a stop, 11 when a start is asked for during cooling, 17 when
// z1 + z2 + z3 overflows a byte, 9 when M turns faster than 4000 rpm, 8 when MAT passes register 26.
#include "protocol/engine.h"
#include "protocol/parameter_block.h"

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace tarvek::sim {

inline constexpr int kWarmUpMs = 1000;     // phase 4: the lamp settles before power is accepted
inline constexpr int kCoolingMs = 3000;    // phase 6: fans at full speed after a stop
inline constexpr int kRegisterTimeUnitMs = 100;
inline constexpr int kStampVersion = 18;
inline constexpr int kFixedMotorSpeed = 100; // 3000 rpm when the station gives no set-point
inline constexpr int kMaxMotorSpeed = 133;   // 4000 rpm
inline constexpr int kMaxFaultCode = 20;
inline constexpr int kCoolingAtRest = 1;   // position 31: motor and fans turn in phase 0

struct FadecCounts {
    int replies = 0;          // replies handed out (status and parameter blocks)
    int frames = 0;           // frames of 34 bytes ending in CR LF that were applied
    int rejectedFrames = 0;   // anything else handed to frame()
    int parameterWrites = 0;
    int parameterReads = 0;
};

class FadecModel {
public:
    explicit FadecModel(std::uint32_t seed = 1);

    // What goes on the wire for the next reply: normally 160 characters; empty while silenced;
    // altered by the link faults that are pending.
    std::string reply();
    // The 32 values the next status reply carries, without link faults.
    std::array<int, kReplyFields> statusFields() const;

    // Acts on one frame from the station. Returns false (and changes nothing) unless it is
    // exactly 34 bytes ending in CR LF.
    bool frame(std::string_view bytes);

    // Time passes: phases progress, temperatures, sensors and speeds follow.
    void advance(int ms);

    // A start from the machine's own panel (or another station): the start sequence runs as for a
    // start request, from phase 0 only; false elsewhere.
    bool startLocally();

    // Fault injection.
    void setFaultCode(int code);          // 0 clears; 1..20 latches until an alarm reset
    void setSilent(bool on) { silent_ = on; }
    void sendGarbage(int replies = 1) { garbage_ += replies; }
    void dropByte(int position = -1);     // one byte of the next reply is lost; -1 picks one
    void omitSync(int replies = 1) { noSync_ += replies; }
    void setReplyType(int type) { replyType_ = type; }
    void setKeepRunning(bool on) { keepRunning_ = on; }
    // The reply type a parameter block carries at position 0: 2 normally; anything else is a
    // controller that answers a read with the wrong kind of reply.
    void setBlockType(int type) { blockType_ = type; }
    // The next `count` replies are the register block, though no read asked for it.
    void sendBlocks(int count) { unaskedBlocks_ += count; }
    // Alarm triggers: SHT reads DEGREES and LFC reads VALUE while forced (-1 gives the model back);
    // a faulty QTH relay reports the opposite of what the station commands.
    void forceSht(int degrees) { forcedSht_ = degrees; }
    void forceLfc(int value) { forcedLfc_ = value; }
    void setQthRelayFault(bool on) { qthRelayFault_ = on; }
    int forcedSht() const { return forcedSht_; }
    int forcedLfc() const { return forcedLfc_; }
    bool qthRelayFault() const { return qthRelayFault_; }

    // State.
    int phase() const { return phase_; }
    int phaseElapsedMs() const { return phaseElapsedMs_; }
    int faultCode() const;                // as reported at position 9
    int injectedFault() const { return injectedFault_; }
    bool silent() const { return silent_; }
    bool keepsRunning() const { return keepRunning_; }
    int replyType() const { return replyType_; }
    int blockType() const { return blockType_; }
    int power() const { return power_; }
    int motorSetPoint() const { return motorSetPoint_; }
    int qth() const { return qth_; }
    int regulation() const { return regulation_; }
    int mode() const { return mode_; }
    int runRequest() const { return runRequest_; }
    const Registers& registers() const { return registers_; }
    void setRegisters(const Registers& r) { registers_ = r; }
    const std::string& lastFrame() const { return lastFrame_; }
    const FadecCounts& counts() const { return counts_; }
    bool parameterBlockPending() const { return parameterBlockNext_; }
    double tachoM() const { return tachoM_; }
    double mat() const { return mat_; }
    // Length of phase 1..4 or 6 in milliseconds, from the registers.
    int phaseDurationMs(int phase) const;

private:
    void startSequence();
    void beginCooling();
    void step(int ms);
    int derivedFault() const;
    bool timedPhase() const;
    double noise(double amplitude);

    Registers registers_;
    int phase_ = 0;
    int phaseElapsedMs_ = 0;
    int runRequest_ = 0;
    bool startArmed_ = true;   // a start needs a request other than 1 since the last stop
    bool startRefused_ = false; // a start came during cooling
    bool overflow_ = false;     // z1 + z2 + z3 did not fit a byte
    int power_ = 0;
    int qth_ = 0;
    int regulation_ = 0;
    int motorSetPoint_ = 0;
    int mode_ = 0;
    int injectedFault_ = 0;

    // Physics, in their own units.
    double mat_ = 22.0, sht_ = 22.0;
    double lpc_ = 0, lfc_ = 0, vis_ = 0, ir_ = 0, rh_ = 45.0;
    double tachoM_ = 0, tachoV1_ = 0, tachoV2_ = 0;
    std::array<double, 8> jitter_{}; // per-sensor noise, refreshed as time passes

    // Link faults.
    bool silent_ = false;
    int garbage_ = 0;
    int dropPosition_ = -2;    // -2 none pending
    int noSync_ = 0;
    int replyType_ = 0;
    int blockType_ = kParameterReplyType;
    bool keepRunning_ = false;
    int forcedSht_ = -1;
    int forcedLfc_ = -1;
    bool qthRelayFault_ = false;
    bool parameterBlockNext_ = false;
    int unaskedBlocks_ = 0;

    std::string lastFrame_;
    FadecCounts counts_;
    std::mt19937 random_;
};

} // namespace tarvek::sim
