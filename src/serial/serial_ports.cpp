// The six ports of the link: opening and closing them with the line settings, Connect and
// Disconnect, the configuration form, why a device cannot be opened, and opening again a port that
// an error closed. The reply and frame cycle on the open ports is in serial_link.cpp.
#include "serial/serial_link.h"

#include "serial/device_check.h"
#include "serial/port_events.h"
#include "settings/settings_files.h"
#include "settings/station_settings.h"

#include <QFileInfo>

namespace tarvek {

namespace {
constexpr int kLinkCountdownStart = 60;
} // namespace

int portEventEntry(QSerialPort::SerialPortError error)
{
    switch (error) {
    case QSerialPort::ReadError: return static_cast<int>(PortEvent::Overrun);
    case QSerialPort::WriteError: return static_cast<int>(PortEvent::TransmitFull);
    case QSerialPort::TimeoutError: return static_cast<int>(PortEvent::DataSetReadyTimeout);
    // The device went away under the port.
    case QSerialPort::ResourceError: return static_cast<int>(PortEvent::ControlBlockError);
    default: return -1;
    }
}

bool SerialLink::portOpen(int slot) const { return at(slot).open; }

bool SerialLink::enabled(int slot) const
{
    return SettingsFiles::toNumber(settings_.portEnabled.at(static_cast<std::size_t>(slot - 1))).value_or(0) == 1;
}
int SerialLink::linkCountdown(int slot) const { return at(slot).countdown; }
QString SerialLink::openError(int slot) const { return at(slot).openError; }
DeviceProblem SerialLink::openProblem(int slot) const { return at(slot).open ? DeviceProblem::None : at(slot).problem; }
QString SerialLink::deviceName(int slot) const
{
    const int com = settings_.portNumbers.at(static_cast<std::size_t>(slot - 1)).trimmed().toInt();
    return resolver_ ? resolver_(com) : QString();
}

QString SerialLink::openDevice(int slot) const
{
    return at(slot).open ? at(slot).openDevice : QString();
}

QString SerialLink::portLabel(int slot) const
{
    return QStringLiteral("COM%1 - COM%2").arg(slot).arg(settings_.portNumbers.at(static_cast<std::size_t>(slot - 1)).trimmed());
}

void SerialLink::loadForm()
{
    for (std::size_t i = 0; i < 6; ++i) {
        form_.numbers[i] = settings_.portNumbers[i];
        form_.enabled[i] = SettingsFiles::toNumber(settings_.portEnabled[i]).value_or(0) == 1;
    }
}

int SerialLink::portNumbersAboveLimit(const FormState& form)
{
    int count = 0;
    for (const QString& n : form.numbers)
        if (SettingsFiles::toNumber(n).value_or(0) > 14)
            ++count;
    return count;
}

void SerialLink::openSlot(int slot)
{
    Slot& s = at(slot);
    const auto enabledValue = SettingsFiles::toNumber(settings_.portEnabled.at(static_cast<std::size_t>(slot - 1))).value_or(0);
    if (enabledValue == 1) {
        if (s.port->isOpen() || s.dropped || (transport_ && s.open))
            return; // an open port cannot be reconfigured; it stays as it is
        if (transport_) {
            openOnTransport(slot);
            return;
        }
        const QString device = deviceName(slot);
        s.port->setPortName(device);
        s.port->setFlowControl(QSerialPort::SoftwareControl);
        s.port->setBaudRate(QSerialPort::Baud19200);
        s.port->setDataBits(QSerialPort::Data8);
        s.port->setParity(QSerialPort::NoParity);
        s.port->setStopBits(QSerialPort::OneStop);
        // What is no serial port is never opened; what is, and still fails, is told why.
        DeviceVerdict verdict = device.isEmpty() ? DeviceVerdict{} : inspectDevice(device);
        if (!device.isEmpty() && verdict.ok() && !s.port->open(QIODevice::ReadWrite))
            verdict = explainOpenFailure(device, s.port->error(), s.port->errorString());
        if (device.isEmpty() || !verdict.ok()) {
            s.openError = device.isEmpty()
                              ? QStringLiteral("no device for COM%1").arg(settings_.portNumbers.at(static_cast<std::size_t>(slot - 1)))
                              : verdict.text;
            if (verdict.problem == DeviceProblem::InUse)
                if (const int holder = slotHolding(device); holder > 0)
                    s.openError = inUseByEngineText(device, holder);
            s.missing = verdict.problem == DeviceProblem::Missing;
            s.problem = device.isEmpty() ? DeviceProblem::Missing : verdict.problem;
            s.port->clearError();
            emit portOpenFailed(slot, s.openError);
            return;
        }
        // Not every device has an RTS line (a pseudo-terminal has none); the port works without it.
        s.port->setRequestToSend(false);
        s.port->clearError();
        s.openError.clear();
        s.missing = false;
        s.problem = DeviceProblem::None;
        s.openDevice = device;
        s.firstByte = -1;
        s.goodSinceTick = 0;
        s.staleDrops += s.framer.staleDrops();
        s.framer.reset();
        s.heldInPort = 0;
        s.badBeforeAnswer = 0;
        s.open = true;
        s.countdown = kLinkCountdownStart;
        emit portOpened(slot);
    } else if (enabledValue == 0 && (s.port->isOpen() || s.open)) {
        closeSlot(slot);
    }
}

void SerialLink::openOnTransport(int slot)
{
    Slot& s = at(slot);
    s.openError.clear();
    s.missing = false;
    s.openDevice = transport_->deviceName(slot);
    s.firstByte = -1;
    s.goodSinceTick = 0;
    s.staleDrops += s.framer.staleDrops();
    s.framer.reset();
    s.badBeforeAnswer = 0;
    s.open = true;
    s.countdown = kLinkCountdownStart;
    emit portOpened(slot);
}

int SerialLink::slotHolding(const QString& device) const
{
    const QString path = QFileInfo(devicePath(device)).canonicalFilePath();
    for (int k = 1; k <= 6; ++k)
        if (at(k).open && !path.isEmpty() && QFileInfo(devicePath(at(k).openDevice)).canonicalFilePath() == path)
            return k;
    return 0;
}

void SerialLink::openPorts()
{
    for (int k = 1; k <= 6; ++k)
        openSlot(k);
}

void SerialLink::closeSlot(int slot)
{
    Slot& s = at(slot);
    if (s.port->isOpen())
        s.port->close();
    s.open = false;
    stopResting(slot);
    s.reading = Reading::Listening;
    s.indicator->stop();
    s.due->stop();
    emit linkIndicator(slot, false);
    emit portClosed(slot);
}

void SerialLink::writeSettingsFromForm()
{
    for (std::size_t i = 0; i < 6; ++i) {
        settings_.portNumbers[i] = form_.numbers[i].trimmed();
        settings_.portEnabled[i] = form_.enabled[i] ? QStringLiteral("1") : QStringLiteral("0");
    }
    settings_.savePorts(files_);
}

void SerialLink::resetAnswers()
{
    for (auto& s : slots_) {
        s.dropped = false;
        s.answered = false;
        s.lostOnError = false;
        s.reconnect->stop();
    }
}

void SerialLink::connectLink()
{
    stopSenders();
    resetAnswers();
    writeSettingsFromForm();
    openPorts();
    connected_ = true;
    awaitMissingDevices();
    emit connectionChanged(true);
    captionTimer_->start();
}

void SerialLink::disconnectLink()
{
    stopSenders();
    resetAnswers(); // a disconnected link is never re-opened behind the operator's back
    for (int k = 1; k <= 6; ++k) {
        tables_.at(k - 1).ReplySeen = 0;
        if (at(k).open || at(k).port->isOpen())
            closeSlot(k);
    }
    connected_ = false;
    emit connectionChanged(false);
    captionTimer_->start();
}

void SerialLink::setConnected(bool on)
{
    connected_ = on;
    if (on)
        awaitMissingDevices();
    emit connectionChanged(on);
}

void SerialLink::toggleConnection()
{
    if (connected_)
        disconnectLink();
    else
        connectLink();
}

void SerialLink::saveConfiguration()
{
    resetAnswers();
    writeSettingsFromForm();
    openPorts();
    if (connected_)
        awaitMissingDevices();
    emit configurationSaved();
}

void SerialLink::stopSenders()
{
    for (auto& s : slots_)
        s.sender->stop();
}

bool SerialLink::reconnecting(int slot) const { return at(slot).lostOnError; }
bool SerialLink::deviceMissing(int slot) const { return at(slot).missing && !at(slot).open; }

void SerialLink::awaitMissingDevices()
{
    // A device plugged in later, or a device server still booting, is waited for like one that
    // went away.
    for (int k = 1; k <= 6; ++k) {
        Slot& s = at(k);
        if (s.missing && !s.open && !s.dropped && enabled(k) && !s.lostOnError) {
            s.lostOnError = true;
            s.reconnect->start();
        }
    }
}
QTimer* SerialLink::reconnectTimer(int slot) const { return at(slot).reconnect; }

void SerialLink::setDropped(int slot, bool dropped) { at(slot).dropped = dropped; }
bool SerialLink::dropped(int slot) const { return at(slot).dropped; }

void SerialLink::shutdown()
{
    captionTimer_->stop();
    supervision_->stop();
    for (int k = 1; k <= 6; ++k) {
        Slot& s = at(k);
        s.sender->stop();
        s.indicator->stop();
        s.reconnect->stop();
        stopResting(k);
        s.reading = Reading::Listening;
        if (s.port->isOpen())
            s.port->close();
        s.open = false;
    }
}

void SerialLink::onPortError(int slot, QSerialPort::SerialPortError error)
{
    if (error == QSerialPort::NoError || error == QSerialPort::UnsupportedOperationError)
        return;
    Slot& s = at(slot);
    // Whatever was being gathered is not to be trusted.
    if (s.port->isOpen() && s.port->bytesAvailable() > 0)
        s.port->skip(s.port->bytesAvailable());
    s.heldInPort = 0;
    stopResting(slot);
    s.reading = Reading::Listening;
    s.staleDrops += s.framer.staleDrops();
    s.framer.reset();
    const int entry = portEventEntry(error);
    if (entry >= 0)
        emit portEvent(slot, entry);
    if ((error == QSerialPort::ResourceError || error == QSerialPort::ReadError) && s.open) {
        // The device is gone or hung up; reading on would only repeat the error. It is opened
        // again as soon as it is back, while the slot is enabled and the link connected.
        // The port's own text may still be that of an earlier, harmless error (a missing RTS line).
        const QString reason = error == QSerialPort::ResourceError ? QStringLiteral("the device went away")
                                                                   : QStringLiteral("the device stopped reading");
        s.openError = QStringLiteral("%1: %2").arg(s.openDevice, reason);
        const QString device = s.openDevice;
        closeSlot(slot);
        if (connected_ && enabled(slot)) {
            s.lostOnError = true;
            s.reconnect->start();
            emit portLost(slot, device, reason);
        }
    }
    if (s.port->isOpen())
        s.port->clearError();
}

void SerialLink::tryReconnect(int slot)
{
    Slot& s = at(slot);
    if (!s.lostOnError || !connected_ || !enabled(slot) || s.dropped) {
        s.lostOnError = false;
        return;
    }
    if (!s.open)
        openSlot(slot);
    if (!s.open) {
        s.reconnect->start();
        return;
    }
    s.lostOnError = false;
    emit portRestored(slot, s.openDevice);
}

} // namespace tarvek
