#include "plant/plant_settings.h"

#include "settings/settings_files.h"

#include <QFile>
#include <QFileInfo>
#include <QHostInfo>

namespace tarvek {

PlantSettings PlantSettings::defaults()
{
    PlantSettings s;
    s.station = QHostInfo::localHostName();
    return s;
}

QStringList PlantSettings::lines() const
{
    return {enabled ? QStringLiteral("1") : QStringLiteral("0"), host, QString::number(port), station, user,
            passwordFile, caFile};
}

PlantSettings PlantSettings::load(SettingsFiles& files)
{
    PlantSettings s = defaults();
    const QStringList v = files.readValues(fileName());
    auto line = [&v](int i) { return i < v.size() ? v[i].trimmed() : QString(); };
    if (const auto on = SettingsFiles::toNumber(line(0)))
        s.enabled = *on == 1;
    if (!line(1).isEmpty())
        s.host = line(1);
    if (const auto p = SettingsFiles::toNumber(line(2)); p && *p > 0 && *p < 65536)
        s.port = *p;
    else if (!line(2).isEmpty())
        s.badPort = line(2);
    if (!line(3).isEmpty())
        s.station = line(3);
    s.user = line(4);
    s.passwordFile = line(5);
    s.caFile = line(6);
    return s;
}

bool PlantSettings::save(SettingsFiles& files) const
{
    return files.writeValues(fileName(), lines(), LineFormat::Quoted);
}

bool PlantSettings::setBroker(const QString& hostPort)
{
    const qsizetype colon = hostPort.lastIndexOf(QLatin1Char(':'));
    if (colon <= 0)
        return false;
    bool ok = false;
    const int p = hostPort.mid(colon + 1).toInt(&ok);
    if (!ok || p <= 0 || p > 65535)
        return false;
    host = hostPort.left(colon);
    port = p;
    badPort.clear();
    return true;
}

QString PlantSettings::nameProblem(const QString& name)
{
    if (name.isEmpty())
        return QStringLiteral("the station name is empty");
    for (QChar c : name)
        if (c == QLatin1Char('/') || c == QLatin1Char('+') || c == QLatin1Char('#') || c.isSpace() || c.isNull())
            return QStringLiteral("the station name \"%1\" holds '%2', which a topic level cannot: "
                                  "use letters, digits, '-' or '_'")
                .arg(name, c.isSpace() ? QStringLiteral("a blank") : QString(c));
    return {};
}

QString PlantSettings::problem() const
{
    if (host.isEmpty())
        return QStringLiteral("no broker host");
    if (!badPort.isEmpty())
        return QStringLiteral("the broker port \"%1\" in %2 is not a port from 1 to 65535").arg(badPort, fileName().mid(1));
    if (const QString p = nameProblem(station); !p.isEmpty())
        return p;
    if (!caFile.isEmpty() && !QFileInfo(caFile).isReadable())
        return QStringLiteral("the CA file %1 cannot be read").arg(caFile);
    return {};
}

QString PlantSettings::readPassword(QString* error) const
{
    if (passwordFile.isEmpty())
        return {};
    QFile f(passwordFile);
    const auto loose = QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup |
                       QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther;
    if (!f.exists()) {
        *error = QStringLiteral("the password file %1 does not exist").arg(passwordFile);
        return {};
    }
    if (f.permissions() & loose) {
        *error = QStringLiteral("the password file %1 is open to other users: refused until only its "
                                "owner may read it (chmod 600)")
                     .arg(passwordFile);
        return {};
    }
    if (!f.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("the password file %1 cannot be read: %2").arg(passwordFile, f.errorString());
        return {};
    }
    return QString::fromUtf8(f.readLine(4096)).remove(QLatin1Char('\r')).remove(QLatin1Char('\n'));
}

} // namespace tarvek
