#pragma once
// One engine on a TCP port, for a station on another machine (through a network serial bridge).
// One station at a time: a new connection replaces the old one, as a re-plugged cable would.
#include "sim/transport.h"

#include <QHostAddress>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>

namespace tarvek::sim {

class TcpTransport final : public Transport {
    Q_OBJECT
public:
    explicit TcpTransport(quint16 port, QHostAddress address = QHostAddress::Any,
                          QObject* parent = nullptr);
    ~TcpTransport() override;

    bool open() override;
    void close() override;
    bool isOpen() const override { return server_.isListening(); }
    bool hasPeer() const override;
    qint64 write(const QByteArray& bytes) override;
    QString location() const override;

    quint16 port() const { return port_; }

private:
    void accept();

    quint16 port_;
    QHostAddress address_;
    QTcpServer server_;
    QPointer<QTcpSocket> peer_;
};

} // namespace tarvek::sim
