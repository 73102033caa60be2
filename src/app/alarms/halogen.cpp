#include "app/alarms/halogen.h"

#include <QFormLayout>
#include <QLabel>

namespace tarvek {

Halogen::Halogen(Station& station, QWidget* parent)
    : AlarmWindow(station, AlarmSource::Qth, QStringLiteral("Halogen"), QStringLiteral("QTH Alarm Control"), parent)
{
    build();
}

void Halogen::addLimits(QFormLayout* form)
{
    auto* rule = new QLabel(QStringLiteral("The relay feedback differs from the QTH command for %1 s")
                                .arg(AlarmSupervision::kQthSettleMs / 1000.0),
                            this);
    rule->setObjectName(QStringLiteral("QthRule"));
    form->addRow(QStringLiteral("Alarm when"), rule);
}

QString Halogen::reading(int engine) const
{
    const LightEngineRecord& r = station_.tables().at(engine - 1);
    const auto state = [](int v) { return v ? QStringLiteral("on") : QStringLiteral("off"); };
    return QStringLiteral("relay %1, command %2").arg(state(r.reported[pos::QthRelay]), state(r.QthCommand));
}

} // namespace tarvek
