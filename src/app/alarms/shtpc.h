#pragma once
// The SHT alarm window SHTPC (mnuAlarmPlateau): per engine whether the SHT alarm is armed, whether
// it holds and the SHT temperature; the set-point ("\SHTConsigne.ini") and whether the station
// judges SHT at all ("\SHTPCStatusHal.ini").
#include "app/alarms/alarm_window.h"

class QCheckBox;
class QSpinBox;

namespace tarvek {

class SHTPC : public AlarmWindow {
    Q_OBJECT
public:
    explicit SHTPC(Station& station, QWidget* parent = nullptr);

protected:
    void addLimits(QFormLayout* form) override;
    void showLimits(const AlarmLimits& limits) override;
    void takeLimits(AlarmLimits& limits) const override;
    std::array<bool, kEngines>& armed(AlarmLimits& limits) const override { return limits.shtArmed; }
    QString reading(int engine) const override;

private:
    QSpinBox* setPoint_ = nullptr;
    QCheckBox* judged_ = nullptr;
};

} // namespace tarvek
