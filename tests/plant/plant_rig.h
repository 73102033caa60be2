#pragma once
// A real Mosquitto on a free loopback port with a generated configuration (password file, and an
// ACL letting each station write only tarvek/<its user>/ and the page only read), real station
// programs on simulated engines, and a subscriber that keeps what it receives.
#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <mutex>

struct mosquitto;

namespace tarvek::test {

class Broker {
public:
    Broker();
    ~Broker();
    // Starts mosquitto; on the same port as before when it ran already. False when it does not listen.
    bool start();
    void kill();
    int port() const { return port_; }
    QString address() const { return QStringLiteral("127.0.0.1:%1").arg(port_); }
    static QString passwordOf(const QString& user) { return user + QStringLiteral("-pw"); }

private:
    QTemporaryDir dir_;
    QProcess process_;
    int port_ = 0;
};

struct Received {
    QString topic;
    QByteArray payload;
    bool retained = false;
    QJsonObject json() const;
};

class Subscriber {
public:
    // Connects as `user` (its password from Broker::passwordOf) and subscribes to `filter`.
    Subscriber(const Broker& broker, const QString& user, const QString& filter = QStringLiteral("tarvek/#"));
    ~Subscriber();
    bool publish(const QString& topic, const QByteArray& payload);
    QList<Received> received() const;
    // The last message of a topic, or an empty one.
    Received last(const QString& topic) const;

private:
    mosquitto* mosq_ = nullptr;
    mutable std::mutex mutex_;
    QList<Received> received_;
};

// The station program on six simulated engines, publishing as `name` with its password (or
// `password`) in a password file that only its owner reads (or everyone, when `looseFile`).
class PlantStation {
public:
    PlantStation(const QString& brokerAddress, const QString& name, const QByteArray& password = {},
                 bool looseFile = false, const QStringList& moreOptions = {});
    PlantStation(const Broker& broker, const QString& name, const QStringList& moreOptions = {})
        : PlantStation(broker.address(), name, {}, false, moreOptions) {}
    ~PlantStation();
    void simulator(const QByteArray& command) { sim_.write(command + '\n'); }
    void kill9();
    // SIGTERM, and waits for the end: the files are closed and whole.
    bool terminate();
    QString errors();
    QString folder() const { return dir_.path() + QStringLiteral("/station"); }

private:
    QTemporaryDir dir_;
    QProcess sim_;
    QProcess station_;
    QString errors_;
};

} // namespace tarvek::test
