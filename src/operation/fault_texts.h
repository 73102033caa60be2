#pragma once
// The texts the station shows for each FADEC fault code.
#include <QString>

#include <array>

namespace tarvek {

inline constexpr int kFaultTableSize = 66;   // codes 0..65; a code above 65 is out of range
inline constexpr int kFaultCodesFilled = 21; // codes 0..20 carry a text, the others are empty
inline constexpr int kFaultStopped = 0;      // "Arret LE": the normal state of an engine at rest
inline constexpr int kFaultStopActivated = 18;

// The whole table, indexed by fault code.
std::array<QString, kFaultTableSize> faultTextTable();

} // namespace tarvek
