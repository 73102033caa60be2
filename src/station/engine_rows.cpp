#include "station/engine_rows.h"

#include "settings/display_coefficients.h"

namespace tarvek {

std::vector<EngineRow> engineRows(const StationSettings& settings, const SoftwareSettings& software,
                                  const LightEngineRecord& record)
{
    using namespace coefficients;
    static constexpr Row kOrder[] = {M, V1, V2, Mat, Sht, Lpc, Lfc, Vis, Ir, Rh, Sbv, Vcc};
    const bool passive = software.cooling == CoolingType::Passive;
    std::vector<EngineRow> rows;
    rows.reserve(std::size(kOrder));
    for (Row row : kOrder) {
        EngineRow r{rowName(row), {}, unit(row).trimmed()};
        if (passive && (row == V1 || row == V2))
            r.value = QStringLiteral("n/a");
        else
            r.value = displayValue(settings, record.reported[static_cast<std::size_t>(replyPosition(row))], row);
        rows.push_back(std::move(r));
    }
    return rows;
}

} // namespace tarvek
