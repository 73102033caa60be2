#include "serial/device_check.h"

#include <QDir>
#include <QFile>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace tarvek {

namespace {
QString shown(const QString& device) { return QDir::toNativeSeparators(devicePath(device)); }

#ifdef Q_OS_UNIX
// The group that may use the device: its file's group, or "dialout" where that says nothing.
QString deviceGroup(const QString& path)
{
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) == 0) {
        group g{};
        group* found = nullptr;
        char buffer[1024];
        if (::getgrgid_r(st.st_gid, &g, buffer, sizeof buffer, &found) == 0 && found && found->gr_name &&
            st.st_gid != 0)
            return QString::fromLocal8Bit(found->gr_name);
    }
    return QStringLiteral("dialout");
}

QString userName()
{
    passwd p{};
    passwd* found = nullptr;
    char buffer[1024];
    if (::getpwuid_r(::geteuid(), &p, buffer, sizeof buffer, &found) == 0 && found && found->pw_name)
        return QString::fromLocal8Bit(found->pw_name);
    return QStringLiteral("$USER");
}
#endif
} // namespace

QString devicePath(const QString& device)
{
#ifdef Q_OS_UNIX
    const QString d = device.trimmed();
    if (!d.isEmpty() && !d.contains(QLatin1Char('/')))
        return QStringLiteral("/dev/") + d;
    return d;
#else
    return device.trimmed();
#endif
}

QString noPermissionText(const QString& device)
{
#ifdef Q_OS_UNIX
    const QString group = deviceGroup(devicePath(device));
    return QStringLiteral("no permission to open %1: the user %2 must be in the group %3 "
                          "(sudo usermod -aG %3 %2, then log in again)")
        .arg(shown(device), userName(), group);
#else
    return QStringLiteral("no permission to open %1").arg(shown(device));
#endif
}

QString inUseByEngineText(const QString& device, int engine)
{
    return QStringLiteral("%1 is already open for LE%2").arg(shown(device)).arg(engine);
}

DeviceVerdict inspectDevice(const QString& device)
{
    const QString path = devicePath(device);
    if (path.isEmpty())
        return {DeviceProblem::Missing, QStringLiteral("no device chosen")};
#ifdef Q_OS_UNIX
    const QByteArray name = QFile::encodeName(path);
    struct stat st {};
    if (::stat(name.constData(), &st) != 0) {
        if (errno == EACCES)
            return {DeviceProblem::NoPermission, noPermissionText(device)};
        return {DeviceProblem::Missing, QStringLiteral("%1 does not exist").arg(shown(device))};
    }
    if (S_ISDIR(st.st_mode))
        return {DeviceProblem::Folder, QStringLiteral("%1 is a folder, not a serial port").arg(shown(device))};
    if (S_ISREG(st.st_mode))
        return {DeviceProblem::NotSerial, QStringLiteral("%1 is an ordinary file, not a serial port").arg(shown(device))};
    if (!S_ISCHR(st.st_mode))
        return {DeviceProblem::NotSerial, QStringLiteral("%1 is not a serial port").arg(shown(device))};
    if (::access(name.constData(), R_OK | W_OK) != 0 && errno == EACCES)
        return {DeviceProblem::NoPermission, noPermissionText(device)};
#endif
    return {};
}

DeviceVerdict explainOpenFailure(const QString& device, QSerialPort::SerialPortError error, const QString& errorText)
{
    const DeviceVerdict found = inspectDevice(device);
    if (!found.ok())
        return found;
    switch (error) {
    case QSerialPort::DeviceNotFoundError:
        return {DeviceProblem::Missing, QStringLiteral("%1 does not exist").arg(shown(device))};
    case QSerialPort::UnsupportedOperationError: // the device answers no terminal call
        return {DeviceProblem::NotSerial, QStringLiteral("%1 is not a serial port (%2)").arg(shown(device), errorText)};
    case QSerialPort::PermissionError:
        // This user may read and write it: its lock file or an exclusive open holds it.
        return {DeviceProblem::InUse, QStringLiteral("%1 is in use by another program").arg(shown(device))};
    default:
        return {DeviceProblem::Other, QStringLiteral("%1: %2").arg(shown(device), errorText)};
    }
}

} // namespace tarvek
