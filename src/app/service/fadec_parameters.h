#pragma once
// The form FadecParameters: the 32 parameter registers of the selected engine's FADEC.
//
// Controls: LabelSelected ("Selected LE : n"), Label0..Label31 (the register captions), the value
// boxes Text32..Text63 (register r in Text<r+32>; a click, Enter or F2 edits it through Saisie,
// 0..255), Mark32..Mark63 ("≠" beside a value that differs from the reference or did not read back
// as written; the box's tip says why), CompareWith (ParamSt.ini or the defaults), LabelOutcome
// (where the last read or write stands), and the buttons ReadConfig, WriteConfig, WriteConfHdd,
// ReadParamHdd, ParamDefault, ParamZero and CDMQuitter. LabelSource, at the top, says where the
// values come from ("Not read: ..." on an orange, framed cell until a read or a loaded file).
#include <QDialog>

#include <array>
#include <functional>

class QComboBox;
class QLabel;
class QLineEdit;

namespace tarvek {

class EngineTables;
class ParameterEditor;
class ValueEntry;

class FadecParameters : public QDialog {
    Q_OBJECT
public:
    // The registers of the selected engine (tables), changed through the value entry; showEntry makes
    // sure the value entry form exists before an entry is opened.
    FadecParameters(ParameterEditor& editor, ValueEntry& entry, const EngineTables& tables,
                    std::function<void()> showEntry, QWidget* parent = nullptr);

    // Opens Saisie for register r.
    void edit(int reg);

public slots:
    void reject() override;
    // The main window's choice of engine changed.
    void showSelected();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showValues();
    void showMarks();
    void showSource();

    ParameterEditor& editor_;
    ValueEntry& entry_;
    const EngineTables& tables_;
    std::function<void()> showEntry_;
    QLabel* selected_ = nullptr;
    QLabel* outcome_ = nullptr;
    QLabel* source_ = nullptr;
    QComboBox* compareWith_ = nullptr;
    std::array<QLineEdit*, 32> boxes_{};
    std::array<QLabel*, 32> marks_{};
};

} // namespace tarvek
