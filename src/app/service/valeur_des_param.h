#pragma once
// The form ValeurDesParam: the raw block of each engine, one list per engine.
//
// Controls: LabelSelected ("Selected LE : n", the engine read last), OptionStampToPc and
// OptionPcToStamp (what the engines sent, or what the station sent them), ListLabels (the caption
// of each position, beside the lists), LireLP1..LireLP6 (read that engine's block) and
// List1..List6 (33 lines each, "NN   vvv"), and ListParameters (the registers the last start read,
// register 31 first). The form's Timer1 (of IoReadOut)
// refreshes the lists of the engines read while the form is open.
#include <QDialog>

#include <array>

class QLabel;
class QListWidget;
class QRadioButton;

namespace tarvek {

class IoReadOut;
class ParameterList;

class ValeurDesParam : public QDialog {
    Q_OBJECT
public:
    ValeurDesParam(IoReadOut& readOut, const ParameterList& started, QWidget* parent = nullptr);

    // The menu entries open the form on one direction or the other.
    void showDirection(bool stampToPc);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void refill();

    IoReadOut& readOut_;
    const ParameterList& started_;
    QLabel* selected_ = nullptr;
    QRadioButton* stampToPc_ = nullptr;
    QRadioButton* pcToStamp_ = nullptr;
    std::array<QListWidget*, 6> lists_{};
    QListWidget* parameters_ = nullptr;
};

} // namespace tarvek
