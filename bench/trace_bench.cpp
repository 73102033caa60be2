// The protocol trace under load: six engines' replies and frames pushed through the tap as fast
// as they come, with the trace window's table view shown and repainted after every batch.
// Prints the cost of one message through the tap, of one batch reaching the view, how many
// messages a second the open trace keeps up with, and the memory a full table holds.
#include "app/service/protocol_trace_window.h"
#include "station/station.h"
#include "protocol/codec.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTableView>
#include <QTemporaryDir>

#include <cstdio>
#include <string>

using namespace tarvek;

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int batches = argc > 1 ? std::atoi(argv[1]) : 400;
    // Six engines for one 100 ms batch at the real line rate come to about 12 messages; this
    // pushes 240 a batch, twenty times that.
    constexpr int kPerBatch = 240;

    QTemporaryDir dir;
    ManualClock clock;
    Station station(dir.path(), QString(), clock);
    ProtocolTraceWindow window(station.protocolTrace(), station.files().folder());
    window.show();
    ProtocolTrace& trace = station.protocolTrace();
    auto* view = window.findChild<QTableView*>(QStringLiteral("TraceView"));
    std::array<int, kReplyFields> fields{};
    fields[pos::Sync] = kSyncValue;
    const std::string reply = encodeReply(fields);
    const std::string frame(kFrameLength, '\x20');

    QElapsedTimer tap, batch, all;
    qint64 tapNs = 0, batchNs = 0;
    all.start();
    for (int b = 0; b < batches; ++b) {
        tap.start();
        for (int i = 0; i < kPerBatch; ++i)
            trace.traced(1 + i % 6, i % 2 ? TraceDirection::Out : TraceDirection::In, i % 2 ? frame : reply);
        tapNs += tap.nsecsElapsed();
        batch.start();
        trace.flush();
        view->scrollToBottom();
        view->viewport()->repaint();
        batchNs += batch.nsecsElapsed();
    }
    const double seconds = static_cast<double>(all.nsecsElapsed()) / 1e9;
    const double messages = static_cast<double>(batches) * kPerBatch;
    qint64 bytes = 0;
    for (int r = 0; r < trace.rowCount(); ++r)
        bytes += trace.entry(r).bytes.size() + static_cast<qint64>(sizeof(ProtocolTrace::Entry));
    std::printf("trace: %d batches of %d messages, six engines, window shown\n", batches, kPerBatch);
    std::printf("  through the tap: %.2f us a message\n", static_cast<double>(tapNs) / messages / 1000.0);
    std::printf("  a batch into the view and painted: %.2f ms on average\n",
                static_cast<double>(batchNs) / batches / 1e6);
    std::printf("  kept up with: %.0f messages a second (six engines at the line rate send about 110)\n",
                messages / seconds);
    std::printf("  rows held: %d (bound %d), about %.1f MB of entries\n", trace.rowCount(), ProtocolTrace::kCapacity,
                static_cast<double>(bytes) / 1e6);
    return 0;
}
