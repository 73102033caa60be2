#include "app/service/tests_materiel_form.h"

#include "maintenance/hardware_tests.h"
#include "recording/clock.h"

#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace tarvek {

TestsMaterielForm::TestsMaterielForm(HardwareTests& tests, Clock& clock, QWidget* parent)
    : QDialog(parent), tests_(tests), clock_(clock)
{
    setObjectName(QStringLiteral("TestsMateriel"));
    setWindowTitle(QStringLiteral(" Hardward Tests"));
    auto* layout = new QVBoxLayout(this);
    caption_ = new QLabel;
    caption_->setObjectName(QStringLiteral("TestEngine"));
    QFont bold = caption_->font();
    bold.setBold(true);
    caption_->setFont(bold);
    layout->addWidget(caption_);

    auto* grid = new QGridLayout;
    const auto testButton = [this, grid](const char* name, HardwareTest test, const QString& caption,
                                         const QString& what, int row) {
        auto* b = new QPushButton(caption);
        b->setObjectName(QString::fromLatin1(name));
        b->setMinimumWidth(150);
        grid->addWidget(b, row, 0);
        auto* l = new QLabel(what);
        l->setWordWrap(true);
        grid->addWidget(l, row, 1);
        connect(b, &QPushButton::clicked, this,
                [this, test] { tests_.run(engine_, test, rpm_->value()); });
        return b;
    };
    testButton("TestQth", HardwareTest::QthLamps, QStringLiteral("QTH lamps"),
               QStringLiteral("Switches the QTH lamps on, then off: the relay must follow both ways (IR shown before and after)."), 0);
    testButton("TestAlarmReset", HardwareTest::AlarmReset, QStringLiteral("Alarm reset"),
               QStringLiteral("Asks the FADEC to clear a latched alarm: the alarm relay must drop."), 1);
    testButton("TestMotor", HardwareTest::MotorAndFans, QStringLiteral("Motor and fans"),
               QStringLiteral("Cooling at rest: the motor must reach the speed below within 10 % and both fans turn."), 2);
    auto* speed = new QHBoxLayout;
    speed->addWidget(new QLabel(QStringLiteral("Motor M speed")));
    rpm_ = new QSpinBox;
    rpm_->setObjectName(QStringLiteral("TestMotorRpm"));
    rpm_->setRange(HardwareTests::kMinMotorRpm, HardwareTests::kMaxMotorRpm);
    rpm_->setSingleStep(100);
    rpm_->setValue(HardwareTests::kDefaultMotorRpm);
    rpm_->setSuffix(QStringLiteral(" rpm"));
    speed->addWidget(rpm_);
    speed->addStretch(1);
    grid->addLayout(speed, 3, 1);
    grid->setColumnStretch(1, 1);
    layout->addLayout(grid);

    auto* running = new QHBoxLayout;
    state_ = new QLabel;
    state_->setObjectName(QStringLiteral("TestState"));
    state_->setFont(bold);
    running->addWidget(state_, 1);
    stop_ = new QPushButton(QStringLiteral("Stop test"));
    stop_->setObjectName(QStringLiteral("TestStop"));
    connect(stop_, &QPushButton::clicked, this, [this] { tests_.abort(); });
    running->addWidget(stop_);
    layout->addLayout(running);
    results_ = new QListWidget;
    results_->setObjectName(QStringLiteral("TestResults"));
    results_->setMinimumSize(560, 120);
    results_->setWordWrap(true);
    layout->addWidget(results_);
    auto* note = new QLabel(QStringLiteral("Tests run with the engine in phase 0 only; each one is written to the "
                                           "activity history."));
    layout->addWidget(note);
    auto* close = new QPushButton(QStringLiteral("Close"));
    close->setObjectName(QStringLiteral("Command2"));
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    layout->addWidget(close, 0, Qt::AlignRight);

    connect(&tests_, &HardwareTests::changed, this, &TestsMaterielForm::refresh);
    connect(&tests_, &HardwareTests::finished, this, &TestsMaterielForm::finished);
    refresh();
}

void TestsMaterielForm::setEngine(int engine)
{
    if (engine >= 1 && engine <= kEngines)
        engine_ = engine;
    refresh();
}

void TestsMaterielForm::refresh()
{
    caption_->setText(QStringLiteral("Selected LE : %1").arg(engine_));
    const HardwareTests& tests = tests_;
    const TestRun& run = tests.current();
    stop_->setEnabled(tests.running());
    if (run.state == TestState::Idle)
        state_->setText(QStringLiteral("No test has run yet"));
    else
        state_->setText(QStringLiteral("LE%1 %2: %3").arg(run.engine).arg(HardwareTests::name(run.test),
                                                                       HardwareTests::stateText(run.state)));
}

void TestsMaterielForm::finished(const TestRun& run)
{
    results_->addItem(QStringLiteral("%1  LE%2 %3: %4, %5")
                          .arg(clock_.timeText())
                          .arg(run.engine)
                          .arg(HardwareTests::name(run.test), HardwareTests::stateText(run.state), run.detail));
    results_->scrollToBottom();
}

} // namespace tarvek
