#include "plant_rig.h"
#include "test_support.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <mosquitto.h>

namespace tarvek::test {

Broker::Broker()
{
    // Mosquitto started as root drops to its own user: it must be able to read what it is given.
    QFile::setPermissions(dir_.path(), QFile::permissions(dir_.path()) | QFile::ReadOther | QFile::ExeOther);
    const QString passwd = dir_.filePath("passwd");
    writeBytes(passwd, "");
    for (const char* user : {"st1", "st2", "page"})
        QProcess::execute("mosquitto_passwd", {"-b", passwd, user, passwordOf(user)});
    QFile::setPermissions(passwd, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
    writeBytes(dir_.filePath("acl"), "user page\ntopic read tarvek/#\n\npattern write tarvek/%u/#\n");
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    port_ = probe.serverPort();
}

Broker::~Broker()
{
    kill();
}

bool Broker::start()
{
    const QString conf = dir_.filePath("mosquitto.conf");
    writeBytes(conf,
               QStringLiteral("listener %1 127.0.0.1\nallow_anonymous false\npassword_file %2\nacl_file %3\n"
                              "persistence false\nlog_dest none\n")
                   .arg(port_)
                   .arg(dir_.filePath("passwd"), dir_.filePath("acl"))
                   .toUtf8());
    QFile::setPermissions(conf, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.start("mosquitto", {"-c", conf});
    for (int i = 0; i < 100; ++i) {
        QTcpSocket s;
        s.connectToHost(QHostAddress::LocalHost, quint16(port_));
        if (s.waitForConnected(200))
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

Subscriber::Subscriber(const Broker& broker, const QString& user, const QString& filter)
{
    mosquitto_lib_init();
    mosq_ = mosquitto_new(nullptr, true, this);
    mosquitto_username_pw_set(mosq_, user.toUtf8().constData(), Broker::passwordOf(user).toUtf8().constData());
    mosquitto_message_callback_set(mosq_, [](mosquitto*, void* self, const mosquitto_message* m) {
        auto* s = static_cast<Subscriber*>(self);
        std::lock_guard lock(s->mutex_);
        s->received_.append({QString::fromUtf8(m->topic),
                             QByteArray(static_cast<const char*>(m->payload), m->payloadlen), m->retain});
    });
    const QByteArray f = filter.toUtf8();
    mosquitto_connect(mosq_, "127.0.0.1", broker.port(), 10);
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

Received Subscriber::last(const QString& topic) const
{
    std::lock_guard lock(mutex_);
    for (auto it = received_.crbegin(); it != received_.crend(); ++it)
        if (it->topic == topic)
            return *it;
    return {};
}

PlantStation::PlantStation(const QString& brokerAddress, const QString& name, const QByteArray& password, bool looseFile,
                           const QStringList& moreOptions)
{
    const QString ports = dir_.filePath("ports");
    const QString folder = this->folder();
    QDir().mkpath(ports);
    QDir().mkpath(folder);
    QByteArray paramCom, devices;
    for (int n = 1; n <= 14; ++n) {
        if (n <= 6)
            paramCom += QStringLiteral("\"%1\"\r\n\"1\"\r\n").arg(n).toUtf8();
        devices += (n <= 6 ? QStringLiteral("%1/COM%2").arg(ports).arg(n).toUtf8() : QByteArray()) + "\r\n";
    }
    writeBytes(folder + "/ParamComx.ini", paramCom);
    writeBytes(folder + "/ComDevices.ini", devices);
    const QString passwordFile = dir_.filePath("password");
    writeBytes(passwordFile, (password.isEmpty() ? Broker::passwordOf(name).toUtf8() : password) + "\n");
    QFile::setPermissions(passwordFile, QFile::ReadOwner | QFile::WriteOwner |
                                            (looseFile ? QFile::ReadOther : QFile::Permissions()));
    writeBytes(folder + "/Plant.ini",
               QStringLiteral("\"0\"\r\n\"\"\r\n\"\"\r\n\"\"\r\n\"%1\"\r\n\"%2\"\r\n\"\"\r\n")
                   .arg(name, passwordFile)
                   .toUtf8());
    sim_.start(TARVEK_BINARY_DIR "/src/sim/program/fadec-sim", {"--engines", "6", "--dir", ports, "--quiet"});
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(ports + "/COM6"), 10'000);
    auto env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    station_.setProcessEnvironment(env);
    station_.start(TARVEK_BINARY_DIR "/src/app/tarvek-station",
                   QStringList{"--folder", folder, "--plant-broker", brokerAddress, "--plant-name", name} + moreOptions);
}

PlantStation::~PlantStation()
{
    for (QProcess* p : {&station_, &sim_}) {
        p->kill();
        p->waitForFinished(10'000);
    }
}

bool PlantStation::terminate()
{
    station_.terminate();
    return station_.waitForFinished(30'000) && station_.exitCode() == 0;
}

void PlantStation::kill9()
{
    station_.kill();
    station_.waitForFinished(10'000);
}

QString PlantStation::errors()
{
    errors_ += QString::fromLocal8Bit(station_.readAllStandardError());
    return errors_;
}

} // namespace tarvek::test
