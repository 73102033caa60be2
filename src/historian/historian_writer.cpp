#include "historian/historian_writer.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTimer>

#include <algorithm>

namespace tarvek {

HistorianWriter::HistorianWriter(const QString& path, int retentionDays)
    : store_(path), retentionSeconds_(qint64(retentionDays) * 86'400), retry_(new QTimer(this))
{
    retry_->setObjectName(QStringLiteral("HistorianRetry"));
    retry_->setInterval(kRetrySeconds * 1000);
    connect(retry_, &QTimer::timeout, this, &HistorianWriter::flush);
}

void HistorianWriter::close()
{
    retry_->stop();
    store_.close();
}

HistorianCommitStats HistorianWriter::stats() const
{
    QMutexLocker lock(&statsMutex_);
    return stats_;
}

void HistorianWriter::write(const std::vector<HistorianSample>& batch, qint64 now)
{
    now_ = now;
    pending_.insert(pending_.end(), batch.begin(), batch.end());
    for (; pending_.size() > kBacklogRows; ++dropped_)
        pending_.pop_front();
    // While the file waits, only the retry timer tries it again: at a bounded rate.
    if (!retry_->isActive())
        flush();
}

void HistorianWriter::flush()
{
    if (state_ == State::Waiting && !openStore())
        return;
    for (const HistorianSample& s : pending_)
        rolledTo_ = rolledTo_ == 0 ? s.time / 60 * 60 : std::min(rolledTo_, s.time / 60 * 60);
    const std::vector<HistorianSample> rows(pending_.begin(), pending_.end());
    QElapsedTimer t;
    t.start();
    auto result = rows.empty() ? HistorianStore::Result::Ok : store_.insert(rows);
    if (result == HistorianStore::Result::Corrupt && store_.recover()) {
        emit notice(movedText());
        rolledTo_ = 0;
        result = store_.insert(rows);
    }
    const qint64 us = t.nsecsElapsed() / 1000;
    if (result != HistorianStore::Result::Ok) {
        wait(result);
        return;
    }
    if (!rows.empty()) {
        QMutexLocker lock(&statsMutex_);
        ++stats_.commits;
        stats_.totalUs += us;
        stats_.maxUs = std::max(stats_.maxUs, us);
    }
    pending_.clear();
    if (std::exchange(waitReason_, HistorianStore::Result::Ok) != HistorianStore::Result::Ok)
        emit notice(dropped_ == 0 ? QStringLiteral("Historian: recording again; nothing was lost.")
                                  : QStringLiteral("Historian: recording again; %1 rows of values could not be kept.")
                                        .arg(std::exchange(dropped_, 0)));
    rollUp(now_);
    pack();
    // Old rows go a little every second while there are some. A look walks the six engines' rows
    // from the oldest, so after one that found none the next waits a minute: a minute's rows are
    // still far fewer than one second may remove.
    if (now_ >= pruneAt_)
        pruneAt_ = store_.prune(now_ - retentionSeconds_, kPruneRowsPerTick) > 0 ? now_ : now_ + kPruneIdleSeconds;
}

// Packs the seconds of whole blocks already summed up; a file of the first layout a little every
// second, and shrunk once it is all packed.
void HistorianWriter::pack()
{
    const bool converting = store_.converting();
    if (store_.seal(rolledTo_, converting ? kConvertMsPerTick : kPackMsPerTick) < 0 || !converting || store_.converting())
        return;
    const auto sizes = store_.shrink();
    emit notice(sizes ? QStringLiteral("Historian: %1 is converted to the compact form (%2 MB, %3 MB before).")
                            .arg(HistorianStore::fileName())
                            .arg(static_cast<double>(sizes->second) / 1e6, 0, 'f', 1)
                            .arg(static_cast<double>(sizes->first) / 1e6, 0, 'f', 1)
                      : QStringLiteral("Historian: %1 is converted to the compact form.").arg(HistorianStore::fileName()));
}

bool HistorianWriter::openStore()
{
    const HistorianStore::Result r = store_.open();
    if (r != HistorianStore::Result::Ok) {
        wait(r);
        return false;
    }
    state_ = State::Recording;
    retry_->stop();
    if (store_.converting())
        emit notice(QStringLiteral("Historian: converting %1 to the compact form, oldest values first; it can be read "
                                   "meanwhile.").arg(HistorianStore::fileName()));
    rolledTo_ = store_.rolledUpTo();
    if (!store_.movedAside().isEmpty())
        emit notice(movedText());
    return true;
}

void HistorianWriter::wait(HistorianStore::Result why)
{
    // Once a reason: a spell of the same fault is told when it begins and when it ends.
    if (std::exchange(waitReason_, why) != why)
        emit notice(waitText(why));
    state_ = State::Waiting;
    store_.close();
    retry_->start();
}

// Sums up the minutes that are complete; a clock set back sums its minutes up again.
void HistorianWriter::rollUp(qint64 now)
{
    const qint64 minute = now / 60 * 60;
    if (minute <= rolledTo_)
        return;
    const qint64 to = std::min(minute, rolledTo_ + kRollUpMinutesPerTick * 60);
    if (store_.rollUp(rolledTo_, to))
        rolledTo_ = to;
}

QString HistorianWriter::waitText(HistorianStore::Result why) const
{
    using R = HistorianStore::Result;
    const QString file = QDir::toNativeSeparators(store_.path());
    const QString waits = QStringLiteral("tried again every %1 s; the values wait in memory, up to an hour")
                              .arg(kRetrySeconds);
    switch (why) {
    case R::Full:
        return QStringLiteral("Historian: the disk is full; %1.").arg(waits);
    case R::ReadOnly:
        return QStringLiteral("Historian: %1 is read-only; it is left as it is and %2.")
            .arg(QDir::toNativeSeparators(store_.readOnlyPath()), waits);
    case R::Locked:
        return QStringLiteral("Historian: %1 is locked by another program; %2.").arg(file, waits);
    case R::Newer:
        return QStringLiteral("Historian: %1 was written by a newer station; it is left as it is and %2.").arg(file, waits);
    default:
        return QStringLiteral("Historian: cannot write %1 (%2); %3.").arg(file, store_.lastError(), waits);
    }
}

QString HistorianWriter::movedText() const
{
    return QStringLiteral("Historian: %1 could not be read; it is kept as %2 and a new one is started.")
        .arg(HistorianStore::fileName(), QFileInfo(store_.movedAside()).fileName());
}

} // namespace tarvek
