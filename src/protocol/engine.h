#pragma once
// The per-engine record and the station's engine tables: plain C++, shared with the simulator.
#include <array>
#include <cstdint>
#include <string>

namespace tarvek {

inline constexpr int kEngines = 6;          // LE1..LE6 use indices 0..5
inline constexpr int kEngineTableSize = 7;  // tables hold indices 0..6; 6 is never addressed
inline constexpr int kFrameBufferSize = 35; // frame buffer positions 0..34
inline constexpr int kReplyFields = 32;
inline constexpr int kFieldWidth = 5;
inline constexpr int kReplyLength = kReplyFields * kFieldWidth; // 160 characters
inline constexpr int kFrameLength = 34;     // positions 0..31, then CR LF
inline constexpr int kSyncValue = 123;      // '{' at position 30 marks a good reply
inline constexpr int kParameterCount = 32;

enum class OperatingMode : std::uint8_t { User = 0, Service = 1, NotLoggedIn = 2 };

// The parameter request carried at frame position 0 for the selected engine.
enum class CommandCode : std::uint8_t { None = 0, WriteParameters = 1, ReadParameters = 2 };

// What each of the 32 positions of a reply (and of the frame that answers it) carries.
namespace pos {
inline constexpr int ReplyType = 0, Phase = 1, RunRequest = 2, Confirmation = 3, Power = 4,
                     NoIncrease = 5, QthRelay = 6, QthIrState = 7, AlarmRelay = 8, FaultCode = 9,
                     Mat = 10, Sht = 11, Lpc = 12, Lfc = 13, Sbv = 14, Vcc = 15, Vis = 16, Ir = 17,
                     Rh = 18, MotorSpeedSetPoint = 24, FixedSpeedM = 25, StampVersion = 26,
                     TachoM = 27, TachoV1 = 28, TachoV2 = 29, Sync = 30, Cooling = 31;
}

struct LightEngineRecord {
    // Shared by both directions: replies land here, the frame is sent from here.
    std::array<std::uint16_t, kFrameBufferSize> frame{};

    // Command fields, copied over their positions by the sender.
    std::uint8_t RunCommand = 0;         // 1 start, 2 stop
    std::uint8_t PowerSetPoint = 0;      // tens of We, 30..130; sent in phase 5 only
    std::uint8_t QthCommand = 0;
    std::uint8_t AlarmResetCommand = 0;
    std::uint8_t RegulationCommand = 0;
    std::uint8_t MotorSpeedSetPoint = 0; // rpm / 30
    std::uint8_t ModeCode = 0;

    // Status fields, filled from replies.
    std::uint8_t ReplySeen = 0;          // 123 after a good reply, else 0
    std::uint8_t Phase = 0;
    std::uint8_t ReplyType = 0;
    std::int16_t FaultCode = 0;
    // Every position as last converted from a status reply (never from a register block, a reply
    // of type 2), kept apart from the frame buffer because the sender overwrites the command
    // positions there. Phase and FaultCode, too, come from status replies only.
    std::array<std::int16_t, kReplyFields> reported{};
    bool everReported = false;           // false until a first status reply was decoded

    std::array<std::uint8_t, kParameterCount + 1> ParameterImage{};
    std::array<std::uint8_t, kFrameBufferSize> lastReceived{};
    std::array<std::uint8_t, kFrameBufferSize> lastSent{};
    std::string rawReply;

    bool parameterReadPending = false;   // a read request went out; the next type-2 reply answers it
    // A read of this engine's parameter block asked for by a start, whichever engine is selected;
    // the next frame to this engine carries it at position 0.
    bool parameterReadRequest = false;
};

// The seven-entry tables plus the values the station keeps once, not per engine.
class EngineTables {
public:
    // Throws std::out_of_range for an index outside 0..6.
    LightEngineRecord& at(int index);
    const LightEngineRecord& at(int index) const;

    // Engine chosen on the main window, 1..6; 0 while none is chosen.
    std::int16_t selectedEngine = 0;
    std::uint8_t commandCode = 0; // CommandCode as a byte, as it travels
    OperatingMode mode = OperatingMode::NotLoggedIn;
    // The parameter form's values for registers 0..31, sent by a parameter write.
    std::array<std::uint8_t, kParameterCount> parameterEntries{};

    bool isSelected(int index) const { return selectedEngine - 1 == index; }

private:
    std::array<LightEngineRecord, kEngineTableSize> records_{};
};

} // namespace tarvek
