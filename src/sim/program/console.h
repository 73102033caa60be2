#pragma once
// The line-based control channel on standard input, and a clean end on SIGINT or SIGTERM so
// the COMn links are removed.
#include <QObject>
#include <QSocketNotifier>

#include <memory>

namespace tarvek::sim {

class Console : public QObject {
    Q_OBJECT
public:
    explicit Console(QObject* parent = nullptr);
    ~Console() override;

    // Watches standard input; does nothing when it is closed.
    void listen();
    // Turns SIGINT and SIGTERM into terminate().
    static bool catchTerminationSignals(QObject* context, std::function<void()> terminate);

signals:
    void line(const QString& text);
    void endOfInput();

private:
    void readInput();

    std::unique_ptr<QSocketNotifier> notifier_;
    QByteArray pending_;
};

} // namespace tarvek::sim
