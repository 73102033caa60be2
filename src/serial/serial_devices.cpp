#include "serial/serial_devices.h"

#include "serial/device_check.h"

#include <QCollator>
#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QHash>
#include <QSerialPortInfo>
#include <QTimer>

#include <algorithm>

namespace tarvek {

QString SerialDevice::details() const
{
    QStringList parts;
    if (stable())
        parts << systemName;
    for (const QString& s : {description, manufacturer})
        if (!s.isEmpty() && !parts.contains(s))
            parts << s;
    if (!serialNumber.isEmpty())
        parts << QStringLiteral("serial number %1").arg(serialNumber);
    return parts.join(QStringLiteral(", "));
}

SerialDevices::SerialDevices(QObject* parent) : QObject(parent)
{
    settle_ = new QTimer(this);
    settle_->setObjectName(QStringLiteral("DeviceListSettle"));
    settle_->setSingleShot(true);
    settle_->setInterval(kSettleMs);
    connect(settle_, &QTimer::timeout, this, [this] {
        rearm(); // a folder that appeared (the by-id folder with the first adapter) is watched now
        refresh();
    });
}

void SerialDevices::setStableFolder(const QString& folder)
{
    stableFolder_ = folder;
    if (watcher_)
        rearm();
    refresh();
}

void SerialDevices::refresh()
{
    QHash<QString, QSerialPortInfo> present;
    for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts())
        present.insert(info.systemLocation(), info);
    QList<SerialDevice> stable, plain;
    QStringList named; // system names that have a stable name
    const QDir folder(stableFolder_);
    for (const QFileInfo& link : folder.entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot, QDir::Name)) {
        const QString target = link.canonicalFilePath();
        if (!link.isSymLink() || target.isEmpty())
            continue; // a link whose adapter is gone
        SerialDevice d;
        d.path = link.absoluteFilePath();
        d.systemName = target;
        if (const auto it = present.constFind(target); it != present.constEnd()) {
            d.description = it->description();
            d.manufacturer = it->manufacturer();
            d.serialNumber = it->serialNumber();
        }
        named << target;
        stable << d;
    }
    for (const QSerialPortInfo& info : std::as_const(present)) {
        if (named.contains(info.systemLocation()))
            continue;
        plain << SerialDevice{info.systemLocation(), info.systemLocation(), info.description(), info.manufacturer(),
                              info.serialNumber()};
    }
    QCollator numeric;
    numeric.setNumericMode(true);
    std::sort(plain.begin(), plain.end(),
              [&numeric](const SerialDevice& a, const SerialDevice& b) { return numeric.compare(a.path, b.path) < 0; });
    const auto key = [](const QList<SerialDevice>& list) {
        QStringList k;
        for (const SerialDevice& d : list)
            k << d.path + QLatin1Char('>') + d.systemName + QLatin1Char('|') + d.details();
        return k;
    };
    const QList<SerialDevice> next = stable + plain;
    if (read_ && key(next) == key(devices_))
        return;
    read_ = true;
    devices_ = next;
    emit changed();
}

const SerialDevice* SerialDevices::find(const QString& device) const
{
    const QString path = devicePath(device);
    const QString canonical = QFileInfo(path).canonicalFilePath();
    for (const SerialDevice& d : devices_)
        if (d.path == path || d.systemName == path || (!canonical.isEmpty() && d.systemName == canonical))
            return &d;
    return nullptr;
}

void SerialDevices::watch(const QStringList& extra)
{
    extra_ = extra;
    if (!watcher_) {
        watcher_ = new QFileSystemWatcher(this);
        connect(watcher_, &QFileSystemWatcher::directoryChanged, settle_, qOverload<>(&QTimer::start));
    }
    rearm();
}

void SerialDevices::stopWatching()
{
    delete watcher_;
    watcher_ = nullptr;
    settle_->stop();
}

void SerialDevices::rearm()
{
    if (!watcher_)
        return;
    QStringList folders{QStringLiteral("/dev")};
    // The stable folder exists only while an adapter is plugged in: until then its parent tells
    // when it comes.
    QString stable = stableFolder_;
    while (!stable.isEmpty() && !QFileInfo(stable).isDir() && QFileInfo(stable).absolutePath() != stable)
        stable = QFileInfo(stable).absolutePath();
    folders << stable;
    for (const QString& d : std::as_const(extra_))
        if (!d.trimmed().isEmpty())
            folders << QFileInfo(devicePath(d)).absolutePath();
    folders.removeDuplicates();
    folders.erase(std::remove_if(folders.begin(), folders.end(), [](const QString& f) { return !QFileInfo(f).isDir(); }),
                  folders.end());
    const QStringList now = watcher_->directories();
    for (const QString& f : now)
        if (!folders.contains(f))
            watcher_->removePath(f);
    for (const QString& f : std::as_const(folders))
        if (!now.contains(f))
            watcher_->addPath(f);
}

} // namespace tarvek
