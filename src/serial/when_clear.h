#pragma once
// Work that may wait a few milliseconds (a graph column, a logger row, a plant message) and the
// frames share one thread. Such work asks here first: it runs at once when the link will not
// need the thread for a while, or else just after what the link needs it for, so that a frame
// never waits behind it. Work put off together runs together, in the order it came; none is put
// off more than kMostLooks times, so a link that is always busy holds nothing up for long.
#include <QObject>
#include <QPointer>

#include <functional>
#include <vector>

class QTimer;

namespace tarvek {

class WhenClear : public QObject {
    Q_OBJECT
public:
    // When the thread is next clear, on the monotonic clock in nanoseconds (the one the link's
    // deadlines are on), given how long the work may take; 0 when it is clear now.
    using BusyUntil = std::function<qint64(qint64 nowNs, qint64 aheadNs)>;

    static constexpr qint64 kAheadNs = 2'000'000; // the longest a piece of such work takes
    static constexpr int kMostLooks = 4;

    explicit WhenClear(BusyUntil busyUntil, QObject* parent = nullptr);

    // Runs `work` now or when the thread is clear; never once `context` is gone.
    void run(QObject* context, std::function<void()> work);
    // Pieces of work waiting.
    int waiting() const { return static_cast<int>(queue_.size()); }

private:
    struct Waiting {
        QPointer<QObject> context;
        std::function<void()> work;
    };
    void look();
    void schedule(qint64 nowNs, qint64 untilNs);

    BusyUntil busyUntil_;
    QTimer* timer_ = nullptr;
    std::vector<Waiting> queue_;
    int looks_ = 0;
};

} // namespace tarvek
