#include "serial/com_map.h"

#include "settings/settings_files.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <span>

namespace tarvek {

QString ComMap::defaultDevice(int com)
{
    if (!valid(com))
        return {};
#ifdef Q_OS_WIN
    return QStringLiteral("COM%1").arg(com);
#else
    return QStringLiteral("/dev/ttyS%1").arg(com - 1);
#endif
}

QString ComMap::deviceFor(int com) const
{
    if (!valid(com))
        return {};
    if (!overrides_[slot(com)].isEmpty())
        return overrides_[slot(com)];
    if (refused_[slot(com)])
        return {};
    if (!file_[slot(com)].isEmpty())
        return file_[slot(com)];
    return defaultDevice(com);
}

QString ComMap::fileDevice(int com) const
{
    return valid(com) ? file_[slot(com)] : QString();
}

void ComMap::setFileDevice(int com, const QString& device)
{
    if (valid(com)) {
        file_[slot(com)] = device.trimmed();
        refused_[slot(com)] = false;
    }
}

bool ComMap::plausibleDevice(const QString& device)
{
    static const QRegularExpression name(QStringLiteral("^[A-Za-z0-9/\\\\._:+-]+$"));
    return name.match(device).hasMatch();
}

QStringList ComMap::portSettingFaults(const std::array<QString, 6>& numbers, const std::array<QString, 6>& enabled)
{
    QStringList faults;
    const QString file = QStringLiteral("ParamComx.ini");
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const auto on = SettingsFiles::toNumber(enabled[i]);
        const auto com = SettingsFiles::toNumber(numbers[i]);
        const int line = static_cast<int>(2 * i + 1);
        if (!com || (on == 1 && !valid(*com)))
            faults << QStringLiteral("%1 line %2: \"%3\" is not a COM number from 1 to 14; LE%4 stays off")
                          .arg(file).arg(line).arg(numbers[i].left(20)).arg(i + 1);
        if (!on || (*on != 0 && *on != 1))
            faults << QStringLiteral("%1 line %2: \"%3\" is neither 0 (off) nor 1 (on); LE%4 stays off")
                          .arg(file).arg(line + 1).arg(enabled[i].left(20)).arg(i + 1);
    }
    return faults;
}

QStringList ComMap::load(SettingsFiles& files)
{
    if (!QFileInfo::exists(files.pathOf(fileName())))
        save(files);
    std::array<QString, kLastCom> lines;
    files.readStrings(fileName(), std::span<QString>(lines));
    QStringList faults;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        file_[i] = lines[i].trimmed();
        refused_[i] = !file_[i].isEmpty() && !plausibleDevice(file_[i]);
        if (refused_[i])
            faults << QStringLiteral("ComDevices.ini line %1: \"%2\" is no device name; COM%1 stays off")
                          .arg(i + 1)
                          .arg(file_[i].left(40));
    }
    return faults;
}

bool ComMap::save(SettingsFiles& files) const
{
    return files.writeValues(fileName(), QStringList(file_.begin(), file_.end()), LineFormat::Plain);
}

bool ComMap::applyOverride(const QString& text)
{
    static const QRegularExpression form(QStringLiteral("^\\s*(?:COM)?(\\d{1,2})\\s*=\\s*(\\S.*?)\\s*$"),
                                         QRegularExpression::CaseInsensitiveOption);
    const auto match = form.match(text);
    if (!match.hasMatch())
        return false;
    const int com = match.captured(1).toInt();
    if (!valid(com))
        return false;
    overrides_[slot(com)] = match.captured(2);
    return true;
}

QStringList ComMap::applyOverrides(const QStringList& texts)
{
    QStringList malformed;
    for (const QString& t : texts)
        if (!applyOverride(t))
            malformed << t;
    return malformed;
}

void ComMap::clearOverrides()
{
    overrides_.fill(QString());
}

} // namespace tarvek
