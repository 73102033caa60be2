#include "settings/screen_settings.h"

#include <algorithm>
#include <array>

namespace tarvek {

void ScreenSettings::load(SettingsFiles& files)
{
    std::array<int, 2> values{alarmSound ? 1 : 0, userLogoutMinutes};
    files.readNumbers(QString::fromLatin1(kFileName), values);
    alarmSound = values[0] != 0;
    userLogoutMinutes = std::clamp(values[1], 0, kMaxLogoutMinutes);
}

bool ScreenSettings::save(SettingsFiles& files) const
{
    const std::array<int, 2> values{alarmSound ? 1 : 0, userLogoutMinutes};
    return files.writeNumbers(QString::fromLatin1(kFileName), values);
}

} // namespace tarvek
