#include "console.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tarvek::sim {

namespace {
int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char c = 1;
    [[maybe_unused]] const auto n = ::write(signalPipe[1], &c, 1);
}
} // namespace

Console::Console(QObject* parent) : QObject(parent) {}

Console::~Console() = default;

void Console::listen()
{
    if (::fcntl(STDIN_FILENO, F_GETFD) < 0)
        return; // no standard input at all
    notifier_ = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, &Console::readInput);
}

void Console::readInput()
{
    char buffer[1024];
    const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (n < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    if (n <= 0) {
        // End of input (or closed): the engines keep running until a signal ends the program.
        notifier_->setEnabled(false);
        if (!pending_.trimmed().isEmpty())
            emit line(QString::fromLocal8Bit(pending_).trimmed());
        pending_.clear();
        emit endOfInput();
        return;
    }
    pending_.append(buffer, n);
    qsizetype end;
    while ((end = pending_.indexOf('\n')) >= 0) {
        const QString text = QString::fromLocal8Bit(pending_.left(end)).trimmed();
        pending_.remove(0, end + 1);
        emit line(text);
    }
}

bool Console::catchTerminationSignals(QObject* context, std::function<void()> terminate)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0)
        return false;
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [notifier, terminate] {
        char c;
        [[maybe_unused]] const auto n = ::read(signalPipe[0], &c, 1);
        notifier->setEnabled(false);
        terminate();
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGHUP, &action, nullptr);
    return true;
}

} // namespace tarvek::sim
