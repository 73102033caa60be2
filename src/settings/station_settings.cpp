#include "settings/station_settings.h"

namespace tarvek {

void StationSettings::loadPorts(SettingsFiles& files)
{
    const QStringList v = files.readValues("\\ParamComx.ini");
    for (int k = 0; k < 6; ++k) {
        if (2 * k < v.size())
            portNumbers[static_cast<std::size_t>(k)] = v[2 * k].trimmed();
        if (2 * k + 1 < v.size())
            portEnabled[static_cast<std::size_t>(k)] = v[2 * k + 1].trimmed();
    }
}

bool StationSettings::savePorts(SettingsFiles& files) const
{
    QStringList v;
    for (int k = 0; k < 6; ++k)
        v << portNumbers[static_cast<std::size_t>(k)] << portEnabled[static_cast<std::size_t>(k)];
    return files.writeValues("\\ParamComx.ini", v, LineFormat::Quoted);
}

void StationSettings::loadAll(SettingsFiles& files)
{
    files.readNumbers("\\ConsignePW.ini", powerSetPoints);
    files.readNumbers("\\StatusHalogen.ini", qthAlarmFlags);
    loadPorts(files);
    files.readNumbers("\\Consigne.ini", std::span<int>(&qthAlarmSetPoint, 1));
    files.readNumbers("\\ConsSliderLCF.ini", lfcSlider);
    files.readStrings("\\NS.ini", loggerSteps);
    files.readNumbers("\\TypeFile.ini", loggerFileType);
    files.readNumbers("\\CocheSelect.ini", std::span<int>(&displayWithCoefficients, 1));
    files.readNumbers("\\Coefficients.ini", coefficients);
    files.readNumbers("\\StartHalogen.ini", std::span<int>(&qthStarted, 1));
    files.ensure("\\Histo.txt");
    files.readNumbers("\\ParamSt.ini", savedRegisters);
    files.readStrings(SettingsFiles::loginFileName(), passwords);
    files.readNumbers("\\SHTConsigne.ini", std::span<int>(&shtSetPoint, 1));
    files.readNumbers("\\SHTPCStatusHal.ini", shtAlarmFlags);
}

} // namespace tarvek
