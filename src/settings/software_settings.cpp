#include "settings/software_settings.h"

#include "settings/settings_files.h"

#include <QFileInfo>

#include <algorithm>

namespace tarvek {

bool SoftwareSettings::load(SettingsFiles& files)
{
    // Written by the form only: a station that never saved it runs on the defaults.
    if (!QFileInfo::exists(files.pathOf(kFileName)))
        return false;
    std::array<int, kLineCount> v{};
    const auto flags = [](const std::array<bool, 6>& a, int* out) {
        for (std::size_t i = 0; i < 6; ++i)
            out[i] = a[i] ? 1 : 0;
    };
    flags(groupCommands, &v[0]);
    flags(qthLamps, &v[6]);
    flags(linkSupervision, &v[12]);
    flags(curveVisible, &v[18]);
    v[24] = static_cast<int>(cooling);
    v[25] = userModeOption ? 1 : 0;
    v[26] = serviceModeOption ? 1 : 0;
    v[27] = serviceTimeOut;

    files.readNumbers(kFileName, v);

    const auto back = [](const int* in, std::array<bool, 6>& a) {
        for (std::size_t i = 0; i < 6; ++i)
            a[i] = in[i] != 0;
    };
    back(&v[0], groupCommands);
    back(&v[6], qthLamps);
    back(&v[12], linkSupervision);
    back(&v[18], curveVisible);
    cooling = v[24] == 1 ? CoolingType::Passive : CoolingType::Active;
    userModeOption = v[25] != 0;
    serviceModeOption = v[26] != 0;
    serviceTimeOut = std::clamp(v[27], kMinTimeOut, kMaxTimeOut);
    return true;
}

bool SoftwareSettings::save(SettingsFiles& files) const
{
    QStringList lines;
    for (const auto* a : {&groupCommands, &qthLamps, &linkSupervision, &curveVisible})
        for (bool b : *a)
            lines << QString::number(b ? 1 : 0);
    lines << QString::number(static_cast<int>(cooling)) << QString::number(userModeOption ? 1 : 0)
          << QString::number(serviceModeOption ? 1 : 0) << QString::number(serviceTimeOut);
    return files.writeValues(kFileName, lines, LineFormat::Plain);
}

} // namespace tarvek
