#pragma once
// A reported value as the station shows it: raw, or scaled by its row of "\Coefficients.ini" when
// "\CocheSelect.ini" holds 1. The main window and the data logger show the same text.
#include "settings/station_settings.h"

#include <QString>

namespace tarvek {

// Rows of "\Coefficients.ini", three values each: offset, factor, decimals.
enum CoefficientRow { RowLpc, RowLfc, RowVis, RowIr, RowRh, RowSbv, RowVcc, RowMat, RowSht, RowM, RowV1, RowV2 };

QString displayValue(const StationSettings& settings, int raw, int coefficientRow);

} // namespace tarvek
