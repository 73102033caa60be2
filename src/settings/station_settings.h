#pragma once
// The values of every settings file, read at start-up in the order of the file index.
#include "settings/settings_files.h"

#include <array>

namespace tarvek {

struct StationSettings {
    std::array<int, 6> powerSetPoints{50, 50, 50, 50, 50, 50}; // "\ConsignePW.ini", tens of We
    std::array<int, 6> qthAlarmFlags{};                         // "\StatusHalogen.ini"
    std::array<QString, 6> portNumbers{"0", "0", "0", "0", "0", "0"}; // "\ParamComx.ini"
    std::array<QString, 6> portEnabled{"0", "0", "0", "0", "0", "0"};
    int qthAlarmSetPoint = 220;                                 // "\Consigne.ini"
    std::array<int, 9> lfcSlider{130, 30, 0, 0, 0, 0, 0, 0, 0}; // "\ConsSliderLCF.ini"
    std::array<QString, 4> loggerSteps{"1.01", "0", "0", "1"};  // "\NS.ini"
    std::array<int, 18> loggerFileType{};                       // "\TypeFile.ini"
    int displayWithCoefficients = 1;                            // "\CocheSelect.ini"
    std::array<int, 36> coefficients{};                         // "\Coefficients.ini"
    int qthStarted = 0;                                         // "\StartHalogen.ini"
    std::array<int, 32> savedRegisters{};                       // "\ParamSt.ini"
    std::array<QString, 2> passwords{"harvests", "dolphin"};    // the log-in file
    int shtSetPoint = 40;                                       // "\SHTConsigne.ini"
    std::array<int, 20> shtAlarmFlags{};                        // "\SHTPCStatusHal.ini"

    // Reads or creates every file of the index, in its order.
    void loadAll(SettingsFiles& files);
    void loadPorts(SettingsFiles& files);
    bool savePorts(SettingsFiles& files) const;
};

} // namespace tarvek
