#include "pty_peer.h"

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

PtyPeer::PtyPeer()
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
    notifier_ = new QSocketNotifier(master_, QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] {
        char buf[512];
        for (;;) {
            const ssize_t n = ::read(master_, buf, sizeof buf);
            if (n <= 0)
                break;
            received_.append(buf, static_cast<qsizetype>(n));
        }
    });
}

PtyPeer::~PtyPeer()
{
    delete notifier_;
    if (master_ >= 0)
        ::close(master_);
    if (slave_ >= 0)
        ::close(slave_);
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
