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

} // namespace tarvek
