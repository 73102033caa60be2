#pragma once
// The QTH lamp alarm window Halogen (mnuAlarmHalogen): per engine whether the QTH relay alarm is
// armed ("\StatusHalogen.ini"), whether it holds, and the relay feedback against the command sent.
#include "app/alarms/alarm_window.h"

namespace tarvek {

class Halogen : public AlarmWindow {
    Q_OBJECT
public:
    explicit Halogen(Station& station, QWidget* parent = nullptr);

protected:
    void addLimits(QFormLayout* form) override;
    void showLimits(const AlarmLimits&) override {}
    void takeLimits(AlarmLimits&) const override {}
    std::array<bool, kEngines>& armed(AlarmLimits& limits) const override { return limits.qthArmed; }
    QString reading(int engine) const override;
};

} // namespace tarvek
