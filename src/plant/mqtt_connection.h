#pragma once
// One MQTT 5 connection to a broker on libmosquitto, driven from the thread's event loop: socket
// notifiers for reading and writing, a timer for the keep-alive, a non-blocking connect to the
// addresses resolved beforehand. Nothing here waits on the network, so a broker that is down, slow
// or silent costs the event loop nothing.
//
// States: Off -> Resolving -> Connecting -> Connected <-> Refused; any failure -> Waiting (back-off
// 1, 2, 4 ... 30 s) -> Resolving. A name with several addresses is tried address by address before
// waiting. A broker that refuses the log-in is waited on at the longest back-off, with its reason.
// Refused: connected, but the broker turns down what is published on some topic (its ACL); MQTT 5
// acknowledges every QoS 1 message with a reason code, so this is known per topic, and the next
// message the broker takes on that topic clears it.
//
// TLS (a CA file given): the broker's certificate must chain to that CA and be made out to the host
// as written in the settings, a name or an address, never to what the name resolved to. A failure
// says why: unknown CA, name mismatch, expired, not yet valid.
#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <cstdint>

class QHostInfo;
class QSocketNotifier;
class QTimer;
struct mosquitto;
struct ssl_ctx_st;
struct x509_store_ctx_st;

namespace tarvek {

class MqttConnection : public QObject {
    Q_OBJECT
public:
    enum class State { Off, Resolving, Connecting, Connected, Refused, Waiting };
    struct Options {
        QString host;
        int port = 1883;
        QString clientId;
        QString user;
        QString password;
        QString caFile;    // TLS when given
        QString willTopic; // retained, QoS 1
        QByteArray willPayload;
        int keepAliveS = 10;
        int answerTimeoutMs = 10'000; // from the connection's start to the broker's answer
    };
    static constexpr int kMaxBackoffMs = 30'000;
    // Every retained message (and the will) carries this MQTT 5 message expiry interval, the
    // largest there is (136 years). The broker counts it down while it keeps the message, so a
    // reader learns how many seconds a retained message waited: this value minus what it receives.
    static constexpr std::uint32_t kRetainedExpiryS = 0xFFFFFFFFu;

    explicit MqttConnection(QObject* parent = nullptr);
    ~MqttConnection() override;

    // Starts connecting, and keeps reconnecting until stop(). Returns why it cannot start, or empty.
    QString start(const Options& options);
    // Says goodbye to the broker and stops: when connected, `lastWord` (the will's payload when
    // empty) goes to the will's topic first, since a goodbye suppresses the will.
    void stop(const QByteArray& lastWord = {});
    // Queues a message; false when not connected (nothing is kept).
    bool publish(const QString& topic, const QByteArray& payload, int qos, bool retain);

    State state() const { return state_; }
    bool isLinked() const { return state_ == State::Connected || state_ == State::Refused; }
    // Where the connection stands, for the status bar: "connected to ...", "retrying in 4 s: ...".
    QString stateText() const { return text_; }

signals:
    // Connected, the broker accepted: publish everything retained again.
    void connected();
    void stateChanged(tarvek::MqttConnection::State state, const QString& text);

private:
    void setState(State s, const QString& text);
    QString startTls();
    void resolve();
    void resolved(const QHostInfo& info);
    void connectTo(int index);
    void readable();
    void writable();
    void housekeeping();
    void onConnack(int rc);
    void takeAcknowledgements();
    void attemptFailed(const QString& reason);
    void failed(const QString& reason);
    void dropSocket();
    void updateWrite();
    QString lostReason(int rc) const;
    QString connectedText() const;
    static int verifyPeer(int ok, x509_store_ctx_st* store);

    Options options_;
    mosquitto* mosq_ = nullptr;
    ssl_ctx_st* tls_ = nullptr;
    QSocketNotifier* read_ = nullptr;
    QSocketNotifier* write_ = nullptr;
    QTimer* misc_;
    QTimer* retry_;
    QTimer* answer_;
    State state_ = State::Off;
    QString text_;
    int backoffMs_ = 1000;
    int lookup_ = -1;
    QList<QHostAddress> addresses_;
    int address_ = 0;
    QStringList attempts_; // why each address of this round failed
    // Noted inside the library's calls, acted on once they have returned.
    int connack_ = -1;
    int disconnectReason_ = -1;
    QList<QPair<int, int>> acks_; // message id, reason code
    QString certificateProblem_;  // from the peer verification
    QString tlsError_;            // OpenSSL's last word, from the library's log
    QHash<int, QString> awaiting_;        // QoS 1 message id -> topic
    QHash<QString, QString> refusedTopics_; // topic -> the broker's reason
    QString firstRefused_;
};

} // namespace tarvek
