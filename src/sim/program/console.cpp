#include "console.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace tarvek::sim {

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

} // namespace tarvek::sim
