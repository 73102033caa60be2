#pragma once
// The engine values of the main window's columns as a list without widgets: what each row is
// called, where the FADEC reports it, its unit and how the display coefficients turn its raw
// value into what is shown. Recorders and publishers store the raw values and show them this way.
#include "protocol/engine.h"
#include "settings/software_settings.h"
#include "settings/station_settings.h"

#include <QString>

#include <array>
#include <vector>

namespace tarvek {

struct EngineRow {
    const char* key;   // a short stable name for files and columns: "lpc", "motor"...
    int position;      // reply position in LightEngineRecord::reported
    int coefficientRow; // coefficients::Row
    const char* unit;  // of the shown value, as the main window's row caption gives it
};

inline constexpr int kEngineRows = 12;
// In the order of the main window: motor, fans, temperatures, sensors, supply.
const std::array<EngineRow, kEngineRows>& engineRows();

// The row's caption as the main window shows it ("Motor M", "SBV").
QString engineRowName(int row);
// The unit of the shown value: "V", "°C", "×30 rpm"...
QString engineRowUnit(int row);
// The shown value of a raw one: scaled by the coefficients when the display uses them.
double engineRowValue(const StationSettings& settings, int row, double raw);
// The decimals the shown value has.
int engineRowDecimals(const StationSettings& settings, int row);

// One row of an engine as the main window shows it: caption, value as shown, unit.
struct ShownEngineRow {
    QString name;  // "Motor M", "SHT", "SBV"...
    QString value; // scaled by the display coefficients when they are in use
    QString unit;  // as engineRowUnit()
};
// Every row of one engine in the main window's order; the fans read "n/a" with passive cooling.
std::vector<ShownEngineRow> shownEngineRows(const StationSettings& settings, const SoftwareSettings& software,
                                            const LightEngineRecord& record);

} // namespace tarvek
