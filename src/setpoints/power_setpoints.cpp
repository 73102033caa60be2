#include "setpoints/power_setpoints.h"

#include "recording/history.h"
#include "settings/settings_files.h"

#include <algorithm>

namespace tarvek {

namespace {
constexpr int kRpmUnit = 30; // the motor set-point counts units of 30 rpm
} // namespace

PowerSetPoints::PowerSetPoints(EngineTables& tables, SettingsFiles& files, History& history, QObject* parent)
    : QObject(parent), tables_(tables), files_(files), history_(history)
{
    setObjectName(QStringLiteral("PowerSetPoints"));
}

int PowerSetPoints::clamp(int tens)
{
    return std::clamp(tens, kMin, kMax);
}

void PowerSetPoints::restore(const std::array<int, kEngines>& tens)
{
    for (int i = 0; i < kEngines; ++i) {
        const auto v = static_cast<std::uint8_t>(clamp(tens[static_cast<std::size_t>(i)]));
        tables_.at(i).PowerSetPoint = v;
        filed_[static_cast<std::size_t>(i)] = v;
    }
    emit changed();
}

bool PowerSetPoints::confirm(const std::array<int, kEngines>& shown)
{
    std::array<int, kEngines> lines{};
    for (int i = 0; i < kEngines; ++i) {
        const auto k = static_cast<std::size_t>(i);
        const int v = clamp(shown[k]);
        const bool differs = tables_.at(i).PowerSetPoint != v;
        tables_.at(i).PowerSetPoint = static_cast<std::uint8_t>(v);
        filed_[k] = static_cast<std::uint8_t>(v);
        lines[k] = v;
        if (differs)
            history_.append(QStringLiteral("0"), QStringLiteral("  PWe LE %1 = %2").arg(i + 1).arg(weText(v)));
    }
    // A file that cannot be replaced is reported by the settings files themselves.
    const bool written = files_.writeNumbers(fileName(), lines);
    emit changed();
    return written;
}

std::optional<EntryRequest> PowerSetPoints::motorSpeedEntry()
{
    const int engine = tables_.selectedEngine;
    if (engine < 1 || engine > kEngines) {
        emit statusText(QStringLiteral("Select an LE before setting its motor speed"));
        return std::nullopt;
    }
    EntryRequest r;
    r.hint = QStringLiteral("By not 100");
    r.subject = QStringLiteral("LE%1: motor M speed in rpm (sent in units of 30 rpm)").arg(engine);
    r.minimum = QStringLiteral("1000");
    r.maximum = QStringLiteral("4000");
    r.motorSpeed = true;
    r.onAccepted = [this](const QString& text) { applyMotorSpeed(text.toInt()); };
    r.note = &PowerSetPoints::motorSpeedNote;
    return r;
}

QString PowerSetPoints::motorSpeedNote(const QString& text)
{
    bool ok = false;
    const int rpm = text.toInt(&ok);
    if (!ok || rpm < ValueEntry::kMotorMinRpm || rpm > ValueEntry::kMotorMaxRpm || rpm % kRpmUnit == 0)
        return {};
    return QStringLiteral("%1 rpm is sent as %2 x %3 = %4 rpm").arg(rpm).arg(rpm / kRpmUnit).arg(kRpmUnit).arg(rpm / kRpmUnit * kRpmUnit);
}

void PowerSetPoints::applyMotorSpeed(int rpm)
{
    // The engine selected when the entry is confirmed is the one that gets it.
    const int engine = tables_.selectedEngine;
    if (engine < 1 || engine > kEngines || rpm < ValueEntry::kMotorMinRpm || rpm > ValueEntry::kMotorMaxRpm)
        return;
    MotorSpeedRpm = static_cast<std::int16_t>(rpm);
    const int units = rpm / kRpmUnit;
    tables_.at(engine - 1).MotorSpeedSetPoint = static_cast<std::uint8_t>(units);
    // What goes to the FADEC; an entry the unit rounded is named beside it.
    QString line = QStringLiteral("  M speed LE %1 = %2 rpm").arg(engine).arg(units * kRpmUnit);
    if (units * kRpmUnit != rpm)
        line += QStringLiteral(" (%1 x %2 rpm; %3 rpm entered)").arg(units).arg(kRpmUnit).arg(rpm);
    history_.append(QStringLiteral("0"), line);
    emit changed();
}

} // namespace tarvek
