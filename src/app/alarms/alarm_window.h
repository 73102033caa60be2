#pragma once
// What the three alarm windows share: one row per engine (armed, holds now, the reading it is
// judged on) and the limits below, edited and saved in service mode only. Halogen, ControlLfcAlarm
// and SHTPC add their own limits.
//
// Controls per engine n: Armed<n> (check box), State<n> ("ALARM" or "normal", "---" before the
// first reply), Value<n>; below: SaveLimits and Message (why a save was refused).
#include "station/station.h"

#include <QDialog>

#include <array>

class QCheckBox;
class QFormLayout;
class QLabel;
class QPushButton;
class QTimer;

namespace tarvek {

class AlarmWindow : public QDialog {
    Q_OBJECT
public:
    void refresh();
    // Reads the controls into the limits and saves them; the reason when refused, else empty.
    QString save();

protected:
    AlarmWindow(Station& station, AlarmSource source, const QString& name, const QString& title,
                QWidget* parent);
    // Builds the rows and the limits; call from the derived constructor.
    void build();
    // Sets every control from the stored limits and arming.
    void load();
    virtual void addLimits(QFormLayout* form) = 0;
    virtual void showLimits(const AlarmLimits& limits) = 0;
    virtual void takeLimits(AlarmLimits& limits) const = 0;
    virtual std::array<bool, kEngines>& armed(AlarmLimits& limits) const = 0;
    virtual QString reading(int engine) const = 0;
    Station& station_;

private:
    AlarmSource source_;
    bool service() const { return station_.mode() == OperatingMode::Service; }
    std::array<QCheckBox*, kEngines> armed_{};
    std::array<QLabel*, kEngines> state_{};
    std::array<QLabel*, kEngines> value_{};
    QWidget* limitsBox_ = nullptr;
    QPushButton* save_ = nullptr;
    QLabel* message_ = nullptr;
    QTimer* timer_ = nullptr;
};

} // namespace tarvek
