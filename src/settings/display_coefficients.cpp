#include "settings/display_coefficients.h"

#include "protocol/engine.h"

#include <algorithm>
#include <cmath>

namespace tarvek::coefficients {

namespace {
struct RowInfo {
    const char* name;
    int position;
    const char* unit;
};
constexpr std::array<RowInfo, kRows> kInfo{{
    {"LPC", pos::Lpc, ""},
    {"LFC", pos::Lfc, ""},
    {"VIS", pos::Vis, ""},
    {"IR", pos::Ir, ""},
    {"RH", pos::Rh, ""},
    {"SBV", pos::Sbv, " V"},
    {"VCC", pos::Vcc, " V"},
    {"MAT", pos::Mat, ""},
    {"SHT", pos::Sht, ""},
    {"Motor M", pos::TachoM, ""},
    {"Fan V1", pos::TachoV1, ""},
    {"Fan V2", pos::TachoV2, ""},
}};
const RowInfo& info(int row) { return kInfo.at(static_cast<std::size_t>(row)); }
} // namespace

QString rowName(int row) { return QString::fromLatin1(info(row).name); }
int replyPosition(int row) { return info(row).position; }
QString unit(int row) { return QString::fromLatin1(info(row).unit); }

QString number(int raw, const Values& values, int row)
{
    const int decimals = std::clamp(at(values, row, Decimals), 0, kMaxDecimals);
    const double value =
        raw * static_cast<double>(at(values, row, Factor)) / std::pow(10.0, decimals) + at(values, row, Offset);
    return QString::number(value, 'f', decimals);
}

QString shown(int raw, const Values& values, int row) { return number(raw, values, row) + unit(row); }

Values inUse(const StationSettings& settings)
{
    static_assert(std::tuple_size_v<decltype(StationSettings::coefficients)> == kValues);
    Values v{};
    std::copy(settings.coefficients.begin(), settings.coefficients.end(), v.begin());
    return v;
}

QString displayed(int raw, const Values& values, int row, bool withCoefficients)
{
    return withCoefficients ? shown(raw, values, row) : QString::number(raw) + unit(row);
}

const Values& defaults()
{
    static const Values v = [] {
        Values d{};
        for (int row = 0; row < kRows; ++row)
            at(d, row, Factor) = 1;
        at(d, Sbv, Factor) = 4;
        at(d, Sbv, Decimals) = 2;
        return d;
    }();
    return v;
}

} // namespace tarvek::coefficients

namespace tarvek {

QString displayValue(const StationSettings& settings, int raw, int row)
{
    if (settings.displayWithCoefficients != 1)
        return QString::number(raw);
    return coefficients::number(raw, coefficients::inUse(settings), row);
}

} // namespace tarvek
