#include "common/termination_signals.h"

#include <QSocketNotifier>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace tarvek {

#ifdef Q_OS_UNIX
namespace {
int wakeFds[2] = {-1, -1}; // [0] written by the handler, [1] read by the event loop

extern "C" void onSignal(int sig)
{
    const int saved = errno;
    const char byte = static_cast<char>(sig);
    [[maybe_unused]] const ssize_t n = ::write(wakeFds[0], &byte, 1);
    errno = saved;
}

QString signalName(int sig)
{
    switch (sig) {
    case SIGINT: return QStringLiteral("SIGINT");
    case SIGHUP: return QStringLiteral("SIGHUP");
    case SIGTERM: return QStringLiteral("SIGTERM");
    default: return QStringLiteral("signal %1").arg(sig);
    }
}
} // namespace
#endif

TerminationSignals::TerminationSignals(QObject* parent)
#ifdef Q_OS_UNIX
    : TerminationSignals({SIGTERM, SIGINT}, parent)
#else
    : QObject(parent)
#endif
{
}

TerminationSignals::TerminationSignals(std::initializer_list<int> signalNumbers, QObject* parent)
    : QObject(parent), caught_(signalNumbers)
{
#ifdef Q_OS_UNIX
    if (wakeFds[0] >= 0 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, wakeFds) != 0)
        return;
    notifier_ = new QSocketNotifier(wakeFds[1], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        while (::read(wakeFds[1], &byte, 1) == 1)
            emit received(signalName(byte));
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int sig : caught_)
        ::sigaction(sig, &action, nullptr);
#endif
}

TerminationSignals::~TerminationSignals()
{
#ifdef Q_OS_UNIX
    if (!notifier_)
        return;
    for (int sig : caught_)
        ::signal(sig, SIG_DFL);
    ::close(wakeFds[0]);
    ::close(wakeFds[1]);
    wakeFds[0] = wakeFds[1] = -1;
#endif
}

} // namespace tarvek
