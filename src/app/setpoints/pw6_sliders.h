#pragma once
// The form PW6Sliders (" PWe in Individual or Group"): one slider per engine, in tens of We.
//
// Controls: SliderPW1..SliderPW6 and their value labels LabelPW1..LabelPW6 ("1000 We", following
// the slider as it moves, by mouse or keyboard), OptionSingle ("Single LE": a slider moves its
// own engine) and OptionGroup ("Group LE": a slider moves all six), PresetEgal (sets all six to
// the value of the slider moved last), PWValide (stores the six values and closes), PWQuitter
// (closes without storing).
#include <QDialog>

#include <array>

class QLabel;
class QRadioButton;
class QSlider;

namespace tarvek {

class PowerSetPoints;
class EngineTables;

class PW6Sliders : public QDialog {
    Q_OBJECT
public:
    static constexpr int kEngines = 6;

    PW6Sliders(PowerSetPoints& setPoints, const EngineTables& tables, QWidget* parent = nullptr);

    // The sliders show the stored set-points again; the slider of the selected engine has the focus.
    void reload();
    std::array<int, kEngines> shown() const;

public slots:
    void presetEqual();
    void validate();

private:
    void moved(int index, int value);

    PowerSetPoints& setPoints_;
    const EngineTables& tables_;
    std::array<QSlider*, kEngines> sliders_{};
    std::array<QLabel*, kEngines> labels_{};
    QRadioButton* single_ = nullptr;
    QRadioButton* group_ = nullptr;
    int lastMoved_ = 0;
    bool following_ = false; // a group move is setting the other sliders
};

} // namespace tarvek
