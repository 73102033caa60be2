#include "app/settings/software_settings_form.h"

#include "app/common/form_buttons.h"
#include "station/station.h"
#include "settings/display_settings.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace tarvek {

SoftwareSettingsForm::SoftwareSettingsForm(Station& station, QWidget* parent)
    : QDialog(parent), station_(station)
{
    setObjectName(QStringLiteral("ParamLogicielVB"));
    setWindowTitle(QStringLiteral(" Software Settings"));
    setModal(false);

    auto* outer = new QVBoxLayout(this);

    auto* engines = new QGroupBox(QStringLiteral("Light engines"));
    auto* grid = new QGridLayout(engines);
    const std::array<std::pair<const char*, const char*>, 4> rows{{
        {"CheckGroup", "Group commands (START / STOP All)"},
        {"CheckQth", "QTH lamps"},
        {"CheckLink", "Link supervision"},
        {"CheckCurve", "Curve visible"},
    }};
    std::array<std::array<QCheckBox*, 6>*, 4> boxes{&group_, &qth_, &link_, &curve_};
    for (int n = 1; n <= 6; ++n) {
        auto* h = new QLabel(QStringLiteral("LE%1").arg(n));
        h->setAlignment(Qt::AlignCenter);
        QFont f = h->font();
        f.setBold(true);
        h->setFont(f);
        grid->addWidget(h, 0, n);
    }
    for (int r = 0; r < 4; ++r) {
        grid->addWidget(new QLabel(QString::fromLatin1(rows[static_cast<std::size_t>(r)].second)), r + 1, 0);
        for (int i = 0; i < 6; ++i) {
            auto* c = new QCheckBox;
            c->setObjectName(QStringLiteral("%1_%2").arg(QString::fromLatin1(rows[static_cast<std::size_t>(r)].first)).arg(i));
            c->setToolTip(QStringLiteral("LE%1").arg(i + 1));
            (*boxes[static_cast<std::size_t>(r)])[static_cast<std::size_t>(i)] = c;
            grid->addWidget(c, r + 1, i + 1, Qt::AlignCenter);
        }
    }
    outer->addWidget(engines);

    auto* middle = new QHBoxLayout;
    auto* cooling = new QGroupBox(QStringLiteral("Cooling type"));
    auto* coolingLayout = new QVBoxLayout(cooling);
    active_ = new QRadioButton(QStringLiteral("Active (fans V1 and V2)"));
    active_->setObjectName(QStringLiteral("OptionCooling_0"));
    passive_ = new QRadioButton(QStringLiteral("Passive (no fans)"));
    passive_->setObjectName(QStringLiteral("OptionCooling_1"));
    coolingLayout->addWidget(active_);
    coolingLayout->addWidget(passive_);
    middle->addWidget(cooling);

    auto* display = new QGroupBox(QStringLiteral("Display"));
    auto* displayLayout = new QVBoxLayout(display);
    coefficients_ = new QCheckBox(QStringLiteral("Values with coefficients"));
    coefficients_->setObjectName(QStringLiteral("CheckCoefficients"));
    displayLayout->addWidget(coefficients_);
    auto* sizeRow = new QHBoxLayout;
    auto* sizeLabel = new QLabel(QStringLiteral("&Value size"));
    valueSize_ = new QSpinBox;
    valueSize_->setObjectName(QStringLiteral("SpinValueSize"));
    valueSize_->setRange(DisplaySettings::kMinPointSize, DisplaySettings::kMaxPointSize);
    valueSize_->setSuffix(QStringLiteral(" pt"));
    valueSize_->setToolTip(QStringLiteral("Size of the live values on the main window; larger reads from further away"));
    sizeLabel->setBuddy(valueSize_);
    sizeRow->addWidget(sizeLabel);
    sizeRow->addWidget(valueSize_);
    sizeRow->addStretch(1);
    displayLayout->addLayout(sizeRow);
    alarmSound_ = new QCheckBox(QStringLiteral("Alarm sound until acknowledged"));
    alarmSound_->setObjectName(QStringLiteral("CheckAlarmSound"));
    displayLayout->addWidget(alarmSound_);
    displayLayout->addStretch(1);
    middle->addWidget(display);
    outer->addLayout(middle);

    auto* access = new QGroupBox(QStringLiteral("Log-in"));
    auto* accessLayout = new QGridLayout(access);
    userOption_ = new QCheckBox(QStringLiteral("User mode: Service menu available"));
    userOption_->setObjectName(QStringLiteral("OptionUser"));
    serviceOption_ = new QCheckBox(QStringLiteral("Service mode: Service menu and Quit available"));
    serviceOption_->setObjectName(QStringLiteral("OptionService"));
    timeOut_ = new QSpinBox;
    timeOut_->setObjectName(QStringLiteral("TextTimeOut"));
    timeOut_->setRange(SoftwareSettings::kMinTimeOut, SoftwareSettings::kMaxTimeOut);
    timeOut_->setSuffix(QStringLiteral(" min"));
    accessLayout->addWidget(userOption_, 0, 0, 1, 2);
    accessLayout->addWidget(serviceOption_, 1, 0, 1, 2);
    accessLayout->addWidget(new QLabel(QStringLiteral("Service mode ends after")), 2, 0);
    accessLayout->addWidget(timeOut_, 2, 1, Qt::AlignLeft);
    userLogout_ = new QSpinBox;
    userLogout_->setObjectName(QStringLiteral("SpinUserLogout"));
    userLogout_->setRange(0, ScreenSettings::kMaxLogoutMinutes);
    userLogout_->setSuffix(QStringLiteral(" min"));
    userLogout_->setSpecialValueText(QStringLiteral("never"));
    userLogout_->setToolTip(QStringLiteral("User mode logs out after this time without keyboard or mouse input"));
    accessLayout->addWidget(new QLabel(QStringLiteral("User mode logs out after")), 3, 0);
    accessLayout->addWidget(userLogout_, 3, 1, Qt::AlignLeft);
    outer->addWidget(access);

    connect(addSaveCloseRow(this, outer), &QPushButton::clicked, this, &SoftwareSettingsForm::save);

    reload();
}

void SoftwareSettingsForm::reload()
{
    const SoftwareSettings& s = station_.software();
    for (std::size_t i = 0; i < 6; ++i) {
        group_[i]->setChecked(s.groupCommands[i]);
        qth_[i]->setChecked(s.qthLamps[i]);
        link_[i]->setChecked(s.linkSupervision[i]);
        curve_[i]->setChecked(s.curveVisible[i]);
    }
    active_->setChecked(s.cooling == CoolingType::Active);
    passive_->setChecked(s.cooling == CoolingType::Passive);
    userOption_->setChecked(s.userModeOption);
    serviceOption_->setChecked(s.serviceModeOption);
    timeOut_->setValue(s.serviceTimeOut);
    coefficients_->setChecked(station_.settings().displayWithCoefficients == 1);
    DisplaySettings display;
    display.load(station_.files());
    valueSize_->setValue(display.valuePointSize);
    alarmSound_->setChecked(station_.screen().alarmSound);
    userLogout_->setValue(station_.screen().userLogoutMinutes);
}

SoftwareSettings SoftwareSettingsForm::edited() const
{
    SoftwareSettings s;
    for (std::size_t i = 0; i < 6; ++i) {
        s.groupCommands[i] = group_[i]->isChecked();
        s.qthLamps[i] = qth_[i]->isChecked();
        s.linkSupervision[i] = link_[i]->isChecked();
        s.curveVisible[i] = curve_[i]->isChecked();
    }
    s.cooling = passive_->isChecked() ? CoolingType::Passive : CoolingType::Active;
    s.userModeOption = userOption_->isChecked();
    s.serviceModeOption = serviceOption_->isChecked();
    s.serviceTimeOut = timeOut_->value();
    return s;
}

void SoftwareSettingsForm::save()
{
    StationSettings& settings = station_.settings();
    settings.displayWithCoefficients = coefficients_->isChecked() ? 1 : 0;
    const int choice = settings.displayWithCoefficients;
    const bool coefficientsSaved = station_.files().writeNumbers("\\CocheSelect.ini", std::span<const int>(&choice, 1));
    if (!coefficientsSaved)
        station_.warn(QStringLiteral(" Warning!"),
                      QStringLiteral("Cannot write ") + station_.files().pathOf("\\CocheSelect.ini"));
    // The window reads the value size again when the software settings change, just below.
    DisplaySettings display;
    display.valuePointSize = valueSize_->value();
    const bool displaySaved = display.save(station_.files());
    if (!displaySaved)
        station_.warn(QStringLiteral(" Warning!"),
                      QStringLiteral("Cannot write ") + station_.files().pathOf(QString::fromLatin1(DisplaySettings::kFileName)));
    ScreenSettings screen = station_.screen();
    screen.alarmSound = alarmSound_->isChecked();
    screen.userLogoutMinutes = userLogout_->value();
    const bool screenSaved = station_.setScreenSettings(screen);
    if (station_.setSoftwareSettings(edited()) && coefficientsSaved && displaySaved && screenSaved)
        accept();
}

} // namespace tarvek
