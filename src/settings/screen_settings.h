#pragma once
// The operator screen's own choices, kept in "\Screen.ini", one number a line:
//   1. the alarm sound: 1 beeps while an alarm waits for acknowledgement, 0 keeps quiet
//   2. minutes without keyboard or mouse after which user mode logs itself out; 0 = never
// Service mode sets both; a missing file is created with the defaults.
#include "settings/settings_files.h"

namespace tarvek {

struct ScreenSettings {
    static constexpr const char* kFileName = "\\Screen.ini";
    static constexpr int kMaxLogoutMinutes = 480;

    bool alarmSound = true;
    int userLogoutMinutes = 0;

    // Reads the file (created with the defaults when missing); values out of range are clamped.
    void load(SettingsFiles& files);
    bool save(SettingsFiles& files) const;
};

} // namespace tarvek
