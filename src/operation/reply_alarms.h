#pragma once
// The SHT and LFC alarms a reply reports, judged by the station's own rules:
//   SHT: the SHT temperature (position 11, degrees C) is above the set-point of "\SHTConsigne.ini";
//   LFC: the lamp runs (phase 5) and its LFC (position 13) is below the low set-point, the second
//        line of "\ConsSliderLCF.ini".
// An engine whose alarm is not armed never holds it.
// Only changes are reported, so a held alarm is listed once and its end once.
#include "protocol/engine.h"

#include <array>
#include <vector>

namespace tarvek {

enum class ReplyAlarm { Sht, Lfc };

struct AlarmChange {
    ReplyAlarm alarm;
    bool holds; // true: the alarm has begun; false: it has cleared
};

class ReplyAlarms {
public:
    void setLimits(int shtSetPoint, int lfcLow);
    void setArmed(int index, ReplyAlarm alarm, bool armed);

    // Judges engine index 0..5 on its latest reply; returns what changed.
    std::vector<AlarmChange> judge(int index, const LightEngineRecord& record);
    bool holds(int index, ReplyAlarm alarm) const;
    bool holdsAnywhere(ReplyAlarm alarm) const;
    // START All: every engine starts without an alarm.
    void reset() { held_ = {}; }

private:
    int shtSetPoint_ = 40;
    int lfcLow_ = 30;
    std::array<std::array<bool, 2>, kEngines> held_{};
    std::array<std::array<bool, 2>, kEngines> armed_{{{true, true}, {true, true}, {true, true},
                                                      {true, true}, {true, true}, {true, true}}};
};

} // namespace tarvek
