#pragma once
// How a FADEC answers a parameter read: the one place that knows the parameter-block reply.
//
// A parameter-block reply is an ordinary 160-character reply of type 2:
//   position 0      2, the reply type (and the bank index shown as register 0)
//   positions 1..29 registers 1..29
//   position 30     123, the synchronisation value, as in every reply
//   position 31     register 30 * 256 + register 31, as an unsigned five-digit number
// Registers 30 and 31 share the last field because position 30 must stay the synchronisation
// value. The station ignores position 31 of such a reply for the frame buffer (it is
// overwritten by ModeCode in every frame) and reads the two registers from the raw text.
#include "protocol/engine.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarvek {

inline constexpr int kParameterReplyType = 2;

using Registers = std::array<std::uint8_t, kParameterCount>;

std::string encodeParameterBlock(const Registers& registers);
Registers decodeParameterBlock(std::string_view reply);

// The factory defaults of the 32 registers.
const Registers& defaultRegisters();

} // namespace tarvek
