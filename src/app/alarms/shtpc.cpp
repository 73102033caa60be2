#include "app/alarms/shtpc.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QSpinBox>

namespace tarvek {

SHTPC::SHTPC(Station& station, QWidget* parent)
    : AlarmWindow(station, AlarmSource::Sht, QStringLiteral("SHTPC"), QStringLiteral("SHT Alarm Control (PC)"), parent)
{
    build();
}

void SHTPC::addLimits(QFormLayout* form)
{
    setPoint_ = new QSpinBox(this);
    setPoint_->setObjectName(QStringLiteral("ShtSetPoint"));
    setPoint_->setRange(0, AlarmSupervision::kMaxShtSetPoint);
    setPoint_->setSuffix(QStringLiteral(" °C"));
    judged_ = new QCheckBox(QStringLiteral("The PC judges the SHT temperature"), this);
    judged_->setObjectName(QStringLiteral("ShtJudged"));
    form->addRow(QStringLiteral("Alarm above"), setPoint_);
    form->addRow(QString(), judged_);
}

void SHTPC::showLimits(const AlarmLimits& limits)
{
    setPoint_->setValue(limits.shtSetPoint);
    judged_->setChecked(limits.shtJudged);
}

void SHTPC::takeLimits(AlarmLimits& limits) const
{
    limits.shtSetPoint = setPoint_->value();
    limits.shtJudged = judged_->isChecked();
}

QString SHTPC::reading(int engine) const
{
    return QStringLiteral("SHT %1 °C").arg(station_.tables().at(engine - 1).reported[pos::Sht]);
}

} // namespace tarvek
