#include "app/settings/configuration_rs232.h"

#include "app/common/colours.h"
#include "serial/serial_link.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QHeaderView>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTimer>
#include <QTreeView>

namespace tarvek {

namespace {
// The chooser's list shows each device's details beside its path; picking one puts only the path
// in the entry.
QComboBox* deviceChooser(QWidget* parent)
{
    auto* box = new QComboBox(parent);
    box->setEditable(true);
    box->setInsertPolicy(QComboBox::NoInsert);
    box->setModel(new QStandardItemModel(0, 2, box));
    auto* view = new QTreeView(box);
    view->setHeaderHidden(true);
    view->setRootIsDecorated(false);
    view->setItemsExpandable(false);
    view->setUniformRowHeights(true);
    view->setAllColumnsShowFocus(true);
    view->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    box->setView(view);
    box->setMinimumContentsLength(34);
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    return box;
}
} // namespace

ConfigurationRS232::ConfigurationRS232(SerialLink& link, ComMap& map, SettingsFiles& files, QWidget* parent)
    : QDialog(parent), link_(link), setup_(link, map, files), devices_(this)
{
    setObjectName(QStringLiteral("ConfigurationRS232"));
    setWindowTitle(QStringLiteral(" Configurating Ports COMx    "));
    auto* grid = new QGridLayout(this);
    grid->addWidget(new QLabel(QStringLiteral("<b>Engine</b>")), 0, 0);
    grid->addWidget(new QLabel(QStringLiteral("<b>COM</b>")), 0, 1);
    grid->addWidget(new QLabel(QStringLiteral("<b>Enabled</b>")), 0, 2);
    grid->addWidget(new QLabel(QStringLiteral("<b>Device</b>")), 0, 3);
    grid->addWidget(new QLabel(QStringLiteral("<b>State</b>")), 0, 4);
    for (int i = 0; i < 6; ++i) {
        grid->addWidget(new QLabel(QStringLiteral("LE%1").arg(i + 1)), i + 1, 0);
        numbers_[i] = new QLineEdit(this);
        numbers_[i]->setObjectName(QStringLiteral("Text1_%1").arg(i));
        numbers_[i]->setValidator(new QIntValidator(0, 99, numbers_[i]));
        numbers_[i]->setMaximumWidth(60);
        grid->addWidget(numbers_[i], i + 1, 1);
        enabled_[i] = new QCheckBox(this);
        enabled_[i]->setObjectName(QStringLiteral("Check1_%1").arg(i));
        grid->addWidget(enabled_[i], i + 1, 2);
        devicesBox_[i] = deviceChooser(this);
        devicesBox_[i]->setObjectName(QStringLiteral("Device_%1").arg(i));
        grid->addWidget(devicesBox_[i], i + 1, 3);
        states_[i] = new QLabel(this);
        states_[i]->setObjectName(QStringLiteral("DeviceState_%1").arg(i));
        states_[i]->setWordWrap(true);
        states_[i]->setTextInteractionFlags(Qt::TextSelectableByMouse);
        states_[i]->setMinimumWidth(340);
        states_[i]->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
        states_[i]->setContentsMargins(4, 1, 4, 1);
        grid->addWidget(states_[i], i + 1, 4);
        connect(numbers_[i], &QLineEdit::textEdited, this, [this, i] {
            numberEdited(i);
            checkTimer_->start();
        });
        connect(enabled_[i], &QCheckBox::toggled, this, [this] {
            toLink();
            refreshStates();
        });
        connect(devicesBox_[i], &QComboBox::currentTextChanged, this, [this, i] { deviceChosen(i); });
    }
    grid->setColumnStretch(3, 1);
    grid->setColumnStretch(4, 1);
    auto* hint = new QLabel(QStringLiteral(
        "Devices present are listed first by their stable name (/dev/serial/by-id), which stays the same "
        "after a reboot or a move to another USB socket. Type a path for a device that is not there yet."));
    hint->setObjectName(QStringLiteral("DeviceHint"));
    hint->setWordWrap(true);
    grid->addWidget(hint, 7, 0, 1, 5);
    all_ = new QCheckBox(QStringLiteral("All activated"), this);
    all_->setObjectName(QStringLiteral("Check2"));
    grid->addWidget(all_, 8, 0, 1, 3);
    auto* save = new QPushButton(QStringLiteral("Save"), this);
    save->setObjectName(QStringLiteral("Command1"));
    save->setAutoDefault(false);
    grid->addWidget(save, 8, 4, Qt::AlignRight);

    allTimer_ = new QTimer(this);
    allTimer_->setObjectName(QStringLiteral("Timer1"));
    allTimer_->setSingleShot(true);
    allTimer_->setInterval(50);
    connect(allTimer_, &QTimer::timeout, this, [this] {
        for (auto* box : enabled_)
            box->setChecked(all_->isChecked());
    });
    connect(all_, &QCheckBox::clicked, allTimer_, qOverload<>(&QTimer::start));

    checkTimer_ = new QTimer(this);
    checkTimer_->setObjectName(QStringLiteral("Timer2"));
    checkTimer_->setSingleShot(true);
    checkTimer_->setInterval(600); // after typing pauses, not at every key
    connect(checkTimer_, &QTimer::timeout, this, &ConfigurationRS232::checkNumbers);

    connect(save, &QPushButton::clicked, this, [this] {
        if (setup_.save(rows()))
            for (bool& edited : deviceEdited_)
                edited = false;
        refreshStates();
    });
    connect(&setup_, &PortSetup::refused, this,
            [this](const QString& text) { emit warning(QStringLiteral(" Warning!"), text, false); });
    connect(&link_, &SerialLink::portOpened, this, &ConfigurationRS232::refreshStates);
    connect(&link_, &SerialLink::portOpenFailed, this, &ConfigurationRS232::refreshStates);
    connect(&link_, &SerialLink::portClosed, this, &ConfigurationRS232::refreshStates);
    connect(&link_, &SerialLink::connectionChanged, this, &ConfigurationRS232::refreshStates);
    connect(&devices_, &SerialDevices::changed, this, [this] {
        fillChoices();
        refreshStates();
    });
    devices_.refresh();
    load();
}

void ConfigurationRS232::load()
{
    const PortSetup::Rows rows = setup_.rows();
    for (std::size_t i = 0; i < 6; ++i) {
        const QSignalBlocker b1(numbers_[i]);
        const QSignalBlocker b2(enabled_[i]);
        const QSignalBlocker b3(devicesBox_[i]);
        numbers_[i]->setText(rows[i].number);
        enabled_[i]->setChecked(rows[i].enabled);
        devicesBox_[i]->setEditText(rows[i].device);
        deviceEdited_[i] = false;
    }
    fillChoices();
    refreshStates();
}

PortSetup::Rows ConfigurationRS232::rows() const
{
    PortSetup::Rows rows;
    for (std::size_t i = 0; i < 6; ++i)
        rows[i] = PortSetup::Row{numbers_[i]->text().trimmed(), enabled_[i]->isChecked(),
                                 devicesBox_[i]->currentText().trimmed()};
    return rows;
}

void ConfigurationRS232::toLink()
{
    // The boxes are the link's form state: Connect on the main window reads them too.
    auto& form = link_.form();
    for (std::size_t i = 0; i < 6; ++i) {
        form.numbers[i] = numbers_[i]->text().trimmed();
        form.enabled[i] = enabled_[i]->isChecked();
    }
}

void ConfigurationRS232::fillChoices()
{
    for (int i = 0; i < 6; ++i) {
        QComboBox* box = devicesBox_[i];
        const QSignalBlocker block(box);
        const QString typed = box->currentText();
        auto* model = static_cast<QStandardItemModel*>(box->model());
        model->removeRows(0, model->rowCount());
        const auto add = [model](const QString& path, const QString& details) {
            model->appendRow({new QStandardItem(path), new QStandardItem(details)});
        };
        QAbstractItemView* view = box->view();
        for (const SerialDevice& d : devices_.devices())
            add(d.path, d.details());
        // The default of the row's COM number (of the engine's own number while it has none).
        const QString number = numbers_[i]->text().trimmed();
        const QString com = PortSetup::defaultDevice(number).isEmpty() ? QString::number(i + 1) : number;
        const QString fallback = PortSetup::defaultDevice(com);
        if (!devices_.find(fallback))
            add(fallback, QStringLiteral("the default of COM%1, not present").arg(com));
        box->setEditText(typed);
        // The list as wide as its paths and details, not only as the entry.
        view->setMinimumWidth(view->sizeHintForColumn(0) + view->sizeHintForColumn(1) + 24);
        const bool fixed = setup_.overridden(number);
        box->setEnabled(!fixed);
        QString tip = fixed ? QStringLiteral("COM%1 is given by --com on the command line for this run").arg(number)
                            : QStringLiteral("The device of LE%1's port: pick one present, or type a path").arg(i + 1);
        if (const SerialDevice* d = devices_.find(typed); d && !d->details().isEmpty())
            tip += QStringLiteral("\n%1: %2").arg(d->path, d->details());
        box->setToolTip(tip);
    }
}

void ConfigurationRS232::refreshStates()
{
    const PortSetup::Rows now = rows();
    QStringList chosen;
    for (int i = 0; i < 6; ++i) {
        const PortSetup::State state = setup_.state(i + 1, now[static_cast<std::size_t>(i)]);
        states_[i]->setText(state.text);
        states_[i]->setToolTip(state.text);
        switch (state.kind) {
        case PortSetup::Kind::Open:
            colours::attention(states_[i], QColor());
            colours::paint(states_[i], colours::started());
            break;
        case PortSetup::Kind::Refused: colours::attention(states_[i], colours::alert()); break;
        case PortSetup::Kind::Missing: colours::attention(states_[i], colours::fault()); break;
        default: colours::attention(states_[i], QColor()); break;
        }
        chosen << now[static_cast<std::size_t>(i)].device;
    }
    if (isVisible()) {
        devices_.watch(chosen); // a path typed elsewhere than /dev is followed too
        // A longer reason takes more lines: the form grows to show it whole, never shrinks under the hand.
        if (const int need = layout()->totalHeightForWidth(width()); need > height())
            resize(width(), need);
    }
}

void ConfigurationRS232::numberEdited(int index)
{
    toLink();
    // The device follows the number, unless one was chosen here.
    if (!deviceEdited_[index]) {
        const QSignalBlocker block(devicesBox_[index]);
        devicesBox_[index]->setEditText(setup_.deviceFor(numbers_[index]->text()));
    }
    fillChoices();
    refreshStates();
}

void ConfigurationRS232::deviceChosen(int index)
{
    deviceEdited_[index] = true;
    // A device chosen is meant to be used: its engine is switched on, and gets a COM number if it
    // has none.
    const PortSetup::Rows now = rows();
    const QString number = now[static_cast<std::size_t>(index)].number;
    const QSignalBlocker b1(numbers_[index]);
    const QSignalBlocker b2(enabled_[index]);
    if (PortSetup::defaultDevice(number).isEmpty())
        numbers_[index]->setText(PortSetup::freeNumber(now, index + 1));
    enabled_[index]->setChecked(true);
    toLink();
    refreshStates();
}

void ConfigurationRS232::checkNumbers()
{
    const int n = SerialLink::portNumbersAboveLimit(link_.form());
    for (int i = 0; i < n; ++i)
        emit warning(QStringLiteral(" Warning! "), SerialLink::portNumberWarning(), true);
}

void ConfigurationRS232::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    devices_.refresh();
    refreshStates(); // starts the watch
}

void ConfigurationRS232::hideEvent(QHideEvent* event)
{
    devices_.stopWatching();
    QDialog::hideEvent(event);
}

} // namespace tarvek
