#pragma once
// The software settings form ParamLogicielVB, saved to "\ParamLogStart.ini" and "\CocheSelect.ini".
//
// Controls, per engine LE1..LE6 (array index 0..5):
//   CheckGroup_<i>  takes part in group commands (START All LE / STOP All LE)
//   CheckQth_<i>    QTH lamps switched by the QTH button
//   CheckLink_<i>   link supervision (no-reply watchdog and its warning)
//   CheckCurve_<i>  trend curve visible
// and once: OptionCooling_0 / OptionCooling_1 (active / passive cooling), OptionUser (user-mode
// option box), OptionService (service-mode option box), TextTimeOut (service time-out limit in
// minutes), CheckCoefficients (display with coefficients), SpinValueSize (point size of the
// main window's values, "\Display.ini"), Command1 (save), Command2 (close).
#include <QDialog>

#include <array>

class QCheckBox;
class QRadioButton;
class QSpinBox;

namespace tarvek {

class Station;
struct SoftwareSettings;

class SoftwareSettingsForm : public QDialog {
    Q_OBJECT
public:
    explicit SoftwareSettingsForm(Station& station, QWidget* parent = nullptr);

    // Fills the controls from the station's current settings.
    void reload();
    // The settings as the controls show them.
    SoftwareSettings edited() const;

public slots:
    // Command1: saves both files and closes the form.
    void save();

private:
    Station& station_;
    std::array<QCheckBox*, 6> group_{};
    std::array<QCheckBox*, 6> qth_{};
    std::array<QCheckBox*, 6> link_{};
    std::array<QCheckBox*, 6> curve_{};
    QRadioButton* active_ = nullptr;
    QRadioButton* passive_ = nullptr;
    QCheckBox* userOption_ = nullptr;
    QCheckBox* serviceOption_ = nullptr;
    QSpinBox* timeOut_ = nullptr;
    QCheckBox* coefficients_ = nullptr;
    QCheckBox* alarmSound_ = nullptr;
    QSpinBox* userLogout_ = nullptr;
    QSpinBox* valueSize_ = nullptr;
};

} // namespace tarvek
