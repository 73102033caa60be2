// N stations' worth of plant messages against one Mosquitto, with a subscriber measuring each
// message's publish-to-receive latency, and the broker's CPU share.
//   plant_load [--stations 1,10,50] [--seconds 20]
// Each simulated station publishes what a station does: six engine states a second (every value
// changes), a history line every 5 s, QoS as the station uses them.
#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>

#include <mosquitto.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
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

struct Latencies {
    std::mutex mutex;
    std::vector<double> ms;
};

QByteArray engineState(int engine, int tick)
{
    // The size and shape of a real state message; the first field carries the send time.
    const auto sent = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
    QByteArray rows;
    for (const char* name : {"Motor M", "Fan V1", "Fan V2", "MAT", "SHT", "LPC", "LFC", "VIS", "IR", "RH", "SBV", "VCC"})
        rows += QStringLiteral(R"({"name":"%1","unit":"","value":"%2"},)").arg(name).arg(tick % 200).toUtf8();
    rows.chop(1);
    return QStringLiteral(R"({"sent":%1,"engine":%2,"link":"yes","phase":5,"fault":{"code":20,"text":" "},)"
                          R"("lastReply":"2026-01-01T00:00:00.000Z","rows":[%3],"setPoints":{"power":{"unit":"We",)"
                          R"("value":1000},"motorSpeed":{"unit":"rpm","value":900}},"startedHere":true,)"
                          R"("status":"Running","time":"2026-01-01T00:00:00.000Z"})")
        .arg(sent).arg(engine).arg(QString::fromUtf8(rows)).toUtf8();
}

mosquitto* client(int port, void* self)
{
    mosquitto* m = mosquitto_new(nullptr, true, self);
    mosquitto_int_option(m, MOSQ_OPT_TCP_NODELAY, 1); // as the station does
    if (mosquitto_connect(m, "127.0.0.1", port, 30) != MOSQ_ERR_SUCCESS) {
        std::fprintf(stderr, "cannot connect to the broker\n");
        std::exit(1);
    }
    mosquitto_loop_start(m);
    return m;
}

void run(int stations, int seconds)
{
    QTemporaryDir dir;
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const int port = probe.serverPort();
    probe.close();
    QFile conf(dir.filePath("mosquitto.conf"));
    conf.open(QIODevice::WriteOnly);
    conf.write(QStringLiteral("listener %1 127.0.0.1\nallow_anonymous true\npersistence false\nmax_queued_messages 100000\nset_tcp_nodelay true\n")
                   .arg(port).toUtf8());
    conf.close();
    QFile::setPermissions(dir.path(), QFile::permissions(dir.path()) | QFile::ReadOther | QFile::ExeOther);
    QFile::setPermissions(conf.fileName(), QFile::permissions(conf.fileName()) | QFile::ReadOther);
    QProcess broker;
    broker.start(QStringLiteral("mosquitto"), {QStringLiteral("-c"), conf.fileName()});
    for (int i = 0; i < 100; ++i) {
        QTcpSocket s;
        s.connectToHost(QHostAddress::LocalHost, quint16(port));
        if (s.waitForConnected(200))
            break;
        QThread::msleep(100);
    }

    Latencies lat;
    std::atomic<long> received{0};
    mosquitto* sub = mosquitto_new(nullptr, true, &lat);
    mosquitto_int_option(sub, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_message_callback_set(sub, [](mosquitto*, void* self, const mosquitto_message* m) {
        const QByteArray p(static_cast<const char*>(m->payload), m->payloadlen);
        if (!p.startsWith("{\"sent\":"))
            return;
        const qint64 sent = p.mid(8, p.indexOf(',') - 8).toLongLong();
        const auto now = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
        auto* l = static_cast<Latencies*>(self);
        std::lock_guard lock(l->mutex);
        l->ms.push_back(double(now - sent) / 1e6);
    });
    mosquitto_connect(sub, "127.0.0.1", port, 30);
    mosquitto_subscribe(sub, nullptr, "tarvek/#", 1);
    mosquitto_loop_start(sub);
    std::vector<mosquitto*> pubs;
    for (int s = 0; s < stations; ++s)
        pubs.push_back(client(port, nullptr));
    QThread::msleep(500);

    const double cpu0 = cpuSeconds(broker.processId());
    const auto start = Clock::now();
    long sent = 0;
    for (int tick = 0; tick < seconds; ++tick) {
        for (int s = 0; s < stations; ++s) {
            for (int e = 1; e <= 6; ++e) {
                const QByteArray t = QStringLiteral("tarvek/st%1/engine/%2/state").arg(s).arg(e).toUtf8();
                const QByteArray p = engineState(e, tick);
                mosquitto_publish(pubs[s], nullptr, t.constData(), int(p.size()), p.constData(), 0, true);
                ++sent;
            }
            if ((tick + s) % 5 == 0) {
                const QByteArray t = QStringLiteral("tarvek/st%1/history").arg(s).toUtf8();
                const QByteArray p = QStringLiteral(R"({"sent":%1,"seq":%2,"line":"  12:00:00    01/01/2026    000    Start LE 1"})")
                                         .arg(std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count())
                                         .arg(tick).toUtf8();
                mosquitto_publish(pubs[s], nullptr, t.constData(), int(p.size()), p.constData(), 1, false);
                ++sent;
            }
        }
        std::this_thread::sleep_until(start + std::chrono::seconds(tick + 1));
    }
    QThread::msleep(1000);
    const double wall = std::chrono::duration<double>(Clock::now() - start).count();
    const double cpu = cpuSeconds(broker.processId()) - cpu0;
    std::vector<double> ms;
    {
        std::lock_guard lock(lat.mutex);
        ms = lat.ms;
    }
    std::sort(ms.begin(), ms.end());
    auto pct = [&ms](double p) { return ms.empty() ? 0.0 : ms[std::min(ms.size() - 1, size_t(p * double(ms.size())))]; };
    std::printf("%3d stations: %6ld sent, %6zu received, latency p50 %.2f ms, p99 %.2f ms, max %.2f ms; "
                "broker CPU %.2f %% of one core\n",
                stations, sent, ms.size(), pct(0.5), pct(0.99), ms.empty() ? 0.0 : ms.back(), 100.0 * cpu / wall);
    std::fflush(stdout);
    for (mosquitto* p : pubs) {
        mosquitto_disconnect(p);
        mosquitto_loop_stop(p, true);
        mosquitto_destroy(p);
    }
    mosquitto_disconnect(sub);
    mosquitto_loop_stop(sub, true);
    mosquitto_destroy(sub);
    broker.kill();
    broker.waitForFinished();
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    mosquitto_lib_init();
    QList<int> counts{1, 10, 50};
    int seconds = 20;
    const QStringList args = app.arguments();
    for (int i = 1; i + 1 < args.size(); i += 2) {
        if (args[i] == QLatin1String("--stations")) {
            counts.clear();
            for (const QString& n : args[i + 1].split(QLatin1Char(',')))
                counts << n.toInt();
        } else if (args[i] == QLatin1String("--seconds")) {
            seconds = args[i + 1].toInt();
        }
    }
    for (int n : counts)
        run(n, seconds);
    mosquitto_lib_cleanup();
    return 0;
}
