#include "app/setpoints/pw6_sliders.h"

#include "app/common/form_buttons.h"
#include "protocol/engine.h"
#include "setpoints/power_setpoints.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QVBoxLayout>

namespace tarvek {

PW6Sliders::PW6Sliders(PowerSetPoints& setPoints, const EngineTables& tables, QWidget* parent)
    : QDialog(parent), setPoints_(setPoints), tables_(tables)
{
    setObjectName(QStringLiteral("PW6Sliders"));
    setWindowTitle(QStringLiteral(" PWe in Individual or Group"));
    setModal(false);

    auto* outer = new QVBoxLayout(this);
    auto* mode = new QHBoxLayout;
    single_ = new QRadioButton(QStringLiteral("Single LE"));
    single_->setObjectName(QStringLiteral("OptionSingle"));
    group_ = new QRadioButton(QStringLiteral("Group LE"));
    group_->setObjectName(QStringLiteral("OptionGroup"));
    single_->setChecked(true);
    auto* preset = new QPushButton(QStringLiteral("All equal"));
    preset->setObjectName(QStringLiteral("PresetEgal"));
    preset->setToolTip(QStringLiteral("Every engine takes the value of the slider moved last"));
    mode->addWidget(single_);
    mode->addWidget(group_);
    mode->addStretch(1);
    mode->addWidget(preset);
    outer->addLayout(mode);

    auto* grid = new QGridLayout;
    for (int i = 0; i < kEngines; ++i) {
        const int n = i + 1;
        auto* title = new QLabel(QStringLiteral("LE%1").arg(n));
        title->setAlignment(Qt::AlignCenter);
        auto* s = new QSlider(Qt::Vertical);
        s->setObjectName(QStringLiteral("SliderPW%1").arg(n));
        // The slider cannot leave the range a set-point may take.
        s->setRange(PowerSetPoints::kMin, PowerSetPoints::kMax);
        s->setSingleStep(1);
        s->setPageStep(10);
        s->setTickPosition(QSlider::TicksBothSides);
        s->setTickInterval(10);
        s->setFocusPolicy(Qt::StrongFocus);
        s->setMinimumHeight(180);
        auto* l = new QLabel;
        l->setObjectName(QStringLiteral("LabelPW%1").arg(n));
        l->setAlignment(Qt::AlignCenter);
        l->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
        l->setMinimumWidth(70);
        sliders_[static_cast<std::size_t>(i)] = s;
        labels_[static_cast<std::size_t>(i)] = l;
        grid->addWidget(title, 0, i);
        grid->addWidget(s, 1, i, Qt::AlignHCenter);
        grid->addWidget(l, 2, i);
        connect(s, &QSlider::valueChanged, this, [this, i](int v) { moved(i, v); });
    }
    outer->addLayout(grid);

    QPushButton* ok = addButtonRow(this, outer, {"PWValide", QStringLiteral("Validate")}, {"PWQuitter", QStringLiteral("Close")});
    connect(ok, &QPushButton::clicked, this, &PW6Sliders::validate);
    connect(preset, &QPushButton::clicked, this, &PW6Sliders::presetEqual);
    reload();
}

void PW6Sliders::reload()
{
    const int selected = tables_.selectedEngine;
    lastMoved_ = selected >= 1 && selected <= kEngines ? selected - 1 : 0;
    following_ = true; // loading is not a group move
    for (int i = 0; i < kEngines; ++i) {
        const int v = tables_.at(i).PowerSetPoint;
        sliders_[static_cast<std::size_t>(i)]->setValue(v);
        labels_[static_cast<std::size_t>(i)]->setText(PowerSetPoints::weText(sliders_[static_cast<std::size_t>(i)]->value()));
    }
    following_ = false;
    sliders_[static_cast<std::size_t>(lastMoved_)]->setFocus();
}

std::array<int, PW6Sliders::kEngines> PW6Sliders::shown() const
{
    std::array<int, kEngines> values{};
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = sliders_[i]->value();
    return values;
}

void PW6Sliders::moved(int index, int value)
{
    labels_[static_cast<std::size_t>(index)]->setText(PowerSetPoints::weText(value));
    if (following_)
        return;
    lastMoved_ = index;
    if (!group_->isChecked())
        return;
    following_ = true;
    for (QSlider* s : sliders_)
        s->setValue(value);
    following_ = false;
}

void PW6Sliders::presetEqual()
{
    const int value = sliders_[static_cast<std::size_t>(lastMoved_)]->value();
    following_ = true;
    for (QSlider* s : sliders_)
        s->setValue(value);
    following_ = false;
}

void PW6Sliders::validate()
{
    setPoints_.confirm(shown());
    accept();
}

} // namespace tarvek
