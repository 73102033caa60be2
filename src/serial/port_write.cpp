#include "serial/port_write.h"

#include <QSerialPort>

#include <algorithm>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <unistd.h>
#endif

namespace tarvek {

void writeFrame(QSerialPort& port, const QByteArray& bytes)
{
    qsizetype written = 0;
#ifdef Q_OS_UNIX
    if (port.isOpen() && port.bytesToWrite() == 0) {
        ssize_t n = 0;
        do
            n = ::write(port.handle(), bytes.constData(), static_cast<std::size_t>(bytes.size()));
        while (n < 0 && errno == EINTR);
        written = std::max<qsizetype>(0, n);
    }
#endif
    if (written < bytes.size())
        port.write(bytes.constData() + written, bytes.size() - written);
}

} // namespace tarvek
