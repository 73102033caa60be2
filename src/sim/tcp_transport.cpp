#include "sim/tcp_transport.h"

namespace tarvek::sim {

TcpTransport::TcpTransport(quint16 port, QHostAddress address, QObject* parent)
    : Transport(parent), port_(port), address_(std::move(address))
{
    connect(&server_, &QTcpServer::newConnection, this, &TcpTransport::accept);
}

TcpTransport::~TcpTransport()
{
    shutDown();
}

bool TcpTransport::open()
{
    if (isOpen())
        return true;
    if (!server_.listen(address_, port_)) {
        setError(server_.errorString());
        return false;
    }
    port_ = server_.serverPort();
    emit opened();
    return true;
}

void TcpTransport::close()
{
    if (!isOpen())
        return;
    if (peer_) {
        peer_->abort();
        peer_->deleteLater();
    }
    server_.close();
    emit closed();
}

void TcpTransport::accept()
{
    while (QTcpSocket* next = server_.nextPendingConnection()) {
        if (peer_) {
            peer_->abort();
            peer_->deleteLater();
        }
        peer_ = next;
        next->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(next, &QTcpSocket::readyRead, this, [this, next] {
            if (next == peer_)
                emit received(next->readAll());
        });
        connect(next, &QTcpSocket::disconnected, next, &QObject::deleteLater);
        emit peerConnected();
    }
}

bool TcpTransport::hasPeer() const
{
    return peer_ && peer_->state() == QAbstractSocket::ConnectedState;
}

qint64 TcpTransport::write(const QByteArray& bytes)
{
    if (!hasPeer())
        return 0;
    return peer_->write(bytes);
}

QString TcpTransport::location() const
{
    const QString where = QStringLiteral("tcp port %1").arg(port_);
    if (!isOpen())
        return where + QStringLiteral(" (gone)");
    return hasPeer() ? where + QStringLiteral(" (station connected)") : where;
}

} // namespace tarvek::sim
