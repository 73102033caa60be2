#include "app/recording/datalogger_form.h"

#include "app/common/colours.h"
#include "app/common/form_buttons.h"
#include "recording/data_logger.h"

#include <QCheckBox>
#include <QDir>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace tarvek {

namespace {
constexpr std::array<const char*, kLoggerColumns> kColumnNames{"LPC", "LFC", "VIS", "IR", "RH", "LOS", "SHT", "MAT"};
} // namespace

DataloggerForm::DataloggerForm(DataLogger& logger, QWidget* parent) : QDialog(parent), logger_(logger)
{
    setObjectName(QStringLiteral("Datalogger"));
    setWindowTitle(QStringLiteral("Datalogger"));
    setModal(false);
    auto* outer = new QVBoxLayout(this);
    auto* steps = new QHBoxLayout;
    outer->addLayout(steps);

    // Step 1: the file type and the files of that type already there.
    auto* step1 = new QGroupBox(QStringLiteral("Step 1: file type"));
    auto* s1 = new QVBoxLayout(step1);
    txt_ = new QRadioButton(QStringLiteral(".txt  (separator \",\")"));
    txt_->setObjectName(QStringLiteral("OptionTxt"));
    csv_ = new QRadioButton(QStringLiteral(".csv  (separator \";\")"));
    csv_->setObjectName(QStringLiteral("OptionCsv"));
    files_ = new QListWidget;
    files_->setObjectName(QStringLiteral("File1"));
    files_->setToolTip(QStringLiteral("Files of this type in the Datalogger folder; a click takes the name"));
    s1->addWidget(txt_);
    s1->addWidget(csv_);
    s1->addWidget(files_, 1);
    steps->addWidget(step1, 3);

    // Step 2: the interval.
    auto* step2 = new QGroupBox(QStringLiteral("Step 2: interval"));
    auto* s2 = new QVBoxLayout(step2);
    intervals_ = new QListWidget;
    intervals_->setObjectName(QStringLiteral("ListInterval"));
    intervals_->addItems(DataLogger::intervalCaptions());
    s2->addWidget(intervals_);
    steps->addWidget(step2, 2);

    // Step 3: engines, columns, name and what happens to a file that exists.
    auto* step3 = new QGroupBox(QStringLiteral("Step 3: LE, columns and file name"));
    auto* s3 = new QGridLayout(step3);
    for (int i = 0; i < 6; ++i) {
        auto* box = new QCheckBox(QStringLiteral("LE%1").arg(i + 1));
        box->setObjectName(QStringLiteral("CheckLE%1").arg(i + 1));
        engines_[static_cast<std::size_t>(i)] = box;
        s3->addWidget(box, i / 3, i % 3);
        connect(box, &QCheckBox::toggled, this, [this, i](bool on) {
            if (!refreshing_)
                logger_.setEngineLogged(i + 1, on);
        });
    }
    auto* columnsLabel = new QLabel(QStringLiteral("Columns (counter, date and time always):"));
    s3->addWidget(columnsLabel, 2, 0, 1, 4);
    for (int c = 0; c < kLoggerColumns; ++c) {
        auto* box = new QCheckBox(QString::fromLatin1(kColumnNames[static_cast<std::size_t>(c)]));
        box->setObjectName(QStringLiteral("Check") + box->text());
        columns_[static_cast<std::size_t>(c)] = box;
        s3->addWidget(box, 3 + c / 4, c % 4);
        connect(box, &QCheckBox::toggled, this, [this, c](bool on) {
            if (!refreshing_)
                logger_.setColumn(static_cast<LoggerColumn>(c), on);
        });
    }
    name_ = new QLineEdit;
    name_->setObjectName(QStringLiteral("FileName"));
    name_->setPlaceholderText(QStringLiteral("file name (gives NAME_LE1.txt ...)"));
    auto* save = new QPushButton(QStringLiteral("Save"));
    save->setObjectName(QStringLiteral("Enregistrer"));
    s3->addWidget(name_, 5, 0, 1, 3);
    s3->addWidget(save, 5, 3);
    append_ = new QRadioButton(QStringLiteral("Append to an existing file"));
    append_->setObjectName(QStringLiteral("EAppend"));
    erase_ = new QRadioButton(QStringLiteral("Erase an existing file"));
    erase_->setObjectName(QStringLiteral("EErase"));
    s3->addWidget(append_, 6, 0, 1, 2);
    s3->addWidget(erase_, 6, 2, 1, 2);
    s3->setRowStretch(7, 1);
    steps->addWidget(step3, 4);

    status_ = new QLabel;
    status_->setObjectName(QStringLiteral("LabelStatus"));
    status_->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    running_ = new QLabel;
    running_->setObjectName(QStringLiteral("LabelRunning"));
    running_->setWordWrap(true);
    running_->setMinimumHeight(2 * running_->fontMetrics().lineSpacing() + 6);
    running_->setMargin(3);
    outer->addWidget(status_);
    outer->addWidget(running_);
    start_ = addButtonRow(this, outer, {"CommandStart", DataLogger::startCaption()}, {"CommandClose", QStringLiteral("Close")});
    start_->setMinimumWidth(160);

    connect(txt_, &QRadioButton::toggled, this, [this](bool on) {
        if (!refreshing_ && on)
            logger_.setCsv(false);
    });
    connect(csv_, &QRadioButton::toggled, this, [this](bool on) {
        if (!refreshing_ && on)
            logger_.setCsv(true);
    });
    connect(intervals_, &QListWidget::currentRowChanged, this, [this](int row) {
        if (!refreshing_ && row >= 0)
            logger_.setInterval(row);
    });
    connect(erase_, &QRadioButton::toggled, this, [this](bool on) {
        if (!refreshing_)
            logger_.setErase(on);
    });
    connect(files_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) { name_->setText(item->text()); });
    connect(name_, &QLineEdit::textEdited, this, [this] { logger_.setName(QString()); });
    connect(save, &QPushButton::clicked, this, [this] { logger_.confirmName(name_->text()); });
    connect(start_, &QPushButton::clicked, this, [this] { logger_.start(); });
    connect(&logger_, &DataLogger::changed, this, &DataloggerForm::refresh);
    refresh();
}

void DataloggerForm::refresh()
{
    refreshing_ = true;
    const LoggerChoices& c = logger_.choices();
    (c.csv ? csv_ : txt_)->setChecked(true);
    const QStringList files = logger_.existingFiles();
    QStringList shown;
    for (int i = 0; i < files_->count(); ++i)
        shown << files_->item(i)->text();
    if (shown != files) {
        files_->clear();
        files_->addItems(files);
    }
    intervals_->setCurrentRow(c.interval);
    for (std::size_t i = 0; i < engines_.size(); ++i)
        engines_[i]->setChecked(c.engines[i]);
    for (std::size_t k = 0; k < columns_.size(); ++k)
        columns_[k]->setChecked(c.columns[k]);
    (c.erase ? erase_ : append_)->setChecked(true);
    // A typed name stays until it is saved or replaced; a saved one is shown as taken.
    if (!c.name.isEmpty() && name_->text() != c.name && !name_->hasFocus())
        name_->setText(c.name);
    status_->setText(logger_.stepText());
    // A run is stopped with OFF Datalogger before another starts, so no header pair comes by mistake.
    start_->setEnabled(logger_.ready() && !logger_.running());
    if (logger_.running())
        running_->setText(QStringLiteral("Logging into %1 every %2. Row %3 at %4 %5; next row in %6 min.")
                              .arg(QDir::toNativeSeparators(logger_.fileFor(1)).replace(QStringLiteral("_LE1"),
                                                                                        QStringLiteral("_LE*")),
                                   DataLogger::intervalCaptions().at(c.interval).trimmed())
                              .arg(logger_.rowCounter())
                              .arg(logger_.lastDate(), logger_.lastClock())
                              .arg(logger_.countdown() + 1));
    else
        running_->setText(QStringLiteral("Not logging (OFF Datalogger stops a run; the files stay)."));
    // Light green while a run is on, like a started engine.
    colours::paint(running_, logger_.running() ? colours::started() : QColor());
    refreshing_ = false;
}

} // namespace tarvek
