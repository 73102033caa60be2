#pragma once
// Where a protocol trace listens to the link: every reply and frame of every engine as it passes.
//
// The link holds one pointer to a tap and calls it only while one is attached, so a station
// without an open trace pays one null test per reply and per frame.
#include <cstddef>
#include <string_view>

namespace tarvek {

enum class TraceDirection { In, Out }; // a reply from the FADEC, a frame to it

class TraceTap {
public:
    virtual ~TraceTap() = default;
    // slot 1..6; bytes as they came in or went out, valid only during the call.
    virtual void traced(int slot, TraceDirection direction, std::string_view bytes) = 0;
};

// Where a recorder listens to the link: every byte as it enters the reply framer or leaves for the
// FADEC, and each moment the framer is told the line went quiet, so that a recording can feed a
// framer again exactly as the port fed it.
class ByteTap {
public:
    virtual ~ByteTap() = default;
    // slot 1..6; bytes valid only during the call.
    virtual void passed(int slot, TraceDirection direction, std::string_view bytes) = 0;
    virtual void lineQuiet(int slot) = 0;
};

} // namespace tarvek
