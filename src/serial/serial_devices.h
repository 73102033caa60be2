#pragma once
// The serial devices present on this machine, for the port form's device choosers: each with its
// system name, description, manufacturer and serial number, and with its stable name under
// /dev/serial/by-id where udev made one (that name survives a reboot and a change of USB socket,
// where /dev/ttyUSB0 may become /dev/ttyUSB1). Stable names come first.
//
// While watching, the list follows adapters plugged in and out: a QFileSystemWatcher on /dev, on
// the by-id folder (or /dev/serial until it exists) and on the folders of the devices named by
// hand, so a list is read only when something there changed, not every second on the thread that
// answers the engines. Reading the list costs a few milliseconds; changes are gathered for
// kSettleMs first, because udev makes the stable name a moment after the kernel makes the device.
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class QFileSystemWatcher;
class QTimer;

namespace tarvek {

struct SerialDevice {
    QString path;         // what a port is best opened by: the stable name where there is one
    QString systemName;   // the device itself, /dev/ttyUSB0
    QString description;  // from the adapter, where it says
    QString manufacturer;
    QString serialNumber;
    bool stable() const { return path != systemName; }
    // One line for a list: the system name, description, manufacturer and serial number known.
    QString details() const;
};

class SerialDevices : public QObject {
    Q_OBJECT
public:
    static constexpr int kSettleMs = 300;
    static QString defaultStableFolder() { return QStringLiteral("/dev/serial/by-id"); }

    explicit SerialDevices(QObject* parent = nullptr);

    // Where the stable names live; another folder of links for a test or an unusual system.
    void setStableFolder(const QString& folder);
    // Reads the list now.
    void refresh();
    const QList<SerialDevice>& devices() const { return devices_; }
    // The device of that path or system name (links followed), or nullptr.
    const SerialDevice* find(const QString& device) const;

    // Follows plugging and unplugging; the folders of `extra` devices are watched too.
    void watch(const QStringList& extra = {});
    void stopWatching();

signals:
    void changed();

private:
    void rearm();

    QString stableFolder_ = defaultStableFolder();
    QList<SerialDevice> devices_;
    bool read_ = false;
    QStringList extra_;
    QFileSystemWatcher* watcher_ = nullptr;
    QTimer* settle_ = nullptr;
};

} // namespace tarvek
