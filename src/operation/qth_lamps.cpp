#include "operation/qth_lamps.h"

#include "settings/settings_files.h"
#include "settings/station_settings.h"

namespace tarvek {

QthLamps::QthLamps(OperationContext& context, SettingsFiles& files, StationSettings& settings, QObject* parent)
    : QObject(parent), ctx_(context), files_(files), settings_(settings)
{
    setObjectName(QStringLiteral("QthLamps"));
}

void QthLamps::press()
{
    if (on())
        switchOff();
    else
        switchOn();
}

void QthLamps::switchOn()
{
    for (int n = 1; n <= kEngines; ++n) {
        if (ctx_.qthChecked(n) && ctx_.portOpen(n)) {
            ctx_.record(n).QthCommand = 1;
            orange_ = true;
        }
    }
    // No engine qualified: nothing more happens.
    if (!orange_)
        return;
    save(1);
    QthLampsOn = 1;
    emit changed();
}

void QthLamps::switchOff(bool reportClosed)
{
    for (int n = 1; n <= kEngines; ++n) {
        if (!ctx_.qthChecked(n))
            continue;
        if (ctx_.portOpen(n)) {
            ctx_.record(n).QthCommand = 0;
            orange_ = false;
        } else if (reportClosed) {
            emit warning(operation_texts::kWarningCaption, operation_texts::kPortUnactivated);
        }
    }
    if (!orange_)
        save(0);
    QthLampsOn = 0;
    emit changed();
}

void QthLamps::stopFollowUp()
{
    QthLampsOn = 0;
    emit changed();
}

void QthLamps::restore()
{
    if (settings_.qthStarted != 1)
        return;
    for (int n = 1; n <= kEngines; ++n)
        if (ctx_.qthChecked(n))
            ctx_.record(n).QthCommand = 1;
    orange_ = true;
    QthLampsOn = 1;
    emit changed();
}

void QthLamps::save(int value)
{
    settings_.qthStarted = value;
    if (!files_.writeValues(fileName(), {QString::number(value)}))
        emit warning(operation_texts::kWarningCaption, QStringLiteral("Cannot write ") + files_.pathOf(fileName()));
}

} // namespace tarvek
