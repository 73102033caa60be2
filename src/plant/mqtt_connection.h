#pragma once
// One connection to an MQTT broker on libmosquitto, driven from the thread's event loop: socket
// notifiers for reading and writing, a timer for the keep-alive, a non-blocking connect to an
// address resolved beforehand. Nothing here waits on the network, so a broker that is down, slow
// or silent costs the event loop nothing.
//
// States: Off -> Resolving -> Connecting -> Connected; any failure -> Waiting (back-off 1, 2, 4 ...
// 30 s) -> Resolving. A broker that refuses the log-in or the client is waited on like any other
// failure, at the longest back-off, with its reason.
#include <QByteArray>
#include <QObject>
#include <QString>

class QHostInfo;
class QSocketNotifier;
class QTimer;
struct mosquitto;

namespace tarvek {

class MqttConnection : public QObject {
    Q_OBJECT
public:
    enum class State { Off, Resolving, Connecting, Connected, Waiting };
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

    explicit MqttConnection(QObject* parent = nullptr);
    ~MqttConnection() override;

    // Starts connecting, and keeps reconnecting until stop(). Returns why it cannot start, or empty.
    QString start(const Options& options);
    // Says goodbye to the broker (no last will) and stops.
    void stop();
    // Queues a message; false when not connected (nothing is kept).
    bool publish(const QString& topic, const QByteArray& payload, int qos, bool retain);

    State state() const { return state_; }
    // Where the connection stands, for the status bar: "connected to ...", "retrying in 4 s: ...".
    QString stateText() const { return text_; }

signals:
    // Connected, the broker accepted: publish everything retained again.
    void connected();
    void stateChanged(tarvek::MqttConnection::State state, const QString& text);

private:
    void setState(State s, const QString& text);
    void resolve();
    void resolved(const QHostInfo& info);
    void connectTo(const QString& address);
    void readable();
    void writable();
    void housekeeping();
    void onConnack(int rc);
    void failed(const QString& reason);
    void dropSocket();
    void updateWrite();

    Options options_;
    mosquitto* mosq_ = nullptr;
    QSocketNotifier* read_ = nullptr;
    QSocketNotifier* write_ = nullptr;
    QTimer* misc_;
    QTimer* retry_;
    QTimer* answer_;
    State state_ = State::Off;
    QString text_;
    int backoffMs_ = 1000;
    int lookup_ = -1;
    int connack_ = -1; // the broker's answer, read inside the library's read
};

} // namespace tarvek
