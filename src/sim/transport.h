#pragma once
// A byte link between one simulated FADEC and the station: a pseudo-terminal or a TCP port.
#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTimer>

namespace tarvek::sim {

class Transport : public QObject {
    Q_OBJECT
public:
    explicit Transport(QObject* parent = nullptr);

    virtual bool open() = 0;
    virtual void close() = 0;
    virtual bool isOpen() const = 0;
    // Someone is at the other end to read what is written (a pty always counts as connected).
    virtual bool hasPeer() const { return isOpen(); }
    // Writes what it can without blocking; returns the number of bytes taken.
    virtual qint64 write(const QByteArray& bytes) = 0;
    // Forgets output the other end has not read, as a cable with nobody listening would.
    virtual void discardUnread() {}
    // Where the station finds this engine, for people.
    virtual QString location() const = 0;
    QString lastError() const { return error_; }

    // The link disappears now and comes back after `ms` milliseconds.
    void vanish(int ms);
    bool vanished() const { return comeBack_.isActive(); }
    // Closes for good: a pending come-back is cancelled.
    void shutDown();

signals:
    void received(const QByteArray& bytes);
    void opened();
    void closed();
    void peerConnected();

protected:
    void setError(const QString& text) { error_ = text; }

private:
    QTimer comeBack_;
    QString error_;
};

} // namespace tarvek::sim
