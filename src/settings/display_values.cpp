#include "settings/display_values.h"

#include <algorithm>
#include <cmath>

namespace tarvek {

QString displayValue(const StationSettings& s, int raw, int coefficientRow)
{
    if (s.displayWithCoefficients != 1)
        return QString::number(raw);
    const auto at = [&](int k) { return s.coefficients[static_cast<std::size_t>(3 * coefficientRow + k)]; };
    // The factor counts in units of the last shown decimal: "0, 4, 2" reads raw x 0.04.
    const int decimals = std::clamp(at(2), 0, 6);
    const double value = raw * static_cast<double>(at(1)) / std::pow(10.0, decimals) + at(0);
    return QString::number(value, 'f', decimals);
}

} // namespace tarvek
