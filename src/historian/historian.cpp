#include "historian/historian.h"

#include "common/background_thread.h"
#include "historian/historian_writer.h"
#include "station/station.h"

#include <QDir>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <span>
#include <utility>

namespace tarvek {

LinkState historianLinkState(Station& station, int engine)
{
    return station.linkState(engine);
}

Historian::Historian(Station& station, QObject* parent)
    : QObject(parent), station_(station), timer_(new QTimer(this)), thread_(new QThread(this))
{
    int days = kDefaultRetentionDays;
    if (station_.files().readNumbers(settingsFileName(), std::span<int>(&days, 1)) < 1 || days < 1) {
        days = kDefaultRetentionDays;
        station_.files().writeNumbers(settingsFileName(), std::span<const int>(&days, 1));
    }
    retentionDays_ = days;
    path_ = QDir(station_.files().folder()).filePath(HistorianStore::fileName());
    lastState_.fill(-1);
    writer_ = new HistorianWriter(path_, retentionDays_);
    writer_->moveToThread(thread_);
    connect(writer_, &HistorianWriter::notice, this, &Historian::notice); // queued: across threads
    thread_->setObjectName(QStringLiteral("Historian"));
    connect(thread_, &QThread::started, writer_, [] { markAsBackgroundWork(); }, Qt::DirectConnection);
    thread_->start();
    timer_->setObjectName(QStringLiteral("HistorianTimer"));
    timer_->setInterval(kTickMs);
    connect(timer_, &QTimer::timeout, this, &Historian::sample);
    timer_->start();
}

Historian::~Historian()
{
    timer_->stop();
    QMetaObject::invokeMethod(writer_, [w = writer_] { w->close(); }, Qt::BlockingQueuedConnection);
    thread_->quit();
    thread_->wait();
    delete writer_;
}

void Historian::sample()
{
    const qint64 now = station_.clock().now().toSecsSinceEpoch();
    std::vector<HistorianSample> batch;
    for (int n = 1; n <= kEngines; ++n) {
        const auto k = static_cast<std::size_t>(n - 1);
        const LinkState link = historianLinkState(station_, n);
        const quint64 readings = station_.link().statusReadings(n);
        // Values once a second while the link answers, and only when a status reply came since the
        // last row: a silent second is never a repeated row. Any other state once, when it begins.
        if (link == LinkState::Yes ? (lastTime_[k] == now && lastState_[k] == int(link)) || readings == lastReadings_[k]
                                   : lastState_[k] == int(link))
            continue;
        lastReadings_[k] = readings;
        HistorianSample s;
        s.time = now;
        s.engine = n;
        s.link = link;
        if (link == LinkState::Yes) {
            const LightEngineRecord& r = station_.tables().at(n - 1);
            s.phase = r.Phase;
            s.fault = r.FaultCode;
            for (int i = 0; i < kEngineRows; ++i)
                s.values[static_cast<std::size_t>(i)] =
                    r.reported[static_cast<std::size_t>(engineRows()[static_cast<std::size_t>(i)].position)];
        }
        lastTime_[k] = now;
        lastState_[k] = int(link);
        batch.push_back(s);
    }
    // Every second, rows or not: the writer sums up, packs and prunes on its turn.
    QMetaObject::invokeMethod(writer_, [w = writer_, b = std::move(batch), now] { w->write(b, now); },
                              Qt::QueuedConnection);
}

void Historian::waitForWriter()
{
    QMetaObject::invokeMethod(writer_, [] {}, Qt::BlockingQueuedConnection);
}

HistorianCommitStats Historian::commitStats() const { return writer_->stats(); }

} // namespace tarvek
