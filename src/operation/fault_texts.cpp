#include "operation/fault_texts.h"

namespace tarvek {

std::array<QString, kFaultTableSize> faultTextTable()
{
    std::array<QString, kFaultTableSize> t{};
    // Blanks at the ends are part of the texts: they reach the event list and the history as is.
    t[0] = QStringLiteral("Arret LE");
    t[1] = QStringLiteral("Motor M - speed too slow");
    t[2] = QStringLiteral("Motor M - speed too fast");
    t[3] = QStringLiteral("V1 - Fan speed too slow");
    t[4] = QStringLiteral("V1 - Fan speed too fast");
    t[5] = QStringLiteral("V2 - Fan speed too slow");
    t[6] = QStringLiteral("V2 - Fan speed too fast");
    t[7] = QString::fromUtf8("Temp. Magnetron > 50 \u00B0C FADEC internal");
    t[8] = QString::fromUtf8("Temp. Magnetron > 120 \u00B0C FADEC (DS1307)");
    t[9] = QStringLiteral("Motor M - speed > 4,000 RPM ");
    t[10] = QStringLiteral("LPC too high ");
    t[11] = QStringLiteral("Startup failed - LE cooling down ");
    t[12] = QStringLiteral("Phase 7 activated ... CAN-BUS only ");
    t[13] = QStringLiteral("SBV - Setup Battery Voltage < 1.0 V ");
    t[14] = QStringLiteral("Alarm QTH - Lack lamp load");
    t[15] = QStringLiteral("Magnetron - Active cooling required");
    t[16] = QStringLiteral("No contact with i2C Sensors");
    t[17] = QStringLiteral("Overflow - Enabling security (z1+z2+z3)");
    t[18] = QStringLiteral("Stop activated");
    t[19] = QStringLiteral("LFC level too low");
    t[20] = QStringLiteral(" ");
    return t;
}

} // namespace tarvek
