#pragma once
// The form EspionStart ("Debugger Stamp"): one engine's last start, step by step, with the time
// each step took against what z1, z2 and z3 ask for, so a technician sees which step is slow.
// Controls: SpyEngine (the engine followed, the selected one when opened), SpyState (where the
// start is), SpyRegisters (where z1..z3 come from), SpySteps (step, expected, measured, verdict;
// a slow step in red), SpySlowest (the step furthest past its time). Close: Command2.
#include <QDialog>

class QComboBox;
class QLabel;
class QTableWidget;
class QTimer;

namespace tarvek {

class Clock;
class StartSpy;

class EspionStartForm : public QDialog {
    Q_OBJECT
public:
    // displayTick: the main display's refresh, which moves the running step's time on.
    EspionStartForm(StartSpy& spy, Clock& clock, QTimer* displayTick, QWidget* parent = nullptr);

    // Follows engine 1..6.
    void follow(int engine);
    int engine() const;
    void refresh();

private:
    StartSpy& spy_;
    Clock& clock_;
    QComboBox* engine_;
    QLabel* state_;
    QLabel* registers_;
    QTableWidget* steps_;
    QLabel* slowest_;
};

} // namespace tarvek
