#pragma once
// The value rows of one engine as the main window shows them, without a widget: what a page,
// a publisher or a historian reads to show the same numbers with the same units.
#include "protocol/engine.h"
#include "settings/software_settings.h"
#include "settings/station_settings.h"

#include <QString>

#include <vector>

namespace tarvek {

struct EngineRow {
    QString name;  // "Motor M", "SHT", "SBV"...
    QString value; // as shown: scaled by the display coefficients when they are in use
    QString unit;  // "°C", "V", "%"... as the row's caption gives it
};

// Motor, fans, MAT, SHT, LPC, LFC, VIS, IR, RH, SBV, VCC, in the main window's order. The fans read
// "n/a" with passive cooling.
std::vector<EngineRow> engineRows(const StationSettings& settings, const SoftwareSettings& software,
                                  const LightEngineRecord& record);

} // namespace tarvek
