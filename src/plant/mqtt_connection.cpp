#include "plant/mqtt_connection.h"

#include <QHostInfo>
#include <QSocketNotifier>
#include <QTimer>

#include <mosquitto.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <utility>

namespace tarvek {

namespace {
void libraryInit()
{
    static std::once_flag once;
    std::call_once(once, [] { mosquitto_lib_init(); });
}
QString errorText(int rc)
{
    return rc == MOSQ_ERR_ERRNO ? QString::fromLocal8Bit(std::strerror(errno)) : QString::fromUtf8(mosquitto_strerror(rc));
}
} // namespace

MqttConnection::MqttConnection(QObject* parent)
    : QObject(parent), misc_(new QTimer(this)), retry_(new QTimer(this)), answer_(new QTimer(this))
{
    libraryInit();
    misc_->setInterval(1000);
    connect(misc_, &QTimer::timeout, this, &MqttConnection::housekeeping);
    retry_->setSingleShot(true);
    connect(retry_, &QTimer::timeout, this, &MqttConnection::resolve);
    answer_->setSingleShot(true);
    connect(answer_, &QTimer::timeout, this, [this] { failed(QStringLiteral("the broker does not answer")); });
}

MqttConnection::~MqttConnection()
{
    stop();
}

void MqttConnection::setState(State s, const QString& text)
{
    if (s == state_ && text == text_)
        return;
    state_ = s;
    text_ = text;
    emit stateChanged(s, text);
}

QString MqttConnection::start(const Options& options)
{
    stop();
    options_ = options;
    mosq_ = mosquitto_new(options.clientId.toUtf8().constData(), true, this);
    if (!mosq_)
        return QStringLiteral("the MQTT client could not be made: %1").arg(errorText(MOSQ_ERR_ERRNO));
    mosquitto_int_option(mosq_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V311);
    mosquitto_int_option(mosq_, MOSQ_OPT_TCP_NODELAY, 1); // small messages go out at once
    // Inside the library's read: acted on once it has returned.
    mosquitto_connect_callback_set(mosq_, [](mosquitto*, void* self, int rc) { static_cast<MqttConnection*>(self)->connack_ = rc; });
    int rc = MOSQ_ERR_SUCCESS;
    if (!options.user.isEmpty())
        rc = mosquitto_username_pw_set(mosq_, options.user.toUtf8().constData(),
                                       options.password.isEmpty() ? nullptr : options.password.toUtf8().constData());
    if (rc == MOSQ_ERR_SUCCESS && !options.willTopic.isEmpty())
        rc = mosquitto_will_set(mosq_, options.willTopic.toUtf8().constData(), int(options.willPayload.size()),
                                options.willPayload.constData(), 1, true);
    if (rc == MOSQ_ERR_SUCCESS && !options.caFile.isEmpty())
        rc = mosquitto_tls_set(mosq_, options.caFile.toLocal8Bit().constData(), nullptr, nullptr, nullptr, nullptr);
    if (rc != MOSQ_ERR_SUCCESS) {
        const QString why = errorText(rc);
        stop();
        return why;
    }
    backoffMs_ = 1000;
    misc_->start();
    resolve();
    return {};
}

void MqttConnection::stop()
{
    retry_->stop();
    answer_->stop();
    misc_->stop();
    if (lookup_ >= 0)
        QHostInfo::abortHostLookup(lookup_);
    lookup_ = -1;
    if (mosq_) {
        if (state_ == State::Connected) {
            // A goodbye suppresses the last will: say it ourselves first.
            if (!options_.willTopic.isEmpty())
                mosquitto_publish(mosq_, nullptr, options_.willTopic.toUtf8().constData(),
                                  int(options_.willPayload.size()), options_.willPayload.constData(), 1, true);
            mosquitto_disconnect(mosq_);
            mosquitto_loop_write(mosq_, 1);
        }
        dropSocket();
        mosquitto_destroy(mosq_);
        mosq_ = nullptr;
    }
    setState(State::Off, QStringLiteral("off"));
}

void MqttConnection::resolve()
{
    setState(State::Resolving, QStringLiteral("looking up %1").arg(options_.host));
    lookup_ = QHostInfo::lookupHost(options_.host, this, &MqttConnection::resolved);
}

void MqttConnection::resolved(const QHostInfo& info)
{
    lookup_ = -1;
    if (info.error() != QHostInfo::NoError || info.addresses().isEmpty()) {
        failed(QStringLiteral("the broker host %1 is unknown: %2").arg(options_.host, info.errorString()));
        return;
    }
    connectTo(info.addresses().constFirst().toString());
}

void MqttConnection::connectTo(const QString& address)
{
    connack_ = -1;
    setState(State::Connecting, QStringLiteral("connecting to %1:%2").arg(options_.host).arg(options_.port));
    const int rc = mosquitto_connect_async(mosq_, address.toUtf8().constData(), options_.port, options_.keepAliveS);
    const int fd = mosquitto_socket(mosq_);
    if (rc != MOSQ_ERR_SUCCESS || fd < 0) {
        failed(errorText(rc == MOSQ_ERR_SUCCESS ? MOSQ_ERR_NO_CONN : rc));
        return;
    }
    read_ = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    write_ = new QSocketNotifier(fd, QSocketNotifier::Write, this);
    connect(read_, &QSocketNotifier::activated, this, &MqttConnection::readable);
    connect(write_, &QSocketNotifier::activated, this, &MqttConnection::writable);
    answer_->start(options_.answerTimeoutMs);
    updateWrite();
}

void MqttConnection::readable()
{
    if (!mosq_ || !read_)
        return;
    const int rc = mosquitto_loop_read(mosq_, 1);
    if (connack_ >= 0) { // a refusal comes with the connection's end: the refusal is the news
        const int answer = std::exchange(connack_, -1);
        onConnack(answer);
        if (answer != 0)
            return;
    }
    if (rc != MOSQ_ERR_SUCCESS) {
        failed(rc == MOSQ_ERR_CONN_LOST ? QStringLiteral("the broker closed the connection") : errorText(rc));
        return;
    }
    updateWrite();
}

void MqttConnection::writable()
{
    if (!mosq_ || !write_)
        return;
    const int rc = mosquitto_loop_write(mosq_, 1);
    if (rc != MOSQ_ERR_SUCCESS) {
        failed(errorText(rc));
        return;
    }
    updateWrite();
}

void MqttConnection::housekeeping()
{
    if (!mosq_ || !read_)
        return;
    mosquitto_loop_misc(mosq_); // pings, and closes a connection whose pings go unanswered
    if (mosquitto_socket(mosq_) < 0) {
        // Closed before its first answer, the broker never answered at all.
        failed(state_ == State::Connecting ? QStringLiteral("the broker does not answer")
                                           : QStringLiteral("the broker stopped answering"));
        return;
    }
    updateWrite();
}

void MqttConnection::updateWrite()
{
    if (write_ && mosq_)
        write_->setEnabled(mosquitto_want_write(mosq_));
}

void MqttConnection::onConnack(int rc)
{
    if (!mosq_ || state_ != State::Connecting)
        return;
    answer_->stop();
    if (rc != 0) {
        backoffMs_ = kMaxBackoffMs;
        failed(QStringLiteral("refused by the broker: %1").arg(QString::fromUtf8(mosquitto_connack_string(rc))));
        return;
    }
    backoffMs_ = 1000;
    setState(State::Connected, QStringLiteral("connected to %1:%2").arg(options_.host).arg(options_.port));
    emit connected();
    updateWrite();
}

void MqttConnection::dropSocket()
{
    for (QSocketNotifier* n : {read_, write_})
        if (n) {
            n->setEnabled(false);
            n->deleteLater();
        }
    read_ = write_ = nullptr;
    // The socket itself closes on the next connect, or with the client.
}

void MqttConnection::failed(const QString& reason)
{
    answer_->stop();
    dropSocket();
    const int wait = backoffMs_;
    backoffMs_ = std::min(backoffMs_ * 2, kMaxBackoffMs);
    retry_->start(wait);
    setState(State::Waiting, QStringLiteral("retrying in %1 s: %2").arg(wait / 1000).arg(reason));
}

bool MqttConnection::publish(const QString& topic, const QByteArray& payload, int qos, bool retain)
{
    if (state_ != State::Connected)
        return false;
    const int rc = mosquitto_publish(mosq_, nullptr, topic.toUtf8().constData(), int(payload.size()),
                                     payload.constData(), qos, retain);
    if (rc != MOSQ_ERR_SUCCESS) {
        QMetaObject::invokeMethod(this, [this, rc] { failed(errorText(rc)); }, Qt::QueuedConnection);
        return false;
    }
    updateWrite();
    return true;
}

} // namespace tarvek
