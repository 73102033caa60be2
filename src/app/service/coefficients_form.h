#pragma once
// The form Coefficients ("LE Data"): the twelve rows of "\Coefficients.ini" (offset, factor,
// decimals), each with a raw value and what the main window would show for it with the values
// being edited. Save (Command1) writes the file and the main window uses the values at once;
// Defaults (CoefDefaults) fills in the factory rows; Close (Command2) drops what was not saved.
// Controls per row r 0..11: Offset<r>, Factor<r>, Decimals<r>, Raw<r> (taken from the last reply
// of the engine chosen in RawEngine, and editable), Shown<r> (the preview), InUse<r> (shown today).
#include <QDialog>

#include <array>

class QComboBox;
class QLabel;
class QSpinBox;

namespace tarvek {

class CoefficientsEditor;
class EngineTables;

class CoefficientsForm : public QDialog {
    Q_OBJECT
public:
    CoefficientsForm(CoefficientsEditor& editor, const EngineTables& tables, QWidget* parent = nullptr);

    // The values in use, and the raw values of the chosen engine.
    void reload();

private:
    void showEdited();
    void fillRaw();
    void refreshPreview();
    void save();

    CoefficientsEditor& editor_;
    const EngineTables& tables_;
    QComboBox* engine_;
    QLabel* note_;
    QLabel* result_;
    struct Row {
        QSpinBox* offset = nullptr;
        QSpinBox* factor = nullptr;
        QSpinBox* decimals = nullptr;
        QSpinBox* raw = nullptr;
        QLabel* shown = nullptr;
        QLabel* inUse = nullptr;
    };
    std::array<Row, 12> rows_{};
};

} // namespace tarvek
