#pragma once
// The form TestsMateriel ("Hardward Tests"): the hardware tests of the selected engine at rest.
// Controls: TestEngine ("Selected LE : n"), TestQth, TestAlarmReset, TestMotor with TestMotorRpm
// (1000..4000 rpm), TestStop (ends the running test), TestState (the running test and its step),
// TestResults (one line per finished test). Close: Command2. Every test, refused or run, goes
// through the station's HardwareTests; its warnings are the station's.
#include <QDialog>

class QLabel;
class QListWidget;
class QPushButton;
class QSpinBox;

namespace tarvek {

class Clock;
class HardwareTests;
struct TestRun;

class TestsMaterielForm : public QDialog {
    Q_OBJECT
public:
    TestsMaterielForm(HardwareTests& tests, Clock& clock, QWidget* parent = nullptr);

    // Works on engine 1..6 from now on.
    void setEngine(int engine);
    int engine() const { return engine_; }
    void refresh();

private:
    void finished(const TestRun& run);

    HardwareTests& tests_;
    Clock& clock_;
    int engine_ = 1;
    QLabel* caption_;
    QLabel* state_;
    QSpinBox* rpm_;
    QPushButton* stop_;
    QListWidget* results_;
};

} // namespace tarvek
