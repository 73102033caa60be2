#include "app/settings/configuration_rs232.h"

#include "serial/serial_link.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

namespace tarvek {

ConfigurationRS232::ConfigurationRS232(SerialLink& link, QWidget* parent) : QDialog(parent), link_(link)
{
    setObjectName(QStringLiteral("ConfigurationRS232"));
    setWindowTitle(QStringLiteral(" Configurating Ports COMx    "));
    auto* grid = new QGridLayout(this);
    grid->addWidget(new QLabel(QStringLiteral("<b>Engine</b>")), 0, 0);
    grid->addWidget(new QLabel(QStringLiteral("<b>COM</b>")), 0, 1);
    grid->addWidget(new QLabel(QStringLiteral("<b>Enabled</b>")), 0, 2);
    grid->addWidget(new QLabel(QStringLiteral("<b>Device</b>")), 0, 3);
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
        devices_[i] = new QLabel(this);
        devices_[i]->setObjectName(QStringLiteral("Device_%1").arg(i));
        devices_[i]->setTextInteractionFlags(Qt::TextSelectableByMouse);
        devices_[i]->setMinimumWidth(260);
        grid->addWidget(devices_[i], i + 1, 3);
        connect(numbers_[i], &QLineEdit::textEdited, this, [this] {
            toLink();
            refreshDevices();
            checkTimer_->start();
        });
        connect(enabled_[i], &QCheckBox::toggled, this, [this] { toLink(); });
    }
    all_ = new QCheckBox(QStringLiteral("All activated"), this);
    all_->setObjectName(QStringLiteral("Check2"));
    grid->addWidget(all_, 7, 0, 1, 3);
    auto* save = new QPushButton(QStringLiteral("Save"), this);
    save->setObjectName(QStringLiteral("Command1"));
    grid->addWidget(save, 7, 3, Qt::AlignRight);

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
        toLink();
        link_.saveConfiguration();
        refreshDevices();
    });
    connect(&link_, &SerialLink::portOpened, this, &ConfigurationRS232::refreshDevices);
    connect(&link_, &SerialLink::portOpenFailed, this, &ConfigurationRS232::refreshDevices);
    connect(&link_, &SerialLink::portClosed, this, &ConfigurationRS232::refreshDevices);
    load();
}

void ConfigurationRS232::load()
{
    const auto& form = link_.form();
    for (std::size_t i = 0; i < 6; ++i) {
        const QSignalBlocker b1(numbers_[i]);
        const QSignalBlocker b2(enabled_[i]);
        numbers_[i]->setText(form.numbers[i]);
        enabled_[i]->setChecked(form.enabled[i]);
    }
    refreshDevices();
}


void ConfigurationRS232::toLink()
{
    auto& form = link_.form();
    for (std::size_t i = 0; i < 6; ++i) {
        form.numbers[i] = numbers_[i]->text().trimmed();
        form.enabled[i] = enabled_[i]->isChecked();
    }
}

void ConfigurationRS232::refreshDevices()
{
    for (int i = 0; i < 6; ++i) {
        const int com = numbers_[i]->text().toInt();
        const QString named = com >= 1 && com <= 14 ? link_.deviceFor(com) : QStringLiteral("no device");
        QString text = named;
        if (link_.portOpen(i + 1)) {
            // An open port keeps its device until the link reconnects.
            const QString open = link_.openDevice(i + 1);
            text = open == named ? open + QStringLiteral("  (open)")
                                 : QStringLiteral("%1  (open; %2 from the next Connect)").arg(open, named);
        } else if (link_.deviceMissing(i + 1)) {
            text += link_.reconnecting(i + 1) ? QStringLiteral("  (device missing; opened as soon as it is there)")
                                              : QStringLiteral("  (device missing)");
        } else if (!link_.openError(i + 1).isEmpty()) {
            text += QStringLiteral("  (not open: %1)").arg(link_.openError(i + 1));
        }
        devices_[i]->setText(text);
    }
}

void ConfigurationRS232::checkNumbers()
{
    const int n = SerialLink::portNumbersAboveLimit(link_.form());
    for (int i = 0; i < n; ++i)
        emit warning(QStringLiteral(" Warning! "), SerialLink::portNumberWarning(), true);
}

} // namespace tarvek
