#pragma once
// The 160-character reply and the 34-byte command frame.
#include "protocol/engine.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace tarvek {

// Converts one reply field leniently: surrounding blanks, a sign and leading zeros are accepted,
// a decimal fraction is rounded to the nearest whole number (halves to even). Anything else,
// including an empty field, does not convert.
std::optional<long> parseNumber(std::string_view text);

// Field k of a reply (characters 5k+1..5k+5), shorter or empty when the text is short.
std::string_view replyField(std::string_view reply, int k);

struct ReplyOutcome {
    bool good = false;            // position 30 held 123
    int replyType = 0;            // position 0 as received
    bool parametersRead = false;  // a pending parameter read was answered
    bool stopRaised = false;      // fault code 3..6 set RunCommand to 2
    int skippedFields = 0;        // fields that did not convert
};

// Decodes one reply into the engine's record.
ReplyOutcome decodeReply(EngineTables& tables, int index, std::string_view reply);

using Frame = std::array<char, kFrameLength>;

struct SendOutcome {
    bool blocked = false;          // no good reply yet: nothing sent, try again later
    bool written = false;          // the frame went to an open port
    bool parameterBlockSent = false;
    Frame bytes{};
};

// One run of an engine's sender: writes the command fields over their frame positions, builds
// the frame, records the last-sent image when the port is open, and clears the parameter request
// of the selected engine. The caller writes `bytes` to the port when `written` is set.
SendOutcome composeFrame(EngineTables& tables, int index, bool portOpen);

// Formats 32 values as a reply, each right-aligned in five characters (used by the simulator).
std::string encodeReply(const std::array<int, kReplyFields>& fields);

// Positions 0..31 of a frame as bytes.
std::array<std::uint8_t, kReplyFields> frameBytes(std::string_view frame);

} // namespace tarvek
