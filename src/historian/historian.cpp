#include "historian/historian.h"

#include "station/station.h"

#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QSemaphore>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <span>
#include <utility>

namespace tarvek {

// Lives on the historian's thread and owns the writing connection.
class HistorianWriter : public QObject {
public:
    HistorianWriter(Historian& owner, const QString& path, int retentionDays)
        : owner_(owner), store_(path), retentionSeconds_(qint64(retentionDays) * 86'400) {}

    void write(const std::vector<HistorianSample>& batch, qint64 now)
    {
        if (!store_.isOpen() && !openStore())
            return;
        QElapsedTimer t;
        t.start();
        auto result = store_.insert(batch);
        if (result == HistorianStore::Result::Corrupt && store_.recover()) {
            tell(movedText());
            rolledTo_ = 0;
            result = store_.insert(batch);
        }
        const qint64 us = t.nsecsElapsed() / 1000;
        if (result == HistorianStore::Result::Ok) {
            {
                QMutexLocker lock(&statsMutex_);
                ++stats_.commits;
                stats_.totalUs += us;
                stats_.maxUs = std::max(stats_.maxUs, us);
            }
            if (std::exchange(failing_, false))
                tell(QStringLiteral("Historian: recording again."));
            rollUp(batch, now);
            store_.prune(now - retentionSeconds_, Historian::kPruneRowsPerTick);
            return;
        }
        if (!std::exchange(failing_, true))
            tell(result == HistorianStore::Result::Full
                     ? QStringLiteral("Historian: the disk is full; values are not recorded until there is room again.")
                     : QStringLiteral("Historian: cannot write %1 (%2); trying again.")
                           .arg(QDir::toNativeSeparators(store_.path()), store_.lastError()));
    }
    void close() { store_.close(); }
    Historian::CommitStats stats() const
    {
        QMutexLocker lock(&statsMutex_);
        return stats_;
    }

private:
    // Sums up the minutes that are complete; a clock set back sums its minutes up again.
    void rollUp(const std::vector<HistorianSample>& batch, qint64 now)
    {
        for (const HistorianSample& s : batch)
            rolledTo_ = rolledTo_ == 0 ? s.time / 60 * 60 : std::min(rolledTo_, s.time / 60 * 60);
        const qint64 minute = now / 60 * 60;
        if (minute <= rolledTo_)
            return;
        const qint64 to = std::min(minute, rolledTo_ + Historian::kRollUpMinutesPerTick * 60);
        if (store_.rollUp(rolledTo_, to))
            rolledTo_ = to;
    }
    bool openStore()
    {
        if (store_.open()) {
            rolledTo_ = store_.rolledUpTo();
            if (!store_.movedAside().isEmpty())
                tell(movedText());
            return true;
        }
        if (!std::exchange(failing_, true))
            tell(QStringLiteral("Historian: cannot open %1 (%2); trying again.")
                     .arg(QDir::toNativeSeparators(store_.path()), store_.lastError()));
        return false;
    }
    QString movedText() const
    {
        return QStringLiteral("Historian: %1 could not be read; it is kept as %2 and a new one is started.")
            .arg(HistorianStore::fileName(), QFileInfo(store_.movedAside()).fileName());
    }
    void tell(const QString& text)
    {
        QMetaObject::invokeMethod(&owner_, [o = &owner_, text] { emit o->notice(text); }, Qt::QueuedConnection);
    }

    Historian& owner_;
    HistorianStore store_;
    qint64 retentionSeconds_;
    qint64 rolledTo_ = 0;
    bool failing_ = false;
    mutable QMutex statsMutex_;
    Historian::CommitStats stats_;
};

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
    writer_ = new HistorianWriter(*this, path_, retentionDays_);
    writer_->moveToThread(thread_);
    thread_->setObjectName(QStringLiteral("Historian"));
    thread_->start(QThread::LowPriority);
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
    if (batch.empty())
        return;
    QMetaObject::invokeMethod(writer_, [w = writer_, b = std::move(batch), now] { w->write(b, now); },
                              Qt::QueuedConnection);
}

void Historian::waitForWriter()
{
    QMetaObject::invokeMethod(writer_, [] {}, Qt::BlockingQueuedConnection);
}

Historian::CommitStats Historian::commitStats() const { return writer_->stats(); }

} // namespace tarvek
