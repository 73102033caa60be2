#include "app/settings/plant_form.h"

#include "plant/plant_publisher.h"
#include "settings/settings_files.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace tarvek {

PlantForm::PlantForm(PlantPublisher& publisher, SettingsFiles& files, QWidget* parent)
    : QDialog(parent), publisher_(publisher), files_(files)
{
    setObjectName(QStringLiteral("PlantForm"));
    setWindowTitle(QStringLiteral("Plant view"));
    const PlantSettings& s = publisher.settings();
    auto named = [](auto* w, const char* name) {
        w->setObjectName(QString::fromLatin1(name));
        return w;
    };
    publish_ = named(new QCheckBox(QStringLiteral("Publish the engines to the plant's broker")), "CheckPublish");
    publish_->setChecked(s.enabled);
    host_ = named(new QLineEdit(s.host), "TextHost");
    port_ = named(new QSpinBox, "SpinPort");
    port_->setRange(1, 65535);
    port_->setValue(s.port);
    station_ = named(new QLineEdit(s.station), "TextStation");
    user_ = named(new QLineEdit(s.user), "TextUser");
    passwordFile_ = named(new QLineEdit(s.passwordFile), "TextPasswordFile");
    passwordFile_->setPlaceholderText(QStringLiteral("readable by its owner only"));
    caFile_ = named(new QLineEdit(s.caFile), "TextCaFile");
    caFile_->setPlaceholderText(QStringLiteral("empty: no TLS"));
    state_ = named(new QLabel(publisher.stateText()), "LabelState");
    state_->setWordWrap(true);
    connect(&publisher, &PlantPublisher::stateChanged, state_, &QLabel::setText);

    auto* form = new QFormLayout;
    form->addRow(publish_);
    form->addRow(QStringLiteral("Broker host"), host_);
    form->addRow(QStringLiteral("Broker port"), port_);
    form->addRow(QStringLiteral("Station name"), station_);
    form->addRow(QStringLiteral("User name"), user_);
    form->addRow(QStringLiteral("Password file"), passwordFile_);
    form->addRow(QStringLiteral("CA file"), caFile_);
    form->addRow(QStringLiteral("State"), state_);
    auto* buttons = new QDialogButtonBox;
    QPushButton* save = buttons->addButton(QStringLiteral("Save"), QDialogButtonBox::AcceptRole);
    save->setObjectName(QStringLiteral("Command1"));
    QPushButton* close = buttons->addButton(QStringLiteral("Close"), QDialogButtonBox::RejectRole);
    close->setObjectName(QStringLiteral("Command2"));
    connect(save, &QPushButton::clicked, this, &PlantForm::save);
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons);
}

PlantSettings PlantForm::edited() const
{
    PlantSettings s;
    s.enabled = publish_->isChecked();
    s.host = host_->text().trimmed();
    s.port = port_->value();
    s.station = station_->text().trimmed();
    s.user = user_->text().trimmed();
    s.passwordFile = passwordFile_->text().trimmed();
    s.caFile = caFile_->text().trimmed();
    return s;
}

void PlantForm::save()
{
    const PlantSettings s = edited();
    // A name that cannot be a topic level is refused here, before anything is saved.
    if (const QString why = PlantSettings::nameProblem(s.station); !why.isEmpty()) {
        state_->setText(QStringLiteral("Not saved: ") + why);
        return;
    }
    if (!s.save(files_)) {
        state_->setText(QStringLiteral("Not saved: %1 cannot be written").arg(files_.pathOf(PlantSettings::fileName())));
        return;
    }
    publisher_.apply(s);
}

} // namespace tarvek
