#pragma once
// The historian's writing side, on a thread of its own: it owns the writing connection, commits
// each second's rows in one transaction, sums up the minutes and prunes old rows. When the file
// cannot be written (a full disk, a read-only or locked file) it says so once, keeps the rows in
// memory (up to kBacklogRows) and tries the file again every kRetrySeconds. Seconds whose block
// is over are packed (HistorianStore::seal).
#include "historian/historian_store.h"

#include <QMutex>
#include <QObject>

#include <deque>
#include <vector>

class QTimer;

namespace tarvek {

struct HistorianCommitStats {
    qint64 commits = 0, totalUs = 0, maxUs = 0; // microseconds
};

class HistorianWriter : public QObject {
    Q_OBJECT
public:
    static constexpr int kRetrySeconds = 5;
    static constexpr std::size_t kBacklogRows = 6 * 3600; // an hour of six engines
    static constexpr int kPruneRowsPerTick = 2000;
    static constexpr int kPruneIdleSeconds = 60; // after a look that found nothing old enough
    static constexpr int kRollUpMinutesPerTick = 60; // catching up after a pause, an hour a second
    static constexpr int kPackMsPerTick = 50;      // packing whole blocks, at most this long a tick
    static constexpr int kConvertMsPerTick = 250;  // ... while a file of the first layout is converted

    HistorianWriter(const QString& path, int retentionDays);

    // One second's rows, `now` on the station's clock.
    void write(const std::vector<HistorianSample>& batch, qint64 now);
    // Before the thread ends: no more retries, the connection closed.
    void close();
    HistorianCommitStats stats() const;
    // Rows waiting in memory for the file.
    std::size_t waiting() const { return pending_.size(); }

signals:
    void notice(const QString& text);

private:
    // Recording: the file is open and takes rows. Waiting: it is not, for `waitReason_` (Ok before
    // the first open), and `retry_` tries it again.
    enum class State { Recording, Waiting };

    // Writes what waits, opening the file first when it is not open.
    void flush();
    bool openStore();
    void wait(HistorianStore::Result why);
    void rollUp(qint64 now);
    void pack();
    QString waitText(HistorianStore::Result why) const;
    QString movedText() const;

    HistorianStore store_;
    qint64 retentionSeconds_;
    State state_ = State::Waiting;
    HistorianStore::Result waitReason_ = HistorianStore::Result::Ok; // Ok: not opened yet
    QTimer* retry_;
    qint64 now_ = 0; // the station's time of the last batch
    std::deque<HistorianSample> pending_;
    qint64 dropped_ = 0; // rows lost while waiting, past the backlog
    qint64 rolledTo_ = 0;
    qint64 pruneAt_ = 0; // the next look for old rows
    mutable QMutex statsMutex_;
    HistorianCommitStats stats_;
};

} // namespace tarvek
