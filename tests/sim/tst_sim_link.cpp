// The simulator over real links: a pseudo-terminal opened by a QSerialPort as the station opens
// its ports, a TCP socket, and the fadec-sim program itself.
#include "protocol/codec.h"
#include "sim/pty_transport.h"
#include "sim/simulated_engine.h"
#include "sim/simulator.h"
#include "sim/tcp_transport.h"
#include "test_registry.h"
#include "test_support.h"

#include <QFileInfo>
#include <QProcess>
#include <QSerialPort>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace tarvek;
using namespace tarvek::sim;

namespace {
constexpr int kWait = 10000; // generous: the machine may be busy

// The station's end of one link: gathers 160 characters, decodes them with the station's codec
// and answers with the frame its sender composes.
class StationEnd {
public:
    explicit StationEnd(QIODevice* device) : device_(device)
    {
        QObject::connect(device_, &QIODevice::readyRead, device_, [this] { read(); });
    }

    EngineTables tables;
    bool answer = true;
    int replies = 0;

    LightEngineRecord& record() { return tables.at(0); }

private:
    void read()
    {
        buffer_ += device_->readAll();
        while (buffer_.size() >= kReplyLength) {
            const QByteArray reply = buffer_.left(kReplyLength);
            buffer_.remove(0, kReplyLength);
            ++replies;
            decodeReply(tables, 0, std::string_view(reply.constData(), std::size_t(reply.size())));
            if (!answer)
                continue;
            const SendOutcome out = composeFrame(tables, 0, true);
            if (out.blocked)
                continue;
            device_->write(out.bytes.data(), qint64(out.bytes.size()));
        }
    }

    QIODevice* device_;
    QByteArray buffer_;
};

std::unique_ptr<QSerialPort> openPort(const QString& path)
{
    auto port = std::make_unique<QSerialPort>(path);
    if (!port->open(QIODevice::ReadWrite))
        return nullptr;
    port->setBaudRate(QSerialPort::Baud19200);
    port->setDataBits(QSerialPort::Data8);
    port->setParity(QSerialPort::NoParity);
    port->setStopBits(QSerialPort::OneStop);
    port->setFlowControl(QSerialPort::SoftwareControl);
    return port;
}

constexpr char kProgram[] = TARVEK_BINARY_DIR "/src/sim/program/fadec-sim";
} // namespace

class SimLinkTest : public QObject {
    Q_OBJECT
private slots:

    void noiseBeforeAFrameIsSkipped()
    {
        QTemporaryDir dir;
        SimulatedEngine engine(1, std::make_unique<PtyTransport>(dir.filePath("COM1")), 11);
        engine.setPaced(false);
        QVERIFY(engine.start());
        auto port = openPort(dir.filePath("COM1"));
        QVERIFY(port);
        StationEnd station(port.get());
        station.answer = false;
        QTRY_VERIFY_WITH_TIMEOUT(station.replies >= 1, kWait);
        QSignalSpy applied(&engine, &SimulatedEngine::frameApplied);
        station.record().RunCommand = 1;
        const SendOutcome out = composeFrame(station.tables, 0, true);
        const QByteArray frame(out.bytes.data(), qsizetype(out.bytes.size()));
        const QByteArray noise("\x13" "ab\r\nzz\xff", 8);
        port->write(noise + frame);
        QVERIFY(applied.wait(kWait));
        QCOMPARE(applied.first().first().toByteArray(), frame);
        QCOMPARE(engine.discardedBytes(), int(noise.size()));
        QCOMPARE(engine.model().phase(), 1);
    }

    void tcpCarriesTheSameExchange()
    {
        auto transport = std::make_unique<TcpTransport>(0, QHostAddress::LocalHost);
        TcpTransport* tcp = transport.get();
        SimulatedEngine engine(1, std::move(transport), 5);
        engine.setPaced(false);
        QVERIFY(engine.start());
        QVERIFY(tcp->port() != 0);
        QTcpSocket socket;
        StationEnd station(&socket);
        QSignalSpy applied(&engine, &SimulatedEngine::frameApplied);
        socket.connectToHost(QHostAddress::LocalHost, tcp->port());
        QTRY_VERIFY_WITH_TIMEOUT(applied.size() >= 2, kWait);
        QCOMPARE(station.record().ReplySeen, kSyncValue);
    }

    // The commands themselves are answered in the station's cases that give them; here a command
    // the simulator cannot carry out is refused, a blank line is no command, a script it cannot
    // follow is refused naming its line, and a good one runs on time.
    void badCommandsAndScriptsAreRefused()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("steps.txt");
        Simulator simulator(SimulatorOptions{2, dir.path()});
        const QList<std::pair<QString, QString>> commands{{"fault 1 21", "error:"},  // fault out of range
                                                          {"fault 3 1", "error:"},   // no such engine
                                                          {"launch 1", "error: unknown command"}};
        for (const auto& [line, answer] : commands) {
            const QString got = simulator.execute(line);
            QVERIFY2(got.startsWith(answer), qPrintable(line + ": " + got));
        }
        QCOMPARE(simulator.execute("   "), QString());

        const QList<std::pair<QByteArray, QString>> scripts{{"fault 1 5\n", ":1:"},          // no time
                                                            {"0 fault 1 5\n2.5\n", ":2:"},   // no command
                                                            {"\n\n1 explode 1\n", ":3:"},    // unknown command
                                                            {"-1 fault 1 5\n", ":1:"}};      // negative time
        for (const auto& [text, where] : scripts) {
            tarvek::test::writeBytes(path, text);
            QString error;
            QVERIFY(!simulator.runScript(path, &error));
            QVERIFY2(error.contains(where), qPrintable(error));
        }
        tarvek::test::writeBytes(path, "# warm-up\n0 fault 1 5\n\n0.2 silence 2 on\n");
        QString error;
        QVERIFY2(simulator.runScript(path, &error), qPrintable(error));
        QTRY_COMPARE_WITH_TIMEOUT(simulator.engine(1)->model().injectedFault(), 5, kWait);
        QTRY_VERIFY_WITH_TIMEOUT(simulator.engine(2)->model().silent(), kWait);
    }

    void programServesUntilQuitOrASignalAndCleansUp()
    {
        QTemporaryDir dir;
        QProcess sim;
        sim.start(kProgram, {"--engines", "2", "--dir", dir.path(), "--unpaced"});
        QVERIFY(sim.waitForStarted(kWait));
        sim.write("fault 2 4\nstate 2\nquit\n");
        QVERIFY(sim.waitForFinished(kWait));
        QCOMPARE(sim.exitCode(), 0);
        const QString out = QString::fromLocal8Bit(sim.readAllStandardOutput());
        QVERIFY2(out.contains("LE1 on " + dir.filePath("COM1") + " -> /dev/pts/"), qPrintable(out));
        QVERIFY2(out.contains("LE2 phase 0 fault 4"), qPrintable(out));
        QVERIFY(!QFileInfo(dir.filePath("COM1")).isSymLink());
        QVERIFY(!QFileInfo(dir.filePath("COM2")).isSymLink());

        // Without input it serves on until a signal ends it.
        sim.start(kProgram, {"--engines", "1", "--dir", dir.path(), "--quiet"});
        QVERIFY(sim.waitForStarted(kWait));
        sim.closeWriteChannel();
        QByteArray announced;
        QTRY_VERIFY_WITH_TIMEOUT((announced += sim.readAllStandardOutput()).contains("LE1 on "), kWait);
        auto port = openPort(dir.filePath("COM1"));
        QVERIFY(port);
        StationEnd station(port.get());
        QTRY_VERIFY_WITH_TIMEOUT(station.replies >= 2, kWait);
        sim.terminate();
        QVERIFY(sim.waitForFinished(kWait));
        QCOMPARE(sim.exitStatus(), QProcess::NormalExit);
        QVERIFY(!QFileInfo(dir.filePath("COM1")).isSymLink());
    }
};

TARVEK_TEST(SimLinkTest)
#include "tst_sim_link.moc"
