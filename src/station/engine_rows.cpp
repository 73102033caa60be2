#include "station/engine_rows.h"

#include "settings/display_coefficients.h"

namespace tarvek {

std::vector<EngineRow> engineRows(const StationSettings& settings, const SoftwareSettings& software,
                                  const LightEngineRecord& record)
{
    using namespace coefficients;
    struct Shown {
        Row row;
        const char* unit; // as the main window's row captions give it
    };
    static constexpr Shown kOrder[] = {{M, "\u00D730 rpm"}, {V1, "counts"}, {V2, "counts"}, {Mat, "\u00B0C"},
                                       {Sht, "\u00B0C"},    {Lpc, "AU"},     {Lfc, "%"},      {Vis, "W/m\u00B2"},
                                       {Ir, "%"},            {Rh, "%"},       {Sbv, "V"},      {Vcc, "V"}};
    const bool passive = software.cooling == CoolingType::Passive;
    std::vector<EngineRow> rows;
    rows.reserve(std::size(kOrder));
    for (const auto& [row, shownUnit] : kOrder) {
        EngineRow r{rowName(row), {}, QString::fromUtf8(shownUnit)};
        if (passive && (row == V1 || row == V2))
            r.value = QStringLiteral("n/a");
        else
            r.value = displayValue(settings, record.reported[static_cast<std::size_t>(replyPosition(row))], row);
        rows.push_back(std::move(r));
    }
    return rows;
}

} // namespace tarvek
