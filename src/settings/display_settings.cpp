#include "settings/display_settings.h"

#include <algorithm>

namespace tarvek {

void DisplaySettings::load(SettingsFiles& files)
{
    files.readNumbers(QString::fromLatin1(kFileName), std::span<int>(&valuePointSize, 1));
    valuePointSize = std::clamp(valuePointSize, kMinPointSize, kMaxPointSize);
}

bool DisplaySettings::save(SettingsFiles& files) const
{
    return files.writeNumbers(QString::fromLatin1(kFileName), std::span<const int>(&valuePointSize, 1));
}

} // namespace tarvek
