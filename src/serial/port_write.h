#pragma once
// Writing a frame to a port without waking the event loop for it.
#include <QByteArray>

class QSerialPort;

namespace tarvek {

// QSerialPort queues what it is given and writes it when its write notifier reports the device
// ready, then wakes once more to find its queue empty: two wakes of the event loop for every frame,
// fifty times a second on six links. A device with room (the kernel's output buffer holds
// kilobytes, a frame is 34 bytes) takes the frame at once here. What it does not take waits in
// the port's queue, behind anything already waiting there, and a fault goes the port's own way:
// the port reports it as it reports any write that fails.
void writeFrame(QSerialPort& port, const QByteArray& bytes);

} // namespace tarvek
