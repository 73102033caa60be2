#pragma once
// The software settings of "\ParamLogStart.ini", edited on the form ParamLogicielVB.
//
// File layout, plain lines, one value a line (28 lines):
//   lines  1..6   engine LE1..LE6 takes part in group commands (START/STOP All), "1"/"0"
//   lines  7..12  engine LE1..LE6 has its QTH lamps switched by the QTH button, "1"/"0"
//   lines 13..18  engine LE1..LE6 link supervision (the no-reply watchdog), "1"/"0"
//   lines 19..24  engine LE1..LE6 trend curve visible, "1"/"0"
//   line  25      cooling type: 0 active (fans V1 and V2), 1 passive (no fans fitted)
//   line  26      user-mode option box: a user-mode log-in makes the Service menu available
//   line  27      service-mode option box: a service-mode log-in makes the Service menu and Quit
//                 available and shows the service marker
//   line  28      service-mode time-out limit, in ticks of Timer8 (minutes)
// A missing file gives the defaults below; a short file keeps the defaults of the lines it lacks.
#include <array>

namespace tarvek {

class SettingsFiles;

enum class CoolingType : int { Active = 0, Passive = 1 };

struct SoftwareSettings {
    static constexpr const char* kFileName = "\\ParamLogStart.ini";
    static constexpr int kLineCount = 28;
    static constexpr int kMinTimeOut = 1;
    static constexpr int kMaxTimeOut = 240;

    std::array<bool, 6> groupCommands{true, true, true, true, true, true};
    std::array<bool, 6> qthLamps{true, true, true, true, true, true};
    std::array<bool, 6> linkSupervision{true, true, true, true, true, true};
    std::array<bool, 6> curveVisible{true, true, true, true, true, true};
    CoolingType cooling = CoolingType::Active;
    // Off by default: service functions stay with service technicians unless a station says otherwise.
    bool userModeOption = false;
    bool serviceModeOption = true;
    int serviceTimeOut = 30;

    // Reads the file when it exists; returns false (and keeps the values) when it does not.
    bool load(SettingsFiles& files);
    bool save(SettingsFiles& files) const;

    bool operator==(const SoftwareSettings&) const = default;
};

} // namespace tarvek
