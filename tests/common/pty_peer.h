#pragma once
// The far end of a pseudo-terminal: what a FADEC cable would carry, byte for byte.
#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QString>

class PtyPeer : public QObject {
    Q_OBJECT
public:
    // A peer that does not read keeps what comes until it is drained, as a far end that stopped.
    explicit PtyPeer(bool reads = true);
    ~PtyPeer() override;
    QString device() const { return slaveName_; }
    void send(const QByteArray& bytes);
    QByteArray received() const { return received_; }
    QByteArray drain(); // what came since the last read
    void hangUp();      // the far end goes, and with it the device

private:
    int master_ = -1;
    int slave_ = -1; // held open so the master never sees a hang-up between station opens
    QString slaveName_;
    QSocketNotifier* notifier_ = nullptr;
    QByteArray received_;
};
