#include "app/service/espion_start_form.h"

#include "maintenance/start_spy.h"
#include "recording/clock.h"

#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>

namespace tarvek {

EspionStartForm::EspionStartForm(StartSpy& spy, Clock& clock, QTimer* displayTick, QWidget* parent)
    : QDialog(parent), spy_(spy), clock_(clock)
{
    setObjectName(QStringLiteral("EspionStart"));
    setWindowTitle(QStringLiteral(" Debugger Stamp - start sequence"));
    auto* layout = new QVBoxLayout(this);
    auto* top = new QHBoxLayout;
    top->addWidget(new QLabel(QStringLiteral("Follow")));
    engine_ = new QComboBox;
    engine_->setObjectName(QStringLiteral("SpyEngine"));
    for (int n = 1; n <= kEngines; ++n)
        engine_->addItem(QStringLiteral("LE%1").arg(n));
    top->addWidget(engine_);
    top->addStretch(1);
    layout->addLayout(top);
    state_ = new QLabel;
    state_->setObjectName(QStringLiteral("SpyState"));
    QFont bold = state_->font();
    bold.setBold(true);
    state_->setFont(bold);
    layout->addWidget(state_);
    registers_ = new QLabel;
    registers_->setObjectName(QStringLiteral("SpyRegisters"));
    layout->addWidget(registers_);

    steps_ = new QTableWidget(0, 4);
    steps_->setObjectName(QStringLiteral("SpySteps"));
    steps_->setHorizontalHeaderLabels({QStringLiteral("Step"), QStringLiteral("Expected"), QStringLiteral("Measured"),
                                       QStringLiteral("Verdict")});
    steps_->verticalHeader()->hide();
    steps_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    steps_->setSelectionMode(QAbstractItemView::NoSelection);
    steps_->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    steps_->setMinimumSize(560, 260);
    layout->addWidget(steps_);
    slowest_ = new QLabel;
    slowest_->setObjectName(QStringLiteral("SpySlowest"));
    layout->addWidget(slowest_);
    auto* note = new QLabel(QStringLiteral("Times run from the first reply that reports a phase to the first reply of "
                                           "the next; a step beyond its time by 0.5 s and a tenth is slow."));
    note->setWordWrap(true);
    layout->addWidget(note);
    auto* close = new QPushButton(QStringLiteral("Close"));
    close->setObjectName(QStringLiteral("Command2"));
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    layout->addWidget(close, 0, Qt::AlignRight);

    connect(engine_, &QComboBox::currentIndexChanged, this, &EspionStartForm::refresh);
    connect(&spy_, &StartSpy::changed, this, [this](int e) {
        if (e == engine())
            refresh();
    });
    // A step still running counts up with the main display.
    connect(displayTick, &QTimer::timeout, this, [this] {
        if (isVisible() && spy_.trace(engine()).state == SpyState::Following)
            refresh();
    });
}

int EspionStartForm::engine() const
{
    return engine_->currentIndex() + 1;
}

void EspionStartForm::follow(int engine)
{
    if (engine >= 1 && engine <= kEngines)
        engine_->setCurrentIndex(engine - 1);
    refresh();
}

void EspionStartForm::refresh()
{
    const StartTrace& t = spy_.trace(engine());
    state_->setText(StartSpy::stateText(t, engine()));
    registers_->setText(QStringLiteral("z1 %1 s, z2 %2 s, z3 %3 s %4")
                            .arg(t.z[0] / 10.0, 0, 'f', 1)
                            .arg(t.z[1] / 10.0, 0, 'f', 1)
                            .arg(t.z[2] / 10.0, 0, 'f', 1)
                            .arg(t.zFromRegisters ? QStringLiteral("(read from the FADEC)")
                                                  : QStringLiteral("(factory defaults: no parameter read seen)")));
    const std::vector<StartStep> steps = StartSpy::steps(t, clock_.now());
    steps_->setRowCount(static_cast<int>(steps.size()));
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const StartStep& s = steps[i];
        const int r = static_cast<int>(i);
        const QStringList cells = {s.name, StartSpy::seconds(s.expectedMs), StartSpy::seconds(s.measuredMs),
                                   StartSpy::verdictText(s.verdict)};
        for (int c = 0; c < cells.size(); ++c) {
            auto* item = new QTableWidgetItem(cells[c]);
            if (c > 0)
                item->setTextAlignment(Qt::AlignCenter);
            if (s.verdict == StepVerdict::Slow)
                item->setForeground(QColor(200, 0, 0));
            steps_->setItem(r, c, item);
        }
    }
    const int worst = StartSpy::slowest(steps);
    slowest_->setText(worst < 0 ? QString()
                                : QStringLiteral("Slowest: %1, %2 against %3")
                                      .arg(steps[static_cast<std::size_t>(worst)].name.simplified(),
                                           StartSpy::seconds(steps[static_cast<std::size_t>(worst)].measuredMs),
                                           StartSpy::seconds(steps[static_cast<std::size_t>(worst)].expectedMs)));
}

} // namespace tarvek
