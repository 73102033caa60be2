#include "pty_peer.h"

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

PtyPeer::PtyPeer(bool reads)
{
    char name[256] = {};
    if (openpty(&master_, &slave_, name, nullptr, nullptr) != 0) {
        master_ = -1;
        return;
    }
    termios t{};
    tcgetattr(slave_, &t);
    cfmakeraw(&t);
    tcsetattr(slave_, TCSANOW, &t);
    fcntl(master_, F_SETFL, fcntl(master_, F_GETFL) | O_NONBLOCK);
    slaveName_ = QString::fromLocal8Bit(name);
    if (!reads)
        return;
    notifier_ = new QSocketNotifier(master_, QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] { received_ += drain(); });
}

PtyPeer::~PtyPeer()
{
    delete notifier_;
    if (master_ >= 0)
        ::close(master_);
    if (slave_ >= 0)
        ::close(slave_);
}

QByteArray PtyPeer::drain()
{
    QByteArray got;
    char buf[4096];
    for (ssize_t n; (n = ::read(master_, buf, sizeof buf)) > 0;)
        got.append(buf, static_cast<qsizetype>(n));
    return got;
}

void PtyPeer::hangUp()
{
    delete notifier_;
    notifier_ = nullptr;
    ::close(master_);
    master_ = -1;
}

void PtyPeer::send(const QByteArray& bytes)
{
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(master_, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (n <= 0)
            break;
        done += n;
    }
}
