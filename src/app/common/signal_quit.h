#pragma once
// SIGTERM and SIGINT end the station as Quit does, without the question: the handler only wakes
// the event loop, which then runs the ordinary end (ports closed, their lock files removed).
#include <QObject>

class QSocketNotifier;

namespace tarvek {

class SignalQuit : public QObject {
    Q_OBJECT
public:
    explicit SignalQuit(QObject* parent = nullptr);
    ~SignalQuit() override;
    bool installed() const { return notifier_ != nullptr; }

signals:
    void received(const QString& name); // "SIGTERM" or "SIGINT", on the GUI thread

private:
    QSocketNotifier* notifier_ = nullptr;
};

} // namespace tarvek
