#include "station/engine_rows.h"

#include "protocol/engine.h"
#include "settings/display_coefficients.h"

#include <algorithm>
#include <cmath>

namespace tarvek {

const std::array<EngineRow, kEngineRows>& engineRows()
{
    using namespace coefficients;
    static constexpr std::array<EngineRow, kEngineRows> rows{{
        {"motor", pos::TachoM, M, "\u00D730 rpm"}, {"fan1", pos::TachoV1, V1, "counts"},
        {"fan2", pos::TachoV2, V2, "counts"},      {"mat", pos::Mat, Mat, "\u00B0C"},
        {"sht", pos::Sht, Sht, "\u00B0C"},          {"lpc", pos::Lpc, Lpc, "AU"},
        {"lfc", pos::Lfc, Lfc, "%"},               {"vis", pos::Vis, Vis, "W/m\u00B2"},
        {"ir", pos::Ir, Ir, "%"},                  {"rh", pos::Rh, Rh, "%"},
        {"sbv", pos::Sbv, Sbv, "V"},               {"vcc", pos::Vcc, Vcc, "V"},
    }};
    return rows;
}

namespace {
int coefficientRow(int row) { return engineRows().at(static_cast<std::size_t>(row)).coefficientRow; }
bool scaledDisplay(const StationSettings& settings) { return settings.displayWithCoefficients == 1; }
} // namespace

QString engineRowName(int row) { return coefficients::rowName(coefficientRow(row)); }
QString engineRowUnit(int row) { return QString::fromUtf8(engineRows().at(static_cast<std::size_t>(row)).unit); }

int engineRowDecimals(const StationSettings& settings, int row)
{
    if (!scaledDisplay(settings))
        return 0;
    const auto v = coefficients::inUse(settings);
    return std::clamp(coefficients::at(v, coefficientRow(row), coefficients::Decimals), 0, coefficients::kMaxDecimals);
}

double engineRowValue(const StationSettings& settings, int row, double raw)
{
    if (!scaledDisplay(settings))
        return raw;
    const auto v = coefficients::inUse(settings);
    const int r = coefficientRow(row);
    return raw * coefficients::at(v, r, coefficients::Factor) / std::pow(10.0, engineRowDecimals(settings, row)) +
           coefficients::at(v, r, coefficients::Offset);
}

std::vector<ShownEngineRow> shownEngineRows(const StationSettings& settings, const SoftwareSettings& software,
                                            const LightEngineRecord& record)
{
    const bool passive = software.cooling == CoolingType::Passive;
    std::vector<ShownEngineRow> rows;
    rows.reserve(kEngineRows);
    for (int i = 0; i < kEngineRows; ++i) {
        const EngineRow& row = engineRows().at(static_cast<std::size_t>(i));
        const int r = row.coefficientRow;
        ShownEngineRow shown{engineRowName(i), {}, engineRowUnit(i)};
        if (passive && (r == coefficients::V1 || r == coefficients::V2))
            shown.value = QStringLiteral("n/a");
        else
            shown.value = displayValue(settings, record.reported[static_cast<std::size_t>(row.position)], r);
        rows.push_back(std::move(shown));
    }
    return rows;
}

} // namespace tarvek
