#pragma once
// SIGTERM and SIGINT (and whatever else a program asks for) as a Qt signal on the event loop's
// thread: the handler only writes a byte into a socket pair, and the loop reads it and emits
// received(), so a program ends in its ordinary way (ports closed, lock files removed) rather
// than inside a signal handler. Both programs, the station and the simulator, use it.
#include <QObject>

#include <initializer_list>

class QSocketNotifier;

namespace tarvek {

class TerminationSignals : public QObject {
    Q_OBJECT
public:
    // Catches the given signals (SIGTERM and SIGINT when none are named). One instance at a time.
    explicit TerminationSignals(QObject* parent = nullptr);
    TerminationSignals(std::initializer_list<int> signalNumbers, QObject* parent = nullptr);
    ~TerminationSignals() override;
    bool installed() const { return notifier_ != nullptr; }

signals:
    void received(const QString& name); // "SIGTERM", "SIGINT", "SIGHUP", on the loop's thread

private:
    QSocketNotifier* notifier_ = nullptr;
    QList<int> caught_;
};

} // namespace tarvek
