#pragma once
// The texts shown in the event list for each kind of event a serial port reports.
#include <QString>

#include <array>

namespace tarvek {

// Entries of the port-event table; which serial-library error maps to which is the reply
// handler's business.
enum class PortEvent : int {
    Break = 0,
    CarrierTimeout = 1,
    ClearToSendTimeout = 2,
    DataSetReadyTimeout = 3,
    Framing = 4,
    Overrun = 5,
    ReceiveOverflow = 6,
    Parity = 7,
    TransmitFull = 8,
    ControlBlockError = 9,
    CarrierChanged = 10,
    ClearToSendChanged = 11,
    DataSetReadyChanged = 12,
};
inline constexpr int kPortEventCount = 13;

std::array<QString, kPortEventCount> portEventTextTable();

} // namespace tarvek
