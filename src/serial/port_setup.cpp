#include "serial/port_setup.h"

#include "serial/com_map.h"
#include "serial/device_check.h"
#include "serial/serial_link.h"
#include "settings/settings_files.h"

#include <QFileInfo>

namespace tarvek {

namespace {
int comOf(const QString& number)
{
    const auto n = SettingsFiles::toNumber(number);
    return n && *n >= ComMap::kFirstCom && *n <= ComMap::kLastCom ? static_cast<int>(*n) : 0;
}

// Two names of one device: the same path, or links to the same device.
bool sameDevice(const QString& a, const QString& b)
{
    const QString pa = devicePath(a), pb = devicePath(b);
    if (pa == pb)
        return true;
    const QString ca = QFileInfo(pa).canonicalFilePath(), cb = QFileInfo(pb).canonicalFilePath();
    return !ca.isEmpty() && ca == cb;
}

PortSetup::State fromVerdict(const DeviceVerdict& v, const QString& present) { return PortSetup::describe(v, present); }
} // namespace

PortSetup::State PortSetup::describe(const DeviceVerdict& v, const QString& present)
{
    switch (v.problem) {
    case DeviceProblem::None: return {Kind::Present, present};
    case DeviceProblem::Missing: return {Kind::Missing, QStringLiteral("missing: ") + v.text};
    case DeviceProblem::NoPermission: return {Kind::Refused, QStringLiteral("refused by the system: ") + v.text};
    default: return {Kind::Refused, QStringLiteral("refused: ") + v.text};
    }
}

PortSetup::PortSetup(SerialLink& link, ComMap& map, SettingsFiles& files, QObject* parent)
    : QObject(parent), link_(link), map_(map), files_(files)
{
}

PortSetup::Rows PortSetup::rows() const
{
    Rows rows;
    const auto& form = link_.form();
    for (std::size_t i = 0; i < rows.size(); ++i)
        rows[i] = Row{form.numbers[i], form.enabled[i], deviceFor(form.numbers[i])};
    return rows;
}

QString PortSetup::deviceFor(const QString& number) const { return map_.deviceFor(comOf(number)); }
QString PortSetup::defaultDevice(const QString& number) { return ComMap::defaultDevice(comOf(number)); }
bool PortSetup::overridden(const QString& number) const { return map_.overridden(comOf(number)); }

QString PortSetup::freeNumber(const Rows& rows, int slot)
{
    const auto used = [&rows, slot](int com) {
        for (int k = 1; k <= 6; ++k)
            if (k != slot && comOf(rows[static_cast<std::size_t>(k - 1)].number) == com)
                return true;
        return false;
    };
    if (!used(slot))
        return QString::number(slot);
    for (int com = ComMap::kFirstCom; com <= ComMap::kLastCom; ++com)
        if (!used(com))
            return QString::number(com);
    return QString::number(slot);
}

QString PortSetup::refusal(const Rows& rows, const ComMap& map)
{
    const auto device = [&map](const Row& r) {
        return map.overridden(comOf(r.number)) || r.device.trimmed().isEmpty() ? map.deviceFor(comOf(r.number))
                                                                                : r.device.trimmed();
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Row& a = rows[i];
        if (!a.device.trimmed().isEmpty() && !ComMap::plausibleDevice(a.device.trimmed()))
            return QStringLiteral("LE%1: \"%2\" is no device name (letters, digits and / . _ - : + only)")
                .arg(i + 1)
                .arg(a.device.trimmed());
        if (!a.enabled || comOf(a.number) == 0)
            continue;
        for (std::size_t j = i + 1; j < rows.size(); ++j) {
            const Row& b = rows[j];
            if (!b.enabled || comOf(b.number) == 0)
                continue;
            if (comOf(a.number) == comOf(b.number))
                return QStringLiteral("LE%1 and LE%2 are both on COM%3: give each engine a COM number of its own")
                    .arg(i + 1)
                    .arg(j + 1)
                    .arg(comOf(a.number));
            if (sameDevice(device(a), device(b)))
                return QStringLiteral("LE%1 and LE%2 are both given %3: one device carries one engine; choose "
                                      "another device for one of them")
                    .arg(i + 1)
                    .arg(j + 1)
                    .arg(devicePath(device(a)));
        }
    }
    return {};
}

bool PortSetup::save(const Rows& rows)
{
    if (const QString why = refusal(rows, map_); !why.isEmpty()) {
        emit refused(why);
        return false;
    }
    // The enabled rows name their COM number's device; a switched-off row only where no enabled
    // row names that number.
    std::array<bool, ComMap::kLastCom + 1> named{};
    for (bool enabledPass : {true, false}) {
        for (const Row& r : rows) {
            const int com = comOf(r.number);
            if (r.enabled != enabledPass || com == 0 || named[static_cast<std::size_t>(com)] || map_.overridden(com))
                continue;
            named[static_cast<std::size_t>(com)] = true;
            const QString device = r.device.trimmed();
            map_.setFileDevice(com, device == ComMap::defaultDevice(com) ? QString() : device);
        }
    }
    map_.save(files_);
    auto& form = link_.form();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        form.numbers[i] = rows[i].number.trimmed();
        form.enabled[i] = rows[i].enabled;
    }
    link_.saveConfiguration();
    // Ports opened by a save are connected ports, as at start-up: the link button offers to stop
    // them, and a device that goes away (or is not there yet) is waited for.
    bool meant = false;
    for (int k = 1; k <= 6; ++k)
        meant = meant || link_.portOpen(k) || link_.deviceMissing(k);
    if (meant && !link_.connected())
        link_.setConnected(true);
    return true;
}

QString PortSetup::rowDevice(const Row& row) const
{
    return overridden(row.number) || row.device.trimmed().isEmpty() ? deviceFor(row.number) : row.device.trimmed();
}

PortSetup::State PortSetup::state(int slot, const Row& row) const
{
    const QString device = rowDevice(row);
    if (link_.portOpen(slot)) {
        // An open port keeps its device until the link connects again.
        const QString on = devicePath(link_.openDevice(slot));
        if (!row.enabled)
            return {Kind::Open, QStringLiteral("open on %1; closed on Save").arg(on)};
        if (sameDevice(on, device))
            return {Kind::Open, QStringLiteral("open")};
        return {Kind::Open, QStringLiteral("open on %1; %2 from the next Connect (STOP, then START (RS232))")
                                .arg(on, device.isEmpty() ? QStringLiteral("no device") : devicePath(device))};
    }
    if (!row.enabled)
        return {Kind::Off, QStringLiteral("off")};
    if (comOf(row.number) == 0)
        return {Kind::Refused, QStringLiteral("refused: no COM number from 1 to 14")};
    // Not saved yet: what the device itself is.
    if (!link_.enabled(slot) || !sameDevice(link_.deviceName(slot), device))
        return fromVerdict(inspectDevice(device), QStringLiteral("present; opens on Save"));
    if (link_.dropped(slot))
        return fromVerdict(inspectDevice(device), QStringLiteral("present; closed, no engine answered: Save to try again"));
    // Why the last try to open it failed, connected or not.
    switch (link_.openProblem(slot)) {
    case DeviceProblem::None:
        return fromVerdict(inspectDevice(device), link_.connected() ? QStringLiteral("present")
                                                                    : QStringLiteral("present; opens with START (RS232)"));
    case DeviceProblem::Missing:
        return {Kind::Missing, QStringLiteral("missing: %1 does not exist%2")
                                   .arg(devicePath(device),
                                        link_.reconnecting(slot) ? QStringLiteral("; opened as soon as it is there")
                                                                 : QString())};
    case DeviceProblem::NoPermission:
        return {Kind::Refused, QStringLiteral("refused by the system: ") + link_.openError(slot)};
    default: return {Kind::Refused, QStringLiteral("refused: ") + link_.openError(slot)};
    }
}

} // namespace tarvek
