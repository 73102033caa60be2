#pragma once
// How large the main window shows live values, kept in "\Display.ini" (one line: the point size).
#include "settings/settings_files.h"

namespace tarvek {

struct DisplaySettings {
    static constexpr const char* kFileName = "\\Display.ini";
    // 14 pt bold reads from two metres on a 15-inch 1366x768 screen; larger for a wall or a far desk.
    static constexpr int kDefaultPointSize = 14;
    static constexpr int kMinPointSize = 10;
    static constexpr int kMaxPointSize = 28;

    int valuePointSize = kDefaultPointSize;

    // Reads the file (created with the default when missing); a value out of range is clamped.
    void load(SettingsFiles& files);
    bool save(SettingsFiles& files) const;
};

} // namespace tarvek
