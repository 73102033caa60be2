#pragma once
// A pseudo-terminal whose slave end the station opens like a serial port, through a stable link
// (DIR/COM1 ... DIR/COM6) to the slave's device name. The simulator keeps the slave open itself,
// so the master never sees a hang-up while the station has its port closed.
#include "sim/transport.h"

#include <memory>

class QSocketNotifier;

namespace tarvek::sim {

class PtyTransport final : public Transport {
    Q_OBJECT
public:
    explicit PtyTransport(QString linkPath, QObject* parent = nullptr);
    ~PtyTransport() override;

    bool open() override;
    void close() override;
    bool isOpen() const override { return master_ >= 0; }
    qint64 write(const QByteArray& bytes) override;
    void discardUnread() override;
    QString location() const override;

    QString linkPath() const { return link_; }
    QString devicePath() const { return device_; }

private:
    void readMaster();

    QString link_;
    QString device_;
    int master_ = -1;
    int slave_ = -1;
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace tarvek::sim
