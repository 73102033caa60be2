#include "plant/mqtt_connection.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QHostInfo>
#include <QSocketNotifier>
#include <QTimer>
#include <QtEndian>

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

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
QString reasonText(int reason)
{
    return QString::fromUtf8(mosquitto_reason_string(reason));
}

// The property list of a retained message: its expiry, counted down by the broker.
struct RetainedProperties {
    mosquitto_property* list = nullptr;
    RetainedProperties() { mosquitto_property_add_int32(&list, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL, MqttConnection::kRetainedExpiryS); }
    ~RetainedProperties() { mosquitto_property_free_all(&list); }
    RetainedProperties(const RetainedProperties&) = delete;
    RetainedProperties& operator=(const RetainedProperties&) = delete;
    mosquitto_property* release() { return std::exchange(list, nullptr); }
};

QString timeText(const ASN1_TIME* t)
{
    std::tm tm{};
    if (!t || ASN1_TIME_to_tm(t, &tm) != 1)
        return QStringLiteral("an unreadable date");
    return QDateTime(QDate(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday), QTime(tm.tm_hour, tm.tm_min, tm.tm_sec), Qt::UTC)
        .toString(QStringLiteral("yyyy-MM-dd hh:mm 'UTC'"));
}

QString nameText(const X509_NAME* name)
{
    char buffer[256] = {};
    X509_NAME_oneline(name, buffer, sizeof buffer);
    return QString::fromUtf8(buffer);
}

// The names a certificate is made out to: its subject alternative names, or its common name.
QString namesOf(X509* cert)
{
    QStringList names;
    if (auto* alt = static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(cert, NID_subject_alt_name, nullptr, nullptr))) {
        for (int i = 0; i < sk_GENERAL_NAME_num(alt); ++i) {
            const GENERAL_NAME* n = sk_GENERAL_NAME_value(alt, i);
            if (n->type == GEN_DNS)
                names << QString::fromUtf8(reinterpret_cast<const char*>(ASN1_STRING_get0_data(n->d.dNSName)),
                                           ASN1_STRING_length(n->d.dNSName));
            else if (n->type == GEN_IPADD && ASN1_STRING_length(n->d.iPAddress) == 4)
                names << QHostAddress(qFromBigEndian<quint32>(ASN1_STRING_get0_data(n->d.iPAddress))).toString();
            else if (n->type == GEN_IPADD && ASN1_STRING_length(n->d.iPAddress) == 16)
                names << QHostAddress(ASN1_STRING_get0_data(n->d.iPAddress)).toString();
        }
        GENERAL_NAMES_free(alt);
    }
    if (names.isEmpty())
        names << nameText(X509_get_subject_name(cert));
    return names.join(QStringLiteral(", "));
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
    connect(answer_, &QTimer::timeout, this, [this] { attemptFailed(QStringLiteral("the broker does not answer")); });
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
    mosquitto_int_option(mosq_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(mosq_, MOSQ_OPT_TCP_NODELAY, 1); // small messages go out at once
    // Inside the library's calls: acted on once they have returned.
    mosquitto_connect_v5_callback_set(mosq_, [](mosquitto*, void* self, int rc, int, const mosquitto_property*) {
        static_cast<MqttConnection*>(self)->connack_ = rc;
    });
    mosquitto_disconnect_v5_callback_set(mosq_, [](mosquitto*, void* self, int rc, const mosquitto_property*) {
        static_cast<MqttConnection*>(self)->disconnectReason_ = rc;
    });
    mosquitto_publish_v5_callback_set(mosq_, [](mosquitto*, void* self, int mid, int reason, const mosquitto_property*) {
        static_cast<MqttConnection*>(self)->acks_.append({mid, reason});
    });
    mosquitto_log_callback_set(mosq_, [](mosquitto*, void* self, int, const char* line) {
        // "OpenSSL Error[0]: error:0A00010B:SSL routines::wrong version number"
        const QString text = QString::fromUtf8(line);
        if (text.startsWith(QLatin1String("OpenSSL Error")))
            static_cast<MqttConnection*>(self)->tlsError_ = text.section(QLatin1Char(':'), -1).trimmed();
    });
    int rc = MOSQ_ERR_SUCCESS;
    if (!options.user.isEmpty())
        rc = mosquitto_username_pw_set(mosq_, options.user.toUtf8().constData(),
                                       options.password.isEmpty() ? nullptr : options.password.toUtf8().constData());
    if (rc == MOSQ_ERR_SUCCESS && !options.willTopic.isEmpty()) {
        RetainedProperties properties; // the library owns them once the will is set
        rc = mosquitto_will_set_v5(mosq_, options.willTopic.toUtf8().constData(), int(options.willPayload.size()),
                                   options.willPayload.constData(), 1, true, properties.list);
        if (rc == MOSQ_ERR_SUCCESS)
            properties.release();
    }
    QString why = rc == MOSQ_ERR_SUCCESS ? QString() : errorText(rc);
    if (why.isEmpty() && !options.caFile.isEmpty())
        why = startTls();
    if (!why.isEmpty()) {
        stop();
        return why;
    }
    backoffMs_ = 1000;
    misc_->start();
    resolve();
    return {};
}

QString MqttConnection::startTls()
{
    // The context is ours, so the certificate is checked against the host as written; the
    // library's own check would compare it with the address the name resolved to.
    tls_ = SSL_CTX_new(TLS_client_method());
    if (!tls_)
        return QStringLiteral("TLS cannot be set up");
    SSL_CTX_set_min_proto_version(tls_, TLS1_2_VERSION);
    if (SSL_CTX_load_verify_locations(tls_, QFile::encodeName(options_.caFile).constData(), nullptr) != 1)
        return QStringLiteral("the CA file %1 holds no certificate that can be read").arg(options_.caFile);
    SSL_CTX_set_verify(tls_, SSL_VERIFY_PEER, &MqttConnection::verifyPeer);
    SSL_CTX_set_app_data(tls_, this);
    X509_VERIFY_PARAM* param = SSL_CTX_get0_param(tls_);
    X509_VERIFY_PARAM_set_hostflags(param, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    const QByteArray host = options_.host.toUtf8();
    const bool address = !QHostAddress(options_.host).isNull();
    if ((address ? X509_VERIFY_PARAM_set1_ip_asc(param, host.constData())
                 : X509_VERIFY_PARAM_set1_host(param, host.constData(), std::size_t(host.size()))) != 1)
        return QStringLiteral("the broker host %1 cannot be checked against a certificate").arg(options_.host);
    mosquitto_int_option(mosq_, MOSQ_OPT_SSL_CTX_WITH_DEFAULTS, 0);
    const int rc = mosquitto_void_option(mosq_, MOSQ_OPT_SSL_CTX, tls_);
    return rc == MOSQ_ERR_SUCCESS ? QString() : errorText(rc);
}

int MqttConnection::verifyPeer(int ok, x509_store_ctx_st* store)
{
    if (ok)
        return 1;
    auto* ssl = static_cast<SSL*>(X509_STORE_CTX_get_ex_data(store, SSL_get_ex_data_X509_STORE_CTX_idx()));
    auto* self = ssl ? static_cast<MqttConnection*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(ssl))) : nullptr;
    if (!self || !self->certificateProblem_.isEmpty())
        return 0;
    X509* cert = X509_STORE_CTX_get_current_cert(store);
    const int error = X509_STORE_CTX_get_error(store);
    QString why;
    switch (error) {
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
        why = QStringLiteral("the broker's certificate is made out to %1, not to %2 (name mismatch)")
                  .arg(namesOf(cert), self->options_.host);
        break;
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        why = QStringLiteral("the broker's certificate, issued by %1, is not signed by the CA in %2 (unknown CA)")
                  .arg(nameText(X509_get_issuer_name(cert)), self->options_.caFile);
        break;
    case X509_V_ERR_CERT_HAS_EXPIRED:
        why = QStringLiteral("the broker's certificate %1 expired on %2 (expired)")
                  .arg(nameText(X509_get_subject_name(cert)), timeText(X509_get0_notAfter(cert)));
        break;
    case X509_V_ERR_CERT_NOT_YET_VALID:
        why = QStringLiteral("the broker's certificate %1 is valid only from %2 (not yet valid: check the clocks)")
                  .arg(nameText(X509_get_subject_name(cert)), timeText(X509_get0_notBefore(cert)));
        break;
    default:
        why = QStringLiteral("the broker's certificate is refused: %1")
                  .arg(QString::fromUtf8(X509_verify_cert_error_string(error)));
    }
    self->certificateProblem_ = QStringLiteral("TLS: ") + why;
    return 0;
}

void MqttConnection::stop(const QByteArray& lastWord)
{
    retry_->stop();
    answer_->stop();
    misc_->stop();
    if (lookup_ >= 0)
        QHostInfo::abortHostLookup(lookup_);
    lookup_ = -1;
    if (mosq_) {
        if (isLinked()) {
            if (!options_.willTopic.isEmpty()) {
                // The last word is waited for (a second at most) before the goodbye: messages
                // still in flight just before it (a last history line) could otherwise hold it back
                // until the socket is gone, and the broker would keep the will instead.
                const QByteArray word = lastWord.isEmpty() ? options_.willPayload : lastWord;
                RetainedProperties properties;
                int mid = 0;
                if (mosquitto_publish_v5(mosq_, &mid, options_.willTopic.toUtf8().constData(), int(word.size()),
                                         word.constData(), 1, true, properties.list) == MOSQ_ERR_SUCCESS) {
                    QElapsedTimer waited;
                    waited.start();
                    const auto acked = [this, mid] {
                        return std::any_of(acks_.cbegin(), acks_.cend(), [mid](const auto& a) { return a.first == mid; });
                    };
                    while (!acked() && waited.elapsed() < 1000 &&
                           mosquitto_loop(mosq_, 50, 1) == MOSQ_ERR_SUCCESS) {
                    }
                }
            }
            mosquitto_disconnect(mosq_);
            mosquitto_loop_write(mosq_, 1);
        }
        dropSocket();
        mosquitto_destroy(mosq_);
        mosq_ = nullptr;
    }
    if (tls_) {
        SSL_CTX_free(tls_); // the library held its own reference
        tls_ = nullptr;
    }
    awaiting_.clear();
    refusedTopics_.clear();
    firstRefused_.clear();
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
    addresses_ = info.addresses();
    attempts_.clear();
    connectTo(0);
}

void MqttConnection::connectTo(int index)
{
    address_ = index;
    connack_ = disconnectReason_ = -1;
    certificateProblem_.clear();
    tlsError_.clear();
    setState(State::Connecting, QStringLiteral("connecting to %1:%2").arg(options_.host).arg(options_.port));
    const QByteArray address = addresses_.at(index).toString().toUtf8();
    const int rc = mosquitto_connect_async(mosq_, address.constData(), options_.port, options_.keepAliveS);
    const int fd = mosquitto_socket(mosq_);
    if (rc != MOSQ_ERR_SUCCESS || fd < 0) {
        attemptFailed(lostReason(rc == MOSQ_ERR_SUCCESS ? MOSQ_ERR_NO_CONN : rc)); // TLS may fail at once
        return;
    }
    read_ = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    write_ = new QSocketNotifier(fd, QSocketNotifier::Write, this);
    connect(read_, &QSocketNotifier::activated, this, &MqttConnection::readable);
    connect(write_, &QSocketNotifier::activated, this, &MqttConnection::writable);
    answer_->start(options_.answerTimeoutMs);
    updateWrite();
}

QString MqttConnection::lostReason(int rc) const
{
    if (!certificateProblem_.isEmpty())
        return certificateProblem_;
    if (!tlsError_.isEmpty())
        return QStringLiteral("TLS: ") + tlsError_;
    if (disconnectReason_ == MQTT_RC_SESSION_TAKEN_OVER)
        return QStringLiteral("the broker closed the connection: %1 (another client connected with this "
                              "station's client id)")
            .arg(reasonText(disconnectReason_));
    if (disconnectReason_ >= 0x80)
        return QStringLiteral("the broker closed the connection: %1").arg(reasonText(disconnectReason_));
    if (rc == MOSQ_ERR_CONN_LOST || rc == MOSQ_ERR_SUCCESS)
        return QStringLiteral("the broker closed the connection");
    return errorText(rc);
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
    takeAcknowledgements();
    if (rc != MOSQ_ERR_SUCCESS || mosquitto_socket(mosq_) < 0) {
        attemptFailed(lostReason(rc));
        return;
    }
    updateWrite();
}

void MqttConnection::writable()
{
    if (!mosq_ || !write_)
        return;
    const int rc = mosquitto_loop_write(mosq_, 1);
    takeAcknowledgements(); // a QoS 0 message is acknowledged once written
    if (rc != MOSQ_ERR_SUCCESS) {
        attemptFailed(lostReason(rc));
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
        attemptFailed(state_ == State::Connecting ? QStringLiteral("the broker does not answer")
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

QString MqttConnection::connectedText() const
{
    const QString text = QStringLiteral("connected to %1:%2").arg(options_.host).arg(options_.port);
    if (refusedTopics_.isEmpty())
        return text;
    // The first topic refused names the fault, so the text stays the same while more are refused.
    return QStringLiteral("not published: the broker refuses the station's messages (%1: %2); its access list must "
                          "let user \"%3\" write them")
        .arg(firstRefused_, refusedTopics_.value(firstRefused_), options_.user);
}

void MqttConnection::onConnack(int rc)
{
    if (!mosq_ || state_ != State::Connecting)
        return;
    answer_->stop();
    if (rc != 0) {
        // The broker answered: another address would answer the same.
        backoffMs_ = kMaxBackoffMs;
        failed(QStringLiteral("refused by the broker: %1").arg(reasonText(rc)));
        return;
    }
    backoffMs_ = 1000;
    awaiting_.clear();
    refusedTopics_.clear();
    firstRefused_.clear();
    setState(State::Connected, connectedText());
    emit connected();
    updateWrite();
}

void MqttConnection::takeAcknowledgements()
{
    if (acks_.isEmpty())
        return;
    for (const auto& [mid, reason] : std::exchange(acks_, {})) {
        const QString topic = awaiting_.take(mid);
        if (topic.isEmpty())
            continue;
        if (reason >= 0x80)
            refusedTopics_.insert(topic, reasonText(reason));
        else
            refusedTopics_.remove(topic);
        if (refusedTopics_.isEmpty() || !refusedTopics_.contains(firstRefused_))
            firstRefused_ = refusedTopics_.isEmpty() ? QString() : refusedTopics_.constBegin().key();
    }
    if (isLinked())
        setState(refusedTopics_.isEmpty() ? State::Connected : State::Refused, connectedText());
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

void MqttConnection::attemptFailed(const QString& reason)
{
    // Before the broker's answer, the name's next address may do better.
    if (state_ == State::Connecting && address_ + 1 < addresses_.size()) {
        attempts_ << QStringLiteral("%1: %2").arg(addresses_.at(address_).toString(), reason);
        answer_->stop();
        dropSocket();
        connectTo(address_ + 1);
        return;
    }
    if (state_ == State::Connecting && !attempts_.isEmpty()) {
        attempts_ << QStringLiteral("%1: %2").arg(addresses_.at(address_).toString(), reason);
        failed(attempts_.join(QStringLiteral("; ")));
        return;
    }
    failed(reason);
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
    if (!isLinked())
        return false;
    int mid = 0;
    RetainedProperties properties;
    const int rc = mosquitto_publish_v5(mosq_, &mid, topic.toUtf8().constData(), int(payload.size()), payload.constData(),
                                        qos, retain, retain ? properties.list : nullptr);
    if (rc != MOSQ_ERR_SUCCESS) {
        QMetaObject::invokeMethod(this, [this, rc] { failed(errorText(rc)); }, Qt::QueuedConnection);
        return false;
    }
    if (qos > 0)
        awaiting_.insert(mid, topic);
    updateWrite();
    return true;
}

} // namespace tarvek
