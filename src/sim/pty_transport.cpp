#include "sim/pty_transport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace tarvek::sim {

PtyTransport::PtyTransport(QString linkPath, QObject* parent)
    : Transport(parent), link_(QFileInfo(linkPath).absoluteFilePath())
{
}

PtyTransport::~PtyTransport()
{
    shutDown();
}

bool PtyTransport::open()
{
    if (isOpen())
        return true;
    char name[256] = {};
    if (::openpty(&master_, &slave_, name, nullptr, nullptr) != 0) {
        setError(QString::fromLocal8Bit(std::strerror(errno)));
        master_ = slave_ = -1;
        return false;
    }
    device_ = QString::fromLocal8Bit(name);
    // Raw bytes both ways until the station sets its own mode: no echo, no line editing.
    termios tio{};
    if (::tcgetattr(slave_, &tio) == 0) {
        ::cfmakeraw(&tio);
        ::cfsetspeed(&tio, B19200);
        ::tcsetattr(slave_, TCSANOW, &tio);
    }
    ::fcntl(master_, F_SETFL, ::fcntl(master_, F_GETFL) | O_NONBLOCK);
    ::fcntl(master_, F_SETFD, FD_CLOEXEC);
    ::fcntl(slave_, F_SETFD, FD_CLOEXEC);

    QDir().mkpath(QFileInfo(link_).absolutePath());
    const QFileInfo existing(link_);
    if (existing.isSymLink())
        QFile::remove(link_); // left behind by a run that did not end cleanly
    if (!QFile::link(device_, link_)) {
        setError(QStringLiteral("cannot create the link %1").arg(link_));
        ::close(master_);
        ::close(slave_);
        master_ = slave_ = -1;
        return false;
    }
    notifier_ = std::make_unique<QSocketNotifier>(master_, QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, [this] { readMaster(); });
    emit opened();
    emit peerConnected();
    return true;
}

void PtyTransport::close()
{
    if (!isOpen())
        return;
    notifier_.reset();
    ::close(master_);
    ::close(slave_);
    master_ = slave_ = -1;
    if (QFileInfo(link_).symLinkTarget() == device_) // never remove a link another run made
        QFile::remove(link_);
    emit closed();
}

void PtyTransport::readMaster()
{
    QByteArray bytes;
    char buffer[512];
    for (;;) {
        const ssize_t n = ::read(master_, buffer, sizeof buffer);
        if (n > 0) {
            bytes.append(buffer, n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        break; // EAGAIN: all read for now
    }
    if (!bytes.isEmpty())
        emit received(bytes);
}

qint64 PtyTransport::write(const QByteArray& bytes)
{
    if (!isOpen())
        return 0;
    const ssize_t n = ::write(master_, bytes.constData(), static_cast<size_t>(bytes.size()));
    return n < 0 ? 0 : n;
}

void PtyTransport::discardUnread()
{
    if (isOpen())
        ::tcflush(slave_, TCIFLUSH);
}

QString PtyTransport::location() const
{
    if (!isOpen())
        return QStringLiteral("%1 (gone)").arg(link_);
    return QStringLiteral("%1 -> %2").arg(link_, device_);
}

} // namespace tarvek::sim
