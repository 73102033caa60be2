#pragma once
// The display coefficients of "\Coefficients.ini": twelve rows of offset, factor and decimals that
// turn a reported raw value into what the main window shows, and the one formula that does it.
#include "settings/station_settings.h"

#include <QString>

#include <array>

namespace tarvek {

namespace coefficients {
inline constexpr int kRows = 12;
inline constexpr int kColumns = 3; // offset, factor, decimals
inline constexpr int kValues = kRows * kColumns;
inline constexpr int kMaxDecimals = 6;
enum Row { Lpc, Lfc, Vis, Ir, Rh, Sbv, Vcc, Mat, Sht, M, V1, V2 };
enum Column { Offset, Factor, Decimals };

using Values = std::array<int, kValues>;

// What the row is called on the main window, the reply position it scales, and its unit.
QString rowName(int row);
int replyPosition(int row);
QString unit(int row);

inline int& at(Values& v, int row, int column) { return v[static_cast<std::size_t>(kColumns * row + column)]; }
inline int at(const Values& v, int row, int column) { return v[static_cast<std::size_t>(kColumns * row + column)]; }

// raw x factor / 10^decimals + offset, with the row's decimals (clamped to 0..6).
// The factor counts in units of the last shown decimal: "0, 4, 2" reads raw x 0.04.
QString number(int raw, const Values& values, int row);
// The same followed by the row's unit.
QString shown(int raw, const Values& values, int row);
// What the main window shows for a raw value: scaled when the display uses the coefficients.
QString displayed(int raw, const Values& values, int row, bool withCoefficients);

// The defaults the file is created with.
const Values& defaults();
// The coefficients the station holds now.
Values inUse(const StationSettings& settings);
} // namespace coefficients

// A reported value as the main window and the data logger show it, without its unit: raw, or
// scaled by its row when "\CocheSelect.ini" holds 1.
QString displayValue(const StationSettings& settings, int raw, int row);

} // namespace tarvek
