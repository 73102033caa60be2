#include "plant_rig.h"
#include "test_support.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <mosquitto.h>

#include <csignal>

namespace tarvek::test {

namespace {
int freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}
} // namespace

Broker::Broker(const QStringList& config)
    : port_(freePort()), readerPort_(config.value(0) == QLatin1String("site") ? 0 : freePort()) // a site has no readers
{
    // Mosquitto started as root drops to its own user: it must be able to reach what it is given.
    QFile::setPermissions(dir_.path(), QFile::permissions(dir_.path()) | QFile::ReadOther | QFile::ExeOther);
    QDir().mkpath(dir_.filePath("broker"));
    for (const char* user : {"st1", "st2", "page", "hall1"})
        writeBytes(file(QString::fromLatin1(user) + ".password"), passwordOf(QString::fromLatin1(user)).toUtf8() + "\n");
    QProcess script;
    script.setProcessChannelMode(QProcess::ForwardedChannels);
    script.start(TARVEK_SOURCE_DIR "/scripts/plant-broker-config.sh",
                 QStringList{dir_.filePath("broker")} + config +
                     QStringList{"--bind", "127.0.0.1", "--station-port", QString::number(port_), "--page-port", "0",
                                 "--reader-port", QString::number(readerPort_)});
    if (!script.waitForFinished(30'000) || script.exitCode() != 0)
        qWarning("plant-broker-config.sh failed");
}

Broker::~Broker()
{
    kill();
}

bool Broker::makeCertificates()
{
    const auto openssl = [this](const QStringList& args) {
        QProcess p;
        p.setWorkingDirectory(file({}));
        p.start("openssl", args);
        return p.waitForFinished(30'000) && p.exitCode() == 0;
    };
    const QStringList key{"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"};
    writeBytes(file("server.ext"), "subjectAltName=DNS:localhost\n");
    writeBytes(file("elsewhere.ext"), "subjectAltName=DNS:elsewhere.invalid\n");
    bool ok = true;
    for (const char* ca : {"ca", "other-ca"})
        ok = ok && openssl(QStringList{"req", "-x509"} + key +
                           QStringList{"-keyout", QString(ca) + ".key", "-out", QString(ca) + ".crt", "-days", "2",
                                       "-subj", QString("/CN=Plant test ") + ca});
    for (const char* server : {"server", "expired", "elsewhere"})
        ok = ok && openssl(QStringList{"req"} + key +
                           QStringList{"-keyout", QString(server) + ".key", "-out", QString(server) + ".csr", "-subj", "/CN=localhost"}) &&
             openssl({"x509", "-req", "-in", QString(server) + ".csr", "-CA", "ca.crt", "-CAkey", "ca.key", "-CAcreateserial",
                      "-out", QString(server) + ".crt", "-extfile", server == QString("elsewhere") ? "elsewhere.ext" : "server.ext",
                      "-days", server == QString("expired") ? "-1" : "2"});
    for (const QString& f : QDir(file({})).entryList({"*.key", "*.crt"}))
        QFile::setPermissions(file(f), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
    return ok;
}

int Broker::addTlsListener(const QString& name)
{
    const int port = freePort();
    extra_ += QStringLiteral("\nlistener %1 127.0.0.1\ncertfile %2\nkeyfile %3\nuse_username_as_clientid true\n"
                             "password_file %4\nacl_file %5\n")
                  .arg(port)
                  .arg(file(name + ".crt"), file(name + ".key"), file("writers.passwd"), file("writers.acl"))
                  .toUtf8();
    return port;
}

bool Broker::start()
{
    const QByteArray conf = readBytes(file("mosquitto.conf"));
    if (conf.isEmpty())
        return false;
    writeBytes(file("run.conf"), conf + extra_ + "log_dest none\n");
    QFile::setPermissions(file("run.conf"), QFile::permissions(file("mosquitto.conf")));
    QProcess::execute("chgrp", {"--reference", file("mosquitto.conf"), file("run.conf")});
    // Both listeners answer before the test goes on.
    process_.setProcessChannelMode(QProcess::ForwardedOutputChannel); // its deprecation notice is no news
    process_.start("mosquitto", {"-c", file("run.conf")});
    for (int i = 0; i < 100; ++i) {
        QTcpSocket s, r;
        s.connectToHost(QHostAddress::LocalHost, quint16(port_));
        r.connectToHost(QHostAddress::LocalHost, quint16(readerPort_));
        if (s.waitForConnected(200) && (readerPort_ == 0 || r.waitForConnected(200)))
            return true;
        QTest::qWait(100);
    }
    return false;
}

void Broker::kill()
{
    if (process_.state() != QProcess::NotRunning) {
        process_.kill();
        process_.waitForFinished(10'000);
    }
}

QJsonObject Received::json() const
{
    return QJsonDocument::fromJson(payload).object();
}

Subscriber::Subscriber(const Broker& broker, const QString& user, const QString& filter, const QString& clientId,
                       int port)
{
    mosquitto_lib_init();
    const QByteArray id = (clientId.isEmpty() ? QStringLiteral("tarvek-test-%1").arg(QRandomGenerator::global()->generate())
                                              : clientId).toUtf8();
    mosq_ = mosquitto_new(id.constData(), true, this);
    mosquitto_int_option(mosq_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_username_pw_set(mosq_, user.toUtf8().constData(), Broker::passwordOf(user).toUtf8().constData());
    mosquitto_connect_v5_callback_set(mosq_, [](mosquitto*, void* self, int rc, int, const mosquitto_property*) {
        static_cast<Subscriber*>(self)->connack_ = rc;
    });
    mosquitto_message_callback_set(mosq_, [](mosquitto*, void* self, const mosquitto_message* m) {
        auto* s = static_cast<Subscriber*>(self);
        std::lock_guard lock(s->mutex_);
        s->received_.append({QString::fromUtf8(m->topic),
                             QByteArray(static_cast<const char*>(m->payload), m->payloadlen), m->retain});
    });
    const QByteArray f = filter.toUtf8();
    if (port == 0)
        port = user == QLatin1String("page") ? broker.readerPort() : broker.port();
    mosquitto_connect(mosq_, "127.0.0.1", port, 10);
    mosquitto_subscribe(mosq_, nullptr, f.constData(), 1);
    mosquitto_loop_start(mosq_);
}

Subscriber::~Subscriber()
{
    mosquitto_disconnect(mosq_);
    mosquitto_loop_stop(mosq_, true);
    mosquitto_destroy(mosq_);
}

bool Subscriber::publish(const QString& topic, const QByteArray& payload)
{
    return mosquitto_publish(mosq_, nullptr, topic.toUtf8().constData(), int(payload.size()), payload.constData(), 1,
                             false) == MOSQ_ERR_SUCCESS;
}

QList<Received> Subscriber::received() const
{
    std::lock_guard lock(mutex_);
    return received_;
}

Received Subscriber::first(const QString& topic) const
{
    std::lock_guard lock(mutex_);
    for (const Received& r : received_)
        if (r.topic == topic)
            return r;
    return {};
}

Received Subscriber::last(const QString& topic) const
{
    std::lock_guard lock(mutex_);
    for (auto it = received_.crbegin(); it != received_.crend(); ++it)
        if (it->topic == topic)
            return *it;
    return {};
}

PlantStation::PlantStation(const QString& brokerAddress, const QString& name, const Options& options)
{
    const QString ports = dir_.filePath("ports");
    const QString folder = this->folder();
    const QString user = options.user.isEmpty() ? name : options.user;
    QDir().mkpath(ports);
    QDir().mkpath(folder);
    QByteArray paramCom, devices;
    for (int n = 1; n <= 6; ++n) {
        paramCom += QStringLiteral("\"%1\"\r\n\"1\"\r\n").arg(n).toUtf8();
        devices += QStringLiteral("%1/COM%2\r\n").arg(ports).arg(n).toUtf8();
    }
    writeBytes(folder + "/ParamComx.ini", paramCom);
    writeBytes(folder + "/ComDevices.ini", devices);
    const QString passwordFile = dir_.filePath("password");
    writeBytes(passwordFile, (options.password.isEmpty() ? Broker::passwordOf(user).toUtf8() : options.password) + "\n");
    QFile::setPermissions(passwordFile, QFile::ReadOwner | QFile::WriteOwner |
                                            (options.looseFile ? QFile::ReadOther : QFile::Permissions()));
    writeBytes(folder + "/Plant.ini",
               QStringLiteral("\"0\"\r\n\"\"\r\n\"\"\r\n\"\"\r\n\"%1\"\r\n\"%2\"\r\n\"%3\"\r\n")
                   .arg(user, passwordFile, options.caFile)
                   .toUtf8());
    sim_.start(TARVEK_BINARY_DIR "/src/sim/program/fadec-sim", {"--engines", "6", "--dir", ports, "--quiet"});
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(ports + "/COM6"), 10'000);
    auto env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    station_.setProcessEnvironment(env);
    station_.start(TARVEK_BINARY_DIR "/src/app/tarvek-station",
                   QStringList{"--folder", folder, "--plant-broker", brokerAddress, "--plant-name", name} + options.more);
}

PlantStation::~PlantStation()
{
    for (QProcess* p : {&station_, &sim_}) {
        p->kill();
        p->waitForFinished(10'000);
    }
}

void PlantStation::kill9()
{
    station_.kill();
    station_.waitForFinished(10'000);
}

bool PlantStation::terminate()
{
    ::kill(pid_t(station_.processId()), SIGTERM);
    return station_.waitForFinished(30'000) && station_.exitStatus() == QProcess::NormalExit;
}

QString PlantStation::errors()
{
    errors_ += QString::fromLocal8Bit(station_.readAllStandardError());
    return errors_;
}

} // namespace tarvek::test
