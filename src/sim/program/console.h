#pragma once
// The line-based control channel on standard input.
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

signals:
    void line(const QString& text);
    void endOfInput();

private:
    void readInput();

    std::unique_ptr<QSocketNotifier> notifier_;
    QByteArray pending_;
};

} // namespace tarvek::sim
