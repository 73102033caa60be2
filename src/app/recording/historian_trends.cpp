#include "app/recording/historian_trends.h"

#include "app/recording/historian_plot.h"
#include "historian/historian_export.h"
#include "station/station.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QFile>
#include <QFileDialog>
#include <QDir>
#include <QSaveFile>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace tarvek {

namespace {
constexpr qint64 kRangeSeconds[] = {3600, 8 * 3600, 24 * 3600, 7 * 86'400};
const char* const kDateFormat = "yyyy-MM-dd hh:mm";
} // namespace

HistorianTrends::HistorianTrends(Station& station, const QString& historianPath, QWidget* parent)
    : QWidget(parent, Qt::Window), station_(station), store_(historianPath)
{
    setObjectName(QStringLiteral("HistorianTrends"));
    setWindowTitle(QStringLiteral("Historian Trends"));
    setAttribute(Qt::WA_DeleteOnClose);
    store_.openForReading();
    plot_ = new HistorianPlot(store_, station_.settings(), this);

    auto* side = new QVBoxLayout;
    auto* engineRow = new QGridLayout;
    for (int n = 1; n <= kEngines; ++n) {
        auto* box = new QCheckBox(QStringLiteral("LE%1").arg(n));
        box->setObjectName(QStringLiteral("HistorianEngine%1").arg(n));
        QPalette pal = box->palette();
        pal.setColor(QPalette::WindowText, HistorianPlot::engineColour(n));
        box->setPalette(pal);
        box->setChecked(n == 1);
        engineRow->addWidget(box, (n - 1) / 3, (n - 1) % 3);
        engines_[static_cast<std::size_t>(n - 1)] = box;
        connect(box, &QCheckBox::toggled, this, &HistorianTrends::applyChoices);
    }
    side->addLayout(engineRow);
    rows_ = new QListWidget;
    rows_->setObjectName(QStringLiteral("HistorianQuantities"));
    for (int row = 0; row < kEngineRows; ++row) {
        const QString unit = engineRowUnit(row);
        auto* item = new QListWidgetItem(engineRowName(row) + (unit.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(unit)));
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(row <= 3 ? Qt::Checked : Qt::Unchecked); // motor, fans and MAT to begin with
        rows_->addItem(item);
    }
    connect(rows_, &QListWidget::itemChanged, this, &HistorianTrends::applyChoices);
    side->addWidget(rows_, 1);

    auto* form = new QFormLayout;
    range_ = new QComboBox;
    range_->setObjectName(QStringLiteral("HistorianRange"));
    range_->addItems({QStringLiteral("Last hour"), QStringLiteral("Last 8 hours"), QStringLiteral("Last 24 hours"),
                      QStringLiteral("Last 7 days"), QStringLiteral("From / to"), QStringLiteral("Custom")});
    range_->setItemData(Custom, QStringLiteral("The range chosen by zooming or panning the plot"), Qt::ToolTipRole);
    fromEdit_ = new QDateTimeEdit;
    fromEdit_->setObjectName(QStringLiteral("HistorianFrom"));
    toEdit_ = new QDateTimeEdit;
    toEdit_->setObjectName(QStringLiteral("HistorianTo"));
    for (QDateTimeEdit* e : {fromEdit_, toEdit_}) {
        e->setDisplayFormat(QString::fromLatin1(kDateFormat));
        e->setCalendarPopup(true);
        connect(e, &QDateTimeEdit::editingFinished, this, [this] {
            if (range_->currentIndex() >= FromTo)
                applyRange();
        });
    }
    form->addRow(QStringLiteral("Range"), range_);
    form->addRow(QStringLiteral("From"), fromEdit_);
    form->addRow(QStringLiteral("To"), toEdit_);
    side->addLayout(form);
    connect(range_, &QComboBox::currentIndexChanged, this, &HistorianTrends::applyRange);

    export_ = new QPushButton(QStringLiteral("Export CSV"));
    export_->setObjectName(QStringLiteral("HistorianExport"));
    connect(export_, &QPushButton::clicked, this, [this] {
        auto* dialog = new QFileDialog(this, QStringLiteral("Export CSV"), station_.files().folder(),
                                       QStringLiteral("CSV files (*.csv)"));
        dialog->setAcceptMode(QFileDialog::AcceptSave);
        dialog->setDefaultSuffix(QStringLiteral("csv"));
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& f) { exportCsv(f); });
        dialog->open();
    });
    side->addWidget(export_);
    status_ = new QLabel;
    status_->setObjectName(QStringLiteral("HistorianStatus"));
    status_->setWordWrap(true);
    side->addWidget(status_);
    readout_ = new QLabel;
    readout_->setObjectName(QStringLiteral("HistorianReadout"));
    readout_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    readout_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    readout_->setMinimumHeight(140);
    side->addWidget(readout_);

    auto* sideWidget = new QWidget;
    sideWidget->setLayout(side);
    sideWidget->setFixedWidth(250);
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(sideWidget);
    layout->addWidget(plot_, 1);
    connect(plot_, &HistorianPlot::cursorMoved, this, &HistorianTrends::updateReadout);
    connect(plot_, &HistorianPlot::rangeChanged, this, [this](qint64 from, qint64 to) {
        // Zoomed or panned: no longer the range the choice names.
        if (!applying_ && range_->currentIndex() != Custom) {
            const QSignalBlocker c(range_);
            range_->setCurrentIndex(Custom);
            fromEdit_->setEnabled(true);
            toEdit_->setEnabled(true);
        }
        const QSignalBlocker a(fromEdit_), b(toEdit_);
        fromEdit_->setDateTime(QDateTime::fromSecsSinceEpoch(from));
        toEdit_->setDateTime(QDateTime::fromSecsSinceEpoch(to));
        updateReadout();
    });
    if (!store_.isOpen())
        status_->setText(QStringLiteral("No history recorded yet."));
    resize(1100, 640);
    applyChoices();
    applyRange();
}

void HistorianTrends::showEngine(int engine)
{
    for (int n = 1; n <= kEngines; ++n) {
        const QSignalBlocker block(engines_[static_cast<std::size_t>(n - 1)]);
        engines_[static_cast<std::size_t>(n - 1)]->setChecked(n == engine);
    }
    applyChoices();
}

void HistorianTrends::setRange(Range range) { range_->setCurrentIndex(range); }

void HistorianTrends::applyChoices()
{
    std::vector<int> engines, rows;
    for (int n = 1; n <= kEngines; ++n)
        if (engines_[static_cast<std::size_t>(n - 1)]->isChecked())
            engines.push_back(n);
    for (int row = 0; row < kEngineRows; ++row)
        if (rows_->item(row)->checkState() == Qt::Checked)
            rows.push_back(row);
    plot_->setRows(rows);
    plot_->setEngines(engines);
    updateReadout();
}

void HistorianTrends::applyRange()
{
    const int range = range_->currentIndex();
    if (!store_.isOpen() && store_.openForReading())
        status_->clear();
    fromEdit_->setEnabled(range >= FromTo);
    toEdit_->setEnabled(range >= FromTo);
    applying_ = true;
    if (range >= FromTo) {
        plot_->setRange(fromEdit_->dateTime().toSecsSinceEpoch(), toEdit_->dateTime().toSecsSinceEpoch());
    } else {
        const qint64 now = station_.clock().now().toSecsSinceEpoch() + 1;
        plot_->setRange(now - kRangeSeconds[range], now);
    }
    applying_ = false;
}

void HistorianTrends::updateReadout()
{
    const qint64 t = plot_->cursor();
    if (t == 0) {
        readout_->setText(QStringLiteral("Move the mouse over the plot to read the values.\n"
                                         "Wheel or +/- zoom, drag or arrow keys pan."));
        return;
    }
    readout_->setText(QDateTime::fromSecsSinceEpoch(t).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")) +
                      QLatin1Char('\n') + plot_->readout().join(QLatin1Char('\n')));
}

qint64 HistorianTrends::exportCsv(const QString& file)
{
    // Written beside the target and renamed into place when whole; never over the station's own files.
    QString why = exportRefusal(file, station_.files().folder());
    QSaveFile out(file);
    qint64 rows = -1;
    if (why.isEmpty() && !store_.isOpen())
        why = QStringLiteral("no history is recorded yet");
    else if (why.isEmpty() && !out.open(QIODevice::WriteOnly))
        why = out.errorString();
    if (why.isEmpty()) {
        const StationSettings& s = station_.settings();
        rows = writeHistoryCsv(store_, out, plot_->engines(), plot_->rows(), plot_->from(), plot_->to(),
                               [&s](int row, int raw) {
                                   return QString::number(engineRowValue(s, row, raw), 'f', engineRowDecimals(s, row));
                               });
        if (rows < 0)
            why = store_.lastError();
        else if (!out.commit())
            why = out.errorString();
        if (!why.isEmpty())
            rows = -1;
    }
    status_->setText(rows < 0 ? QStringLiteral("Cannot write %1: %2").arg(QDir::toNativeSeparators(file), why)
                              : QStringLiteral("%1 rows written to %2").arg(rows).arg(QDir::toNativeSeparators(file)));
    emit exported(file, rows);
    return rows;
}

} // namespace tarvek
