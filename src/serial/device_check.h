#pragma once
// Why a device cannot carry a port, in words a technician can act on: it is not there, it is a
// folder or a file that is no serial port, another program holds it, or the system refuses this
// user (on Linux the usual cause: not in the group that owns the serial devices, "dialout").
#include <QSerialPort>
#include <QString>

namespace tarvek {

enum class DeviceProblem { None, Missing, Folder, NotSerial, InUse, NoPermission, Other };

struct DeviceVerdict {
    DeviceProblem problem = DeviceProblem::None;
    QString text; // empty when there is no problem
    bool ok() const { return problem == DeviceProblem::None; }
};

// The path a device name stands for, as QSerialPort reads it: a bare "ttyUSB0" is "/dev/ttyUSB0".
QString devicePath(const QString& device);

// What the file system says of a device, without opening it: missing (a link whose target is gone
// too), a folder, an ordinary file or another thing that is no device, or no permission to read
// and write it. Cheap enough to ask for six slots whenever a form refreshes.
DeviceVerdict inspectDevice(const QString& device);

// Why QSerialPort could not open a device that inspectDevice found fine (or what inspectDevice
// finds now): another program holds it, it is no terminal, or the system's own text.
DeviceVerdict explainOpenFailure(const QString& device, QSerialPort::SerialPortError error, const QString& errorText);

// The texts, for the callers that name a device themselves.
QString noPermissionText(const QString& device);
QString inUseByEngineText(const QString& device, int engine);

} // namespace tarvek
