#pragma once
// What carries the links when no serial port does: a replay of a recording. With a transport set,
// the link opens no port and writes nothing to a device; the transport hands the bytes in through
// SerialLink::receive() and lineQuiet(), and takes the frames the station answers with.
#include <QString>

#include <string_view>

namespace tarvek {

class LinkTransport {
public:
    virtual ~LinkTransport() = default;
    // What the slot's port label and tips show as its device.
    virtual QString deviceName(int slot) const = 0;
    // A frame the station sends to the engine of slot 1..6; bytes valid only during the call.
    virtual void write(int slot, std::string_view frame) = 0;
};

} // namespace tarvek
