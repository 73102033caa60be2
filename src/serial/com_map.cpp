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
    if (valid(com))
        file_[slot(com)] = device.trimmed();
}

void ComMap::load(SettingsFiles& files)
{
    if (!QFileInfo::exists(files.pathOf(fileName())))
        save(files);
    std::array<QString, kLastCom> lines;
    files.readStrings(fileName(), std::span<QString>(lines));
    for (std::size_t i = 0; i < lines.size(); ++i)
        file_[i] = lines[i].trimmed();
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
