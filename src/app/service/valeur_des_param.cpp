#include "app/service/valeur_des_param.h"

#include "maintenance/io_readout.h"
#include "maintenance/parameter_editor.h"
#include "maintenance/parameter_list.h"

#include <QFontDatabase>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QVBoxLayout>

namespace tarvek {

ValeurDesParam::ValeurDesParam(IoReadOut& readOut, const ParameterList& started, QWidget* parent)
    : QDialog(parent), readOut_(readOut), started_(started)
{
    setObjectName(QStringLiteral("ValeurDesParam"));
    setModal(false);

    auto* outer = new QVBoxLayout(this);
    auto* top = new QHBoxLayout;
    // No number until an engine has been read.
    selected_ = new QLabel(readOut.lastEngine() ? parameter_texts::selected(readOut.lastEngine())
                                                : QStringLiteral("Selected LE : "));
    selected_->setObjectName(QStringLiteral("LabelSelected"));
    QFont bold = selected_->font();
    bold.setBold(true);
    selected_->setFont(bold);
    selected_->setMinimumWidth(QFontMetrics(bold).horizontalAdvance(parameter_texts::selected(6)) + 8);
    stampToPc_ = new QRadioButton(QStringLiteral("Stamp to PC (what the LE sent)"));
    stampToPc_->setObjectName(QStringLiteral("OptionStampToPc"));
    pcToStamp_ = new QRadioButton(QStringLiteral("PC to Stamp (what the station sent)"));
    pcToStamp_->setObjectName(QStringLiteral("OptionPcToStamp"));
    top->addWidget(selected_);
    top->addStretch(1);
    top->addWidget(stampToPc_);
    top->addWidget(pcToStamp_);
    outer->addLayout(top);

    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    auto* grid = new QGridLayout;
    auto* labels = new QListWidget;
    labels->setObjectName(QStringLiteral("ListLabels"));
    labels->setFont(fixed);
    labels->setSelectionMode(QAbstractItemView::NoSelection);
    labels->setUniformItemSizes(true);
    labels->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    labels->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    for (int i = 0; i < IoReadOut::kShownEntries; ++i) {
        const QString text = i < kReplyFields ? IoReadOut::labels()[static_cast<std::size_t>(i)] : QString();
        labels->addItem(text);
    }
    // Every list shows its 33 lines whole, beside the caption of each line.
    const int listHeight = labels->sizeHintForRow(0) * IoReadOut::kShownEntries + 2 * labels->frameWidth() + 4;
    labels->setFixedHeight(listHeight);
    labels->setMinimumWidth(QFontMetrics(fixed).horizontalAdvance(QLatin1Char('M')) * 44);
    grid->addWidget(new QLabel(QStringLiteral("Position")), 0, 0);
    grid->addWidget(labels, 1, 0);
    for (int n = 1; n <= kEngines; ++n) {
        auto* read = new QPushButton(QStringLiteral("Read LE%1").arg(n));
        read->setObjectName(QStringLiteral("LireLP%1").arg(n));
        read->setAutoDefault(false);
        auto* list = new QListWidget;
        list->setObjectName(QStringLiteral("List%1").arg(n));
        list->setFont(fixed);
        list->setUniformItemSizes(true);
        list->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        list->setFixedHeight(listHeight);
        list->setFixedWidth(QFontMetrics(fixed).horizontalAdvance(QStringLiteral("00   255")) + 16);
        lists_[static_cast<std::size_t>(n - 1)] = list;
        grid->addWidget(read, 0, n);
        grid->addWidget(list, 1, n);
        connect(read, &QPushButton::clicked, this, [&readOut, n] { readOut.read(n); });
    }
    auto* startTitle = new QLabel(QStringLiteral("At the last start"));
    startTitle->setToolTip(QStringLiteral("The registers read before the last start, register 31 first"));
    parameters_ = new QListWidget;
    parameters_->setObjectName(QStringLiteral("ListParameters"));
    parameters_->setFont(fixed);
    parameters_->setUniformItemSizes(true);
    parameters_->setFixedHeight(listHeight);
    parameters_->setFixedWidth(QFontMetrics(fixed).horizontalAdvance(QStringLiteral("00255   ")) + 32);
    grid->setColumnMinimumWidth(kEngines + 1, 12);
    grid->addWidget(startTitle, 0, kEngines + 2);
    grid->addWidget(parameters_, 1, kEngines + 2);
    outer->addLayout(grid);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto* close = new QPushButton(QStringLiteral("Close"));
    close->setObjectName(QStringLiteral("CDMQuitter"));
    close->setAutoDefault(false);
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    buttons->addWidget(close);
    outer->addLayout(buttons);

    connect(stampToPc_, &QRadioButton::toggled, this, [this](bool on) { showDirection(on); });
    connect(&readOut, &IoReadOut::refresh, this, &ValeurDesParam::refill);
    connect(&readOut, &IoReadOut::selectedChanged, this,
            [this](int engine) { selected_->setText(parameter_texts::selected(engine)); });
    showDirection(readOut.direction() == IoReadOut::Direction::StampToPc);
}

void ValeurDesParam::showDirection(bool stampToPc)
{
    const auto d = stampToPc ? IoReadOut::Direction::StampToPc : IoReadOut::Direction::PcToStamp;
    (stampToPc ? stampToPc_ : pcToStamp_)->setChecked(true);
    setWindowTitle(IoReadOut::directionCaption(d));
    if (readOut_.direction() != d)
        readOut_.setDirection(d);
    else
        refill();
}

void ValeurDesParam::refill()
{
    const QStringList started = started_.lines();
    if (parameters_->count() != started.size() ||
        (parameters_->count() > 0 && parameters_->item(parameters_->count() - 1)->text() != started.last())) {
        parameters_->clear();
        parameters_->addItems(started);
    }
    const IoReadOut& readOut = readOut_;
    for (int n = 1; n <= kEngines; ++n) {
        if (!readOut.shown(n))
            continue;
        QListWidget* list = lists_[static_cast<std::size_t>(n - 1)];
        const QStringList lines = readOut.lines(n);
        // The same 33 items are rewritten in place: the list never churns while it refreshes.
        for (int i = 0; i < lines.size(); ++i) {
            if (i < list->count()) {
                if (list->item(i)->text() != lines[i])
                    list->item(i)->setText(lines[i]);
            } else {
                list->addItem(lines[i]);
            }
        }
    }
}

void ValeurDesParam::showEvent(QShowEvent* event)
{
    readOut_.setOpen(true);
    refill();
    QDialog::showEvent(event);
}

void ValeurDesParam::hideEvent(QHideEvent* event)
{
    readOut_.setOpen(false);
    QDialog::hideEvent(event);
}

} // namespace tarvek
