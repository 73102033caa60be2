#pragma once
// Real Mosquitto brokers on free loopback ports, configured as the project ships them
// (scripts/plant-broker-config.sh: a station's client id is its user name, each station writes only
// tarvek/<its user>/, the page only reads), real station programs on simulated engines, and MQTT 5
// clients that keep what they receive.
#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <atomic>
#include <mutex>

struct mosquitto;

namespace tarvek::test {

class Broker {
public:
    // The arguments of plant-broker-config.sh after its folder: "single" (stations st1 and st2, the
    // page), or "site ..." and "central ..." for a bridged plant. Every user's password is
    // passwordOf(user).
    explicit Broker(const QStringList& config = {QStringLiteral("single"), QStringLiteral("--stations"),
                                                 QStringLiteral("st1 st2")});
    ~Broker();
    // Starts mosquitto; on the same port as before when it ran already. False when it does not listen.
    bool start();
    void kill();
    // The stations' listener (on a central broker, the bridges'); the page's user reads on the other.
    int port() const { return port_; }
    int readerPort() const { return readerPort_; }
    QString address() const { return QStringLiteral("127.0.0.1:%1").arg(port_); }
    static QString passwordOf(const QString& user) { return user + QStringLiteral("-pw"); }
    // Before start(): one more listener for the stations, on TLS with the certificate `name` of
    // makeCertificates(); returns its port.
    int addTlsListener(const QString& name);
    // A CA "ca" (and an unrelated "other-ca"), and signed by ca, for "localhost" a certificate
    // "server" and an expired one, "expired", and "elsewhere" for another name; FILE.crt and FILE.key
    // in the broker's folder.
    bool makeCertificates();
    QString file(const QString& name) const { return dir_.filePath(QStringLiteral("broker/") + name); }

private:
    QTemporaryDir dir_;
    QProcess process_;
    QByteArray extra_;
    int port_ = 0;
    int readerPort_ = 0;
};

struct Received {
    QString topic;
    QByteArray payload;
    bool retained = false;
    QJsonObject json() const;
};

class Subscriber {
public:
    // Connects as `user` (its password from Broker::passwordOf) with `clientId` (a "tarvek-" one
    // made up when empty), to `port` (the page's user to the readers' listener, others to the
    // stations', when 0) and subscribes to `filter`.
    Subscriber(const Broker& broker, const QString& user, const QString& filter = QStringLiteral("tarvek/#"),
               const QString& clientId = {}, int port = 0);
    ~Subscriber();
    bool publish(const QString& topic, const QByteArray& payload);
    // The broker's answer to the connection: -1 before it, 0 accepted, else an MQTT 5 reason code.
    int connack() const { return connack_; }
    QList<Received> received() const;
    // The first and the last message of a topic, or an empty one.
    Received first(const QString& topic) const;
    Received last(const QString& topic) const;

private:
    mosquitto* mosq_ = nullptr;
    std::atomic<int> connack_{-1};
    mutable std::mutex mutex_;
    QList<Received> received_;
};

// The station program on six simulated engines, publishing as `name` to `brokerAddress`.
class PlantStation {
public:
    struct Options {
        QString user;         // the station's name when empty
        QByteArray password;  // passwordOf(user) when empty
        bool looseFile = false; // the password file readable by everyone
        QString caFile;       // TLS
        QStringList more;     // further options of the station program
    };
    PlantStation(const QString& brokerAddress, const QString& name, const Options& options);
    PlantStation(const Broker& broker, const QString& name, const QStringList& more = {})
        : PlantStation(broker.address(), name, Options{{}, {}, false, {}, more}) {}
    ~PlantStation();
    void simulator(const QByteArray& command) { sim_.write(command + '\n'); }
    void kill9();
    // SIGTERM: the station ends as Quit ends it. False when it does not end.
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
