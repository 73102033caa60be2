#include "app/alarms/control_lfc_alarm.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QSlider>
#include <QSpinBox>

namespace tarvek {

ControlLfcAlarm::ControlLfcAlarm(Station& station, QWidget* parent)
    : AlarmWindow(station, AlarmSource::Lfc, QStringLiteral("ControlLfcAlarm"), QStringLiteral("LFC Alarm Control "),
                  parent)
{
    build();
}

void ControlLfcAlarm::addLimits(QFormLayout* form)
{
    auto* row = new QHBoxLayout;
    low_ = new QSlider(Qt::Horizontal, this);
    low_->setObjectName(QStringLiteral("LfcLowSlider"));
    lowValue_ = new QSpinBox(this);
    lowValue_->setObjectName(QStringLiteral("LfcLow"));
    row->addWidget(low_, 1);
    row->addWidget(lowValue_);
    top_ = new QSpinBox(this);
    top_->setObjectName(QStringLiteral("LfcSliderTop"));
    top_->setRange(1, AlarmSupervision::kMaxLfc);
    connect(low_, &QSlider::valueChanged, lowValue_, &QSpinBox::setValue);
    connect(lowValue_, &QSpinBox::valueChanged, low_, &QSlider::setValue);
    connect(top_, &QSpinBox::valueChanged, this, [this](int top) {
        low_->setMaximum(top);
        lowValue_->setMaximum(top);
    });
    form->addRow(QStringLiteral("Low limit (phase 5)"), row);
    form->addRow(QStringLiteral("Slider top"), top_);
}

void ControlLfcAlarm::showLimits(const AlarmLimits& limits)
{
    top_->setValue(limits.lfcSliderTop);
    lowValue_->setValue(limits.lfcLow);
}

void ControlLfcAlarm::takeLimits(AlarmLimits& limits) const
{
    limits.lfcSliderTop = top_->value();
    limits.lfcLow = lowValue_->value();
}

QString ControlLfcAlarm::reading(int engine) const
{
    const LightEngineRecord& r = station_.tables().at(engine - 1);
    return QStringLiteral("LFC %1, phase %2").arg(r.reported[pos::Lfc]).arg(r.Phase);
}

} // namespace tarvek
