#pragma once
// Bytes the start-up gives to the alarm supervision before any alarm window opens.
#include <cstdint>

namespace tarvek {

struct AlarmState {
    std::uint8_t stopAlarmSeconds = 20; // length of the stop-alarm countdown once armed
    std::uint8_t stopAlarmArmed = 0;
    std::uint8_t qthAlarmActive = 0;
    std::uint8_t lfcAlarmActive = 0;
    std::uint8_t shtAlarmActive = 0;
};

} // namespace tarvek
