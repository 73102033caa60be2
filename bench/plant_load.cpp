// N stations' worth of plant messages through Mosquitto configured as the project ships it
// (scripts/plant-broker-config.sh), with a reader on the page's user measuring each message's
// publish-to-receive latency, and the brokers' CPU share.
//   plant_load [--stations 1,10,50] [--seconds 20] [--halls H]
// With --halls, the stations are spread over H hall brokers, each bridged to one central broker
// that the reader reads: the plant's layout past one broker. Each simulated station publishes what
// a station does: six engine states a second (every value changes), its status every 10 s, a
// history line every 5 s, MQTT 5 with QoS and retained expiry as the station uses them.
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <numeric>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {
using Clock = std::chrono::steady_clock;

double cpuSeconds(qint64 pid)
{
    QFile f(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = f.readAll().split(')').last().trimmed().split(' ');
    return (fields.value(11).toDouble() + fields.value(12).toDouble()) / double(sysconf(_SC_CLK_TCK));
}

int freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

qint64 nowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

// One Mosquitto with its configuration written by the project's script.
struct Broker {
    QTemporaryDir dir;
    QProcess process;
    int port = freePort();
    int readerPort = 0;

    bool start(const QStringList& config, const QList<QPair<QString, QString>>& passwords = {})
    {
        QFile::setPermissions(dir.path(), QFile::permissions(dir.path()) | QFile::ReadOther | QFile::ExeOther);
        QDir().mkpath(path({}));
        for (const auto& [user, password] : passwords) {
            QFile f(path(user + QStringLiteral(".password")));
            if (!f.open(QIODevice::WriteOnly) || f.write(password.toUtf8()) < 0)
                return false;
        }
        QStringList args{path({})};
        args << config << QStringLiteral("--bind") << QStringLiteral("127.0.0.1") << QStringLiteral("--station-port")
             << QString::number(port) << QStringLiteral("--page-port") << QStringLiteral("0");
        if (config.value(0) != QLatin1String("site"))
            args << QStringLiteral("--reader-port") << QString::number(readerPort = freePort());
        if (QProcess::execute(QStringLiteral(TARVEK_SOURCE_DIR "/scripts/plant-broker-config.sh"), args) != 0)
            return false;
        QFile conf(path(QStringLiteral("mosquitto.conf")));
        if (!conf.open(QIODevice::Append) || conf.write("log_dest none\n") < 0)
            return false;
        conf.close();
        process.setProcessChannelMode(QProcess::ForwardedOutputChannel);
        process.start(QStringLiteral("mosquitto"), {QStringLiteral("-c"), conf.fileName()});
        for (int i = 0; i < 100; ++i) {
            QTcpSocket s;
            s.connectToHost(QHostAddress::LocalHost, quint16(port));
            if (s.waitForConnected(200))
                return true;
            QThread::msleep(100);
        }
        return false;
    }
    QString path(const QString& name) const { return dir.filePath(QStringLiteral("conf/") + name); }
    QString password(const QString& user) const
    {
        QFile f(path(user + QStringLiteral(".password")));
        return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readLine()).trimmed() : QString();
    }
    ~Broker()
    {
        process.kill();
        process.waitForFinished();
    }
};

struct Latencies {
    std::mutex mutex;
    std::vector<double> ms;
};

QByteArray engineState(int engine, int tick)
{
    // The size and shape of a real state message; the first field carries the send time.
    QByteArray rows;
    for (const char* name : {"Motor M", "Fan V1", "Fan V2", "MAT", "SHT", "LPC", "LFC", "VIS", "IR", "RH", "SBV", "VCC"})
        rows += QStringLiteral(R"({"name":"%1","unit":"","value":"%2"},)").arg(name).arg(tick % 200).toUtf8();
    rows.chop(1);
    return QStringLiteral(R"({"sent":%1,"engine":%2,"link":"yes","phase":5,"fault":{"code":20,"text":" "},)"
                          R"("lastReply":"2026-01-01T00:00:00.000Z","rows":[%3],"setPoints":{"power":{"unit":"We",)"
                          R"("value":1000},"motorSpeed":{"unit":"rpm","value":900}},"startedHere":true,)"
                          R"("status":"Running","time":"2026-01-01T00:00:00.000Z"})")
        .arg(nowNs()).arg(engine).arg(QString::fromUtf8(rows)).toUtf8();
}

mosquitto* client(int port, const QString& user, const QString& password, void* self)
{
    const QByteArray id = QStringLiteral("tarvek-%1").arg(user).toUtf8();
    mosquitto* m = mosquitto_new(id.constData(), true, self);
    mosquitto_int_option(m, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(m, MOSQ_OPT_TCP_NODELAY, 1); // as the station does
    mosquitto_username_pw_set(m, user.toUtf8().constData(), password.toUtf8().constData());
    if (mosquitto_connect(m, "127.0.0.1", port, 30) != MOSQ_ERR_SUCCESS) {
        std::fprintf(stderr, "cannot connect to the broker\n");
        std::exit(1);
    }
    mosquitto_loop_start(m);
    return m;
}

void publish(mosquitto* m, const QString& topic, const QByteArray& payload, int qos, bool retain)
{
    mosquitto_property* expiry = nullptr;
    if (retain)
        mosquitto_property_add_int32(&expiry, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL, 0xFFFFFFFFu);
    mosquitto_publish_v5(m, nullptr, topic.toUtf8().constData(), int(payload.size()), payload.constData(), qos, retain, expiry);
    mosquitto_property_free_all(&expiry);
}

void run(int stations, int seconds, int halls)
{
    // The stations' brokers: one, or a hall broker each for a share of them bridged to a central one.
    std::vector<std::unique_ptr<Broker>> brokers;
    std::vector<int> stationPort(std::size_t(stations), 0);
    Broker* reading = nullptr;
    auto names = [](int from, int count, int step) {
        QStringList list;
        for (int s = from; s < count; s += step)
            list << QStringLiteral("st%1").arg(s);
        return list.join(QLatin1Char(' '));
    };
    if (halls == 0) {
        brokers.push_back(std::make_unique<Broker>());
        if (!brokers[0]->start({QStringLiteral("single"), QStringLiteral("--stations"), names(0, stations, 1)}))
            std::exit(1);
        reading = brokers[0].get();
    } else {
        QStringList hallNames;
        for (int h = 0; h < halls; ++h)
            hallNames << QStringLiteral("hall%1").arg(h);
        brokers.push_back(std::make_unique<Broker>());
        reading = brokers[0].get();
        if (!reading->start({QStringLiteral("central"), QStringLiteral("--halls"), hallNames.join(QLatin1Char(' '))}))
            std::exit(1);
        for (int h = 0; h < halls; ++h) {
            brokers.push_back(std::make_unique<Broker>());
            const QString central = QStringLiteral("127.0.0.1:%1").arg(reading->port);
            if (!brokers.back()->start({QStringLiteral("site"), QStringLiteral("--stations"), names(h, stations, halls),
                                        QStringLiteral("--hall"), hallNames[h], QStringLiteral("--central"), central},
                                       {{hallNames[h], reading->password(hallNames[h])}}))
                std::exit(1);
        }
    }
    Latencies lat;
    mosquitto* sub = client(reading->readerPort, QStringLiteral("page"), reading->password(QStringLiteral("page")), &lat);
    mosquitto_message_callback_set(sub, [](mosquitto*, void* self, const mosquitto_message* m) {
        const QByteArray p(static_cast<const char*>(m->payload), m->payloadlen);
        if (!p.startsWith("{\"sent\":"))
            return;
        const qint64 sent = p.mid(8, p.indexOf(',') - 8).toLongLong();
        auto* l = static_cast<Latencies*>(self);
        std::lock_guard lock(l->mutex);
        l->ms.push_back(double(nowNs() - sent) / 1e6);
    });
    mosquitto_subscribe(sub, nullptr, "tarvek/#", 1);
    std::vector<mosquitto*> pubs;
    for (int s = 0; s < stations; ++s) {
        Broker& b = *brokers[halls == 0 ? 0 : std::size_t(1 + s % halls)];
        const QString user = QStringLiteral("st%1").arg(s);
        pubs.push_back(client(b.port, user, b.password(user), nullptr));
    }
    QThread::msleep(2000); // the bridges up, every client in

    std::vector<double> cpu0;
    for (const auto& b : brokers)
        cpu0.push_back(cpuSeconds(b->process.processId()));
    const auto start = Clock::now();
    long sent = 0;
    for (int tick = 0; tick < seconds; ++tick) {
        for (int s = 0; s < stations; ++s) {
            const QString station = QStringLiteral("tarvek/st%1/").arg(s);
            mosquitto* m = pubs[std::size_t(s)];
            for (int e = 1; e <= 6; ++e, ++sent)
                publish(m, station + QStringLiteral("engine/%1/state").arg(e), engineState(e, tick), 0, true);
            if ((tick + s) % 10 == 0) {
                publish(m, station + QStringLiteral("status"),
                        QStringLiteral(R"({"sent":%1,"online":true,"engines":[1,2,3,4,5,6],"version":"1.08G"})").arg(nowNs()).toUtf8(),
                        1, true);
                ++sent;
            }
            if ((tick + s) % 5 == 0) {
                publish(m, station + QStringLiteral("history"),
                        QStringLiteral(R"({"sent":%1,"seq":%2,"line":"  12:00:00    01/01/2026    000    Start LE 1"})")
                            .arg(nowNs()).arg(tick).toUtf8(), 1, false);
                ++sent;
            }
        }
        std::this_thread::sleep_until(start + std::chrono::seconds(tick + 1));
    }
    QThread::msleep(1000);
    const double wall = std::chrono::duration<double>(Clock::now() - start).count();
    std::vector<double> cpu;
    for (std::size_t i = 0; i < brokers.size(); ++i)
        cpu.push_back(100.0 * (cpuSeconds(brokers[i]->process.processId()) - cpu0[i]) / wall);
    std::vector<double> ms;
    {
        std::lock_guard lock(lat.mutex);
        ms = lat.ms;
    }
    std::sort(ms.begin(), ms.end());
    auto pct = [&ms](double p) { return ms.empty() ? 0.0 : ms[std::min(ms.size() - 1, size_t(p * double(ms.size())))]; };
    const QString layout = halls == 0 ? QStringLiteral("one broker") : QStringLiteral("%1 halls bridged to a central broker").arg(halls);
    std::printf("%3d stations, %s: %6ld sent, %6zu received, latency p50 %.2f ms, p99 %.2f ms, max %.2f ms; ",
                stations, qPrintable(layout), sent, ms.size(), pct(0.5), pct(0.99), ms.empty() ? 0.0 : ms.back());
    if (halls == 0)
        std::printf("broker CPU %.2f %% of one core\n", cpu[0]);
    else
        std::printf("CPU of one core: central broker %.2f %%, hall brokers %.2f %% together (%.2f %% the busiest)\n", cpu[0],
                    std::accumulate(cpu.begin() + 1, cpu.end(), 0.0), *std::max_element(cpu.begin() + 1, cpu.end()));
    std::fflush(stdout);
    for (mosquitto* p : pubs) {
        mosquitto_disconnect(p);
        mosquitto_loop_stop(p, true);
        mosquitto_destroy(p);
    }
    mosquitto_disconnect(sub);
    mosquitto_loop_stop(sub, true);
    mosquitto_destroy(sub);
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    mosquitto_lib_init();
    QList<int> counts{1, 10, 50};
    int seconds = 20;
    int halls = 0;
    const QStringList args = app.arguments();
    for (int i = 1; i + 1 < args.size(); i += 2) {
        if (args[i] == QLatin1String("--stations")) {
            counts.clear();
            for (const QString& n : args[i + 1].split(QLatin1Char(',')))
                counts << n.toInt();
        } else if (args[i] == QLatin1String("--seconds")) {
            seconds = args[i + 1].toInt();
        } else if (args[i] == QLatin1String("--halls")) {
            halls = args[i + 1].toInt();
        }
    }
    for (int n : counts)
        run(n, seconds, halls);
    mosquitto_lib_cleanup();
    return 0;
}
