#pragma once
// The historian's SQLite file, "\Historian.sqlite" in the station folder: one row per engine per
// second with the time, the link state, the phase, the fault code and the twelve values of the
// main window's rows as the FADEC reported them. Each thread that uses the file opens its own
// HistorianStore (its own connection); the file is in WAL mode, so readers never wait on the writer.
//
// Tables: `samples` holds the open seconds, one row each, committed every second; once its ten
// minutes are over and summed up, an engine's seconds are packed into one row of `blocks`
// (sample_block.h) and leave `samples`. `minutes` holds per engine and minute the min and max of
// each value, which long ranges are drawn from. Readers see both tables as one list of rows.
// A file of the first layout (every second a row of `samples`) is packed the same way, oldest
// first, a little every second, and shrunk once it is done.
#include "station/link_state.h" // stored as its number: no 0, yes 1, lost 2, closed 3
#include "station/engine_rows.h"

#include <QDateTime>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>

#include <array>
#include <functional>
#include <optional>
#include <vector>

namespace tarvek {

// How an engine's link stood when a row was written: values come only with Yes.

struct HistorianSample {
    qint64 time = 0; // seconds since 1970 UTC
    int engine = 0;  // 1..6
    LinkState link = LinkState::No;
    int phase = 0;
    int fault = 0;
    std::array<int, kEngineRows> values{};
};

// Min and max of each value over one bucket of a range, from the rows of an answering link.
struct HistorianBucket {
    int index = 0;         // bucket number from the range's start
    qint64 first = 0, last = 0; // times of the first and last value rows in it
    std::array<int, kEngineRows> min{}, max{};
    int fault = 0;         // the highest fault code reported in it, 0 when none
    bool broken = false;   // the link was lost or closed inside it: the trace stops there
};

class HistorianStore {
public:
    // Ok; the disk is full; SQLite says the file is damaged or not a database (or it is not ours);
    // the file cannot be written (read-only, immutable); another program holds it locked; it was
    // written by a newer station; anything else (the reason is in lastError()).
    enum class Result { Ok, Full, Corrupt, ReadOnly, Locked, Newer, Failed };

    static QString fileName() { return QStringLiteral("Historian.sqlite"); }
    static constexpr int kSchemaVersion = 2; // 1: every second a row of samples
    static constexpr int kApplicationId = 0x54524B48; // marks the file as ours

    explicit HistorianStore(QString path);
    ~HistorianStore();
    HistorianStore(const HistorianStore&) = delete;
    HistorianStore& operator=(const HistorianStore&) = delete;

    QString path() const { return path_; }
    // After ReadOnly: the file that cannot be written (the history, or its log or index beside it).
    QString readOnlyPath() const { return readOnlyPath_; }
    // Opens the file for writing, creating it when missing. Only a file that SQLite finds damaged
    // or not a database, or an SQLite file of another program, is renamed to
    // "Historian.sqlite.bad-yyyyMMdd-hhmmss" and a new one started (movedAside() then names it);
    // a full disk, a read-only or locked file is told by the result and the file left as it is.
    Result open();
    // Opens an existing file for reading only. A snapshot creates nothing beside the file when no
    // station writes it (no -wal, no -shm); otherwise it reads what the writer committed.
    // False (reason in lastError()) when the file is missing, damaged or not a historian file.
    bool openForReading(bool snapshot = false);
    void close();
    bool isOpen() const;
    QString movedAside() const { return movedAside_; }
    QString lastError() const { return error_; }

    // Writes the samples in one transaction.
    Result insert(const std::vector<HistorianSample>& samples);
    // Sums up [from, to) (whole minutes) into the minute table that long ranges are drawn from:
    // per engine and minute the min and max of each value, the highest fault, a broken link.
    bool rollUp(qint64 from, qint64 to);
    // The start of the first minute not summed up yet: after the last summed, else of the first row.
    qint64 rolledUpTo();
    // Deletes at most `limit` rows older than `before` (seconds), and the minutes before it;
    // returns how many rows went.
    int prune(qint64 before, int limit);
    // Closes the damaged file, moves it aside and starts a new one.
    bool recover();
    // Packs the open seconds of whole blocks that end by `before` into blocks, oldest first, one
    // transaction a block, for about `budgetMs`. Returns the blocks packed, -1 when one failed.
    int seal(qint64 before, int budgetMs);
    // Rows sit in samples from before this layout (set by open()): the file is being packed.
    bool converting() const { return converting_; }
    // Gives the file's free pages back to the disk when they are more than a quarter of it (after
    // packing an old file, after a shorter retention). Returns the sizes before and after in bytes,
    // or nothing when it had no need or no room to.
    std::optional<std::pair<qint64, qint64>> shrink();

    // The buckets of [from, to) of one engine, `bucketSeconds` wide; empty buckets are left out.
    // Buckets of whole minutes are read from the minute table.
    std::vector<HistorianBucket> buckets(int engine, qint64 from, qint64 to, qint64 bucketSeconds);
    // Every row of the engines in [from, to), by time then engine; false when reading failed.
    bool forEachRow(const std::vector<int>& engines, qint64 from, qint64 to,
                    const std::function<void(const HistorianSample&, bool hasValues)>& row);
    qint64 rowCount();

private:
    bool openFile(const QString& options, const QString& name);
    Result tryOpen();
    Result prepare();
    Result classifyOpen(const QSqlError& error) const;
    bool diskFull() const;
    bool moveAside();
    Result classify(const QSqlError& error) const;
    // Rows of [from, to) from blocks and samples merged, inside the caller's transaction.
    bool scan(const std::vector<int>& engines, qint64 from, qint64 to,
              const std::function<void(const HistorianSample&, bool hasValues)>& row);
    bool sealBlock(int engine, qint64 start);
    qint64 fileBytes() const;

    QString path_;
    QString readOnlyPath_;
    QString connection_;
    QString movedAside_;
    QString error_;
    QSqlError lastError_; // of the last open
    bool converting_ = false;
    qint64 convertedBefore_ = 0; // the first layout's seconds end before this
    bool blocks_ = false; // the file has its blocks table (a reader of a file of the first layout: not yet)
    // The statements of every second, prepared once an opening (dropped before the file closes).
    std::optional<QSqlQuery> insert_;
    std::optional<QSqlQuery> oldest_;
};

} // namespace tarvek
