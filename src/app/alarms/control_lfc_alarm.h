#pragma once
// The LFC alarm window ControlLfcAlarm (mnuAlarmLFC): per engine whether the LFC alarm is armed,
// whether it holds and the LFC level; the low limit on a slider whose top is kept with it
// ("\ConsSliderLCF.ini").
#include "app/alarms/alarm_window.h"

class QSlider;
class QSpinBox;

namespace tarvek {

class ControlLfcAlarm : public AlarmWindow {
    Q_OBJECT
public:
    explicit ControlLfcAlarm(Station& station, QWidget* parent = nullptr);

protected:
    void addLimits(QFormLayout* form) override;
    void showLimits(const AlarmLimits& limits) override;
    void takeLimits(AlarmLimits& limits) const override;
    std::array<bool, kEngines>& armed(AlarmLimits& limits) const override { return limits.lfcArmed; }
    QString reading(int engine) const override;

private:
    QSlider* low_ = nullptr;
    QSpinBox* lowValue_ = nullptr;
    QSpinBox* top_ = nullptr;
};

} // namespace tarvek
