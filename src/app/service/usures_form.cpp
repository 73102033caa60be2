#include "app/service/usures_form.h"

#include "station/station.h"
#include "operation/operation_context.h"

#include <QDir>
#include <QFrame>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace tarvek {

namespace {
QLabel* valueLabel(const QString& name)
{
    auto* l = new QLabel;
    l->setObjectName(name);
    l->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    l->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    l->setMinimumWidth(110);
    return l;
}
} // namespace

UsuresForm::UsuresForm(Station& station, QWidget* parent) : QDialog(parent), station_(station)
{
    setObjectName(QStringLiteral("Usures"));
    setWindowTitle(QStringLiteral(" Hardware Uptime"));
    auto* layout = new QVBoxLayout(this);
    auto* grid = new QGridLayout;
    const QStringList heads = {QString(), QStringLiteral("Starts"), QStringLiteral("Running"), QStringLiteral("Lamp on"),
                               QString()};
    for (int c = 0; c < heads.size(); ++c) {
        auto* h = new QLabel(QStringLiteral("<b>%1</b>").arg(heads[c]));
        h->setAlignment(Qt::AlignCenter);
        grid->addWidget(h, 0, c);
    }
    for (int n = 1; n <= kEngines; ++n) {
        Row& row = rows_[static_cast<std::size_t>(n - 1)];
        auto* name = new QLabel(QStringLiteral("<b>LE%1</b>").arg(n));
        grid->addWidget(name, n, 0);
        row.starts = valueLabel(QStringLiteral("Starts%1").arg(n));
        row.running = valueLabel(QStringLiteral("Running%1").arg(n));
        row.lamp = valueLabel(QStringLiteral("Lamp%1").arg(n));
        grid->addWidget(row.starts, n, 1);
        grid->addWidget(row.running, n, 2);
        grid->addWidget(row.lamp, n, 3);
        auto* replaced = new QPushButton(QStringLiteral("Lamp replaced"));
        replaced->setObjectName(QStringLiteral("LampReplaced%1").arg(n));
        replaced->setToolTip(QStringLiteral("Starts the lamp hours of LE%1 again from zero").arg(n));
        connect(replaced, &QPushButton::clicked, this, [this, n] { askLampReplaced(n); });
        grid->addWidget(replaced, n, 4);
    }
    layout->addLayout(grid);
    auto* rules = new QLabel(QStringLiteral(
        "A start: the phase leaves 0 for the start sequence. Running: any phase but 0. Lamp on: phases 3 to 5.\n"
        "Counted from every reply of the engine while the station runs."));
    rules->setObjectName(QStringLiteral("UsuresRules"));
    layout->addWidget(rules);
    saved_ = new QLabel;
    saved_->setObjectName(QStringLiteral("UsuresSaved"));
    layout->addWidget(saved_);
    auto* close = new QPushButton(QStringLiteral("Close"));
    close->setObjectName(QStringLiteral("Command2"));
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    layout->addWidget(close, 0, Qt::AlignRight);

    connect(&station_.wearCounters(), &WearCounters::changed, this, &UsuresForm::refresh);
    connect(&station_.wearCounters(), &WearCounters::saved, this, &UsuresForm::refresh);
}

void UsuresForm::refresh()
{
    const WearCounters& counters = station_.wearCounters();
    for (int n = 1; n <= kEngines; ++n) {
        const WearCount c = counters.count(n);
        Row& row = rows_[static_cast<std::size_t>(n - 1)];
        row.starts->setText(QString::number(c.starts));
        row.running->setText(WearCounters::hoursText(c.runningMs));
        row.lamp->setText(WearCounters::hoursText(c.lampMs));
        row.running->setToolTip(QStringLiteral("%1 s").arg(c.runningMs / 1000));
        row.lamp->setToolTip(QStringLiteral("%1 s").arg(c.lampMs / 1000));
    }
    saved_->setText(QStringLiteral("Kept in %1, written at every start and run end and each minute")
                        .arg(QDir::toNativeSeparators(station_.files().pathOf(WearCounters::fileName()))));
}

void UsuresForm::askLampReplaced(int engine)
{
    station_.ask(QStringLiteral(" Warning!"), QStringLiteral("Lamp of LE%1 replaced: its lamp hours start again from 0?").arg(engine),
                 [this, engine](bool yes) {
                     if (!yes)
                         return;
                     const QString before = WearCounters::hoursText(station_.wearCounters().count(engine).lampMs);
                     if (station_.wearCounters().resetLamp(engine))
                         station_.history().append(QStringLiteral("0"),
                                                   QStringLiteral("  Lamp replaced LE %1 after %2").arg(engine).arg(before) +
                                                       operation_texts::timeStamp(station_.clock()));
                 });
}

} // namespace tarvek
