#include "serial/port_events.h"

namespace tarvek {

std::array<QString, kPortEventCount> portEventTextTable()
{
    // The texts are the station's own, typing slips included: operators know them by sight.
    return {QStringLiteral("A break interrupt signal was received"),
            QStringLiteral("Carrier timerout"),
            QStringLiteral("CTS (Clear to Send) signal timerout"),
            QStringLiteral("Reception signal timerout"),
            QStringLiteral("Frame error"),
            QStringLiteral("Data was lost"),
            QStringLiteral("Receive buffer overload"),
            QStringLiteral("Parity error"),
            QStringLiteral("Send buffer overload"),
            QStringLiteral("DCB reception error"),
            QStringLiteral("Change in pin cd (carrier)"),
            QStringLiteral("Change in pin CTS"),
            QStringLiteral("Change in pin DSR (reception)")};
}

} // namespace tarvek
