// Measures the simulator's pacing over a pseudo-terminal: how long a 160-character reply takes
// from its first byte to its last, and a whole cycle when the other end answers at once, against
// the line times at 19200 baud. Prints the figures and whether they are within 5 %.
//   sim_pacing [--replies 40]
#include "protocol/codec.h"
#include "sim/pty_transport.h"
#include "sim/simulated_engine.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSerialPort>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <numeric>
#include <vector>

using namespace tarvek;

namespace {
struct Figures {
    double mean = 0, min = 0, max = 0;
};

Figures figures(const std::vector<double>& v)
{
    if (v.empty())
        return {};
    return {std::accumulate(v.begin(), v.end(), 0.0) / double(v.size()), *std::min_element(v.begin(), v.end()),
            *std::max_element(v.begin(), v.end())};
}

void print(const char* what, const Figures& f, double expected)
{
    std::printf("%-34s mean %6.2f ms  min %6.2f  max %6.2f  line %6.2f ms  (%+.1f %%)  %s\n", what, f.mean, f.min,
                f.max, expected, (f.mean - expected) / expected * 100.0,
                std::abs(f.mean - expected) <= expected * 0.05 ? "within 5 %" : "OFF BY MORE THAN 5 %");
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    int wanted = 40;
    const QStringList args = app.arguments();
    if (const auto i = args.indexOf(QStringLiteral("--replies")); i > 0 && i + 1 < args.size())
        wanted = std::max(3, args[i + 1].toInt());

    QTemporaryDir dir;
    const QString link = dir.filePath(QStringLiteral("COM1"));
    sim::SimulatedEngine engine(1, std::make_unique<sim::PtyTransport>(link), 11);
    engine.setPaced(true);
    if (!engine.start()) {
        std::fprintf(stderr, "cannot start the simulated engine\n");
        return 1;
    }
    QSerialPort port;
    port.setPortName(link);
    if (!port.open(QIODevice::ReadWrite)) {
        std::fprintf(stderr, "cannot open %s\n", qPrintable(link));
        return 1;
    }

    // The station's end: times each reply's first and last byte and answers at once.
    EngineTables tables;
    QElapsedTimer clock;
    clock.start();
    QByteArray buffer;
    std::vector<qint64> firstNs, lastNs, frameNs;
    QObject::connect(&port, &QSerialPort::readyRead, &app, [&] {
        const qint64 now = clock.nsecsElapsed();
        const QByteArray bytes = port.readAll();
        if (bytes.isEmpty())
            return;
        if (buffer.isEmpty())
            firstNs.push_back(now);
        buffer += bytes;
        while (buffer.size() >= kReplyLength) {
            const QByteArray reply = buffer.left(kReplyLength);
            buffer.remove(0, kReplyLength);
            lastNs.push_back(now);
            decodeReply(tables, 0, std::string_view(reply.constData(), std::size_t(reply.size())));
            const SendOutcome out = composeFrame(tables, 0, true);
            if (out.blocked)
                continue;
            port.write(out.bytes.data(), qsizetype(out.bytes.size()));
            frameNs.push_back(clock.nsecsElapsed());
            if (int(lastNs.size()) >= wanted + 2)
                app.quit();
        }
    });
    QTimer::singleShot(120'000, &app, &QCoreApplication::quit);
    app.exec();

    // The first replies may have waited in the line before the port opened.
    const std::size_t skip = 2;
    const std::size_t n = std::min({firstNs.size(), lastNs.size(), frameNs.size()});
    if (n <= skip + 1) {
        std::fprintf(stderr, "too few replies\n");
        return 1;
    }
    std::vector<double> reply, cycle;
    for (std::size_t i = skip; i < n; ++i) {
        // First to last byte spans 159 character times; scale to the 160 of a reply.
        reply.push_back(double(lastNs[i] - firstNs[i]) / 1e6 * 160.0 / 159.0);
        if (i + 1 < n)
            cycle.push_back(double(firstNs[i + 1] - firstNs[i]) / 1e6);
    }
    const double replyMs = kReplyLength * sim::kBitsPerCharacter * 1000.0 / sim::kLineBaud;
    const double frameMs = kFrameLength * sim::kBitsPerCharacter * 1000.0 / sim::kLineBaud;
    std::printf("simulator pacing over a pseudo-terminal, %zu replies\n", n - skip);
    print("reply, first to last byte", figures(reply), replyMs);
    print("cycle with an immediate answer", figures(cycle), replyMs + frameMs);
    return 0;
}
