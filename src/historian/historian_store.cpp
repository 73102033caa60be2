#include "historian/historian_store.h"

#include "historian/sample_block.h"
#include "historian/store_columns.h"

#include <QAtomicInt>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QStorageInfo>
#include <QUrl>
#include <QVariant>

#include <algorithm>

namespace tarvek {

using namespace store_columns;

namespace {
QAtomicInt connectionCounter;

// SQLite's own result codes, as the Qt driver reports them.
constexpr int kSqliteBusy = 5, kSqliteLocked = 6, kSqliteReadOnly = 8, kSqliteCorrupt = 11, kSqliteFull = 13,
              kSqliteNotADatabase = 26;
// Below this much free space the disk counts as full.
constexpr qint64 kLowSpaceBytes = 32 * 1024;
} // namespace

HistorianStore::HistorianStore(QString path)
    : path_(std::move(path)), connection_(QStringLiteral("historian-%1").arg(connectionCounter.fetchAndAddRelaxed(1)))
{
}

HistorianStore::~HistorianStore() { close(); }

bool HistorianStore::isOpen() const
{
    return QSqlDatabase::contains(connection_) && QSqlDatabase::database(connection_, false).isOpen();
}

void HistorianStore::close()
{
    insert_.reset();
    oldest_.reset();
    if (!QSqlDatabase::contains(connection_))
        return;
    {
        QSqlDatabase db = QSqlDatabase::database(connection_, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(connection_);
}

HistorianStore::Result HistorianStore::classify(const QSqlError& error) const
{
    // A failed commit comes without SQLite's code, only with its message.
    const QString text = error.databaseText();
    if (text.contains(QLatin1String("disk is full")))
        return Result::Full;
    if (text.contains(QLatin1String("malformed")) || text.contains(QLatin1String("not a database")))
        return Result::Corrupt;
    if (text.contains(QLatin1String("readonly")))
        return Result::ReadOnly;
    if (text.contains(QLatin1String("locked")))
        return Result::Locked;
    switch (error.nativeErrorCode().toInt()) {
    case kSqliteFull: return Result::Full;
    case kSqliteCorrupt:
    case kSqliteNotADatabase: return Result::Corrupt;
    case kSqliteReadOnly: return Result::ReadOnly;
    case kSqliteBusy:
    case kSqliteLocked: return Result::Locked;
    default: return Result::Failed;
    }
}

// SQLite tells a full disk as such only where it writes pages; creating the shared-memory index
// of a WAL file on a full disk fails as an I/O error. The free space decides.
bool HistorianStore::diskFull() const
{
    const QStorageInfo disk(QFileInfo(path_).absolutePath());
    return disk.isValid() && disk.bytesAvailable() < kLowSpaceBytes;
}

HistorianStore::Result HistorianStore::classifyOpen(const QSqlError& error) const
{
    const Result r = classify(error);
    if (r != Result::Ok && r != Result::ReadOnly && r != Result::Locked && diskFull())
        return Result::Full;
    return r == Result::Ok ? Result::Failed : r;
}

bool HistorianStore::openFile(const QString& options, const QString& name)
{
    close();
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection_);
    db.setDatabaseName(name);
    // A busy writer (a checkpoint) makes a reader wait a little rather than fail.
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=2000") + options);
    if (!db.open()) {
        error_ = db.lastError().text();
        lastError_ = db.lastError();
        return false;
    }
    return true;
}

HistorianStore::Result HistorianStore::open()
{
    movedAside_.clear();
    const Result r = tryOpen();
    if (r != Result::Corrupt)
        return r;
    return recover() ? Result::Ok : (diskFull() ? Result::Full : Result::Failed);
}

HistorianStore::Result HistorianStore::tryOpen()
{
    // A file that cannot be written is not opened: SQLite would open it for reading and create
    // the write-ahead log and its index beside it with the same permissions, and those would keep
    // it read-only after its own permissions are mended.
    readOnlyPath_ = path_;
    for (const QString& p : {path_, path_ + QStringLiteral("-wal"), path_ + QStringLiteral("-shm")}) {
        if (const QFileInfo f(p); f.exists() && !f.isWritable()) {
            readOnlyPath_ = p;
            error_ = QStringLiteral("%1 cannot be written").arg(p);
            return Result::ReadOnly;
        }
    }
    if (!openFile(QString(), path_))
        return classifyOpen(lastError_);
    const Result r = prepare();
    if (r != Result::Ok)
        close();
    return r;
}

bool HistorianStore::openForReading(bool snapshot)
{
    movedAside_.clear();
    if (!QFileInfo::exists(path_)) {
        error_ = QStringLiteral("no historian file %1").arg(QDir::toNativeSeparators(path_));
        return false;
    }
    // Without a writer there is no -wal: read the file as it stands, creating nothing beside it.
    const bool immutable = snapshot && !QFileInfo::exists(path_ + QStringLiteral("-wal"));
    const QString name = immutable ? QUrl::fromLocalFile(path_).toString(QUrl::FullyEncoded) + QStringLiteral("?immutable=1")
                                   : path_;
    if (!openFile(immutable ? QStringLiteral(";QSQLITE_OPEN_READONLY;QSQLITE_OPEN_URI") : QStringLiteral(";QSQLITE_OPEN_READONLY"),
                  name))
        return false;
    // SQLite's own word on a file that is not the station's: the damage, or the table it lacks.
    QSqlQuery q(QSqlDatabase::database(connection_, false));
    QString why;
    if (!q.exec(QStringLiteral("PRAGMA application_id")) || !q.next()) {
        why = q.lastError().databaseText();
    } else if (q.value(0).toInt() != kApplicationId) {
        q.finish();
        why = q.exec(QStringLiteral("SELECT t, engine, link FROM samples LIMIT 1")) ? QStringLiteral("not a historian file")
                                                                                   : q.lastError().databaseText();
    }
    q.finish();
    blocks_ = q.exec(QStringLiteral("SELECT 1 FROM sqlite_schema WHERE name = 'blocks'")) && q.next();
    q.finish();
    if (why.isEmpty())
        return true;
    error_ = QStringLiteral("%1: %2").arg(QDir::toNativeSeparators(path_), why);
    close();
    return false;
}

bool HistorianStore::recover()
{
    close();
    // A full disk is never a reason to move a file aside.
    if (diskFull() || (QFileInfo::exists(path_) && !moveAside()))
        return false;
    return tryOpen() == Result::Ok;
}

bool HistorianStore::moveAside()
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss"));
    QString target = path_ + QStringLiteral(".bad-") + stamp;
    for (int n = 2; QFileInfo::exists(target); ++n)
        target = path_ + QStringLiteral(".bad-%1-%2").arg(stamp).arg(n);
    // The file first: when it cannot move, nothing beside it moves either.
    if (!QFile::rename(path_, target)) {
        error_ = QStringLiteral("cannot move %1 aside").arg(path_);
        return false;
    }
    QFile::remove(path_ + QStringLiteral("-shm"));
    if (QFileInfo::exists(path_ + QStringLiteral("-wal")))
        QFile::rename(path_ + QStringLiteral("-wal"), target + QStringLiteral("-wal"));
    movedAside_ = target;
    return true;
}

// Checks that the file is an SQLite file of ours (or a new, empty one) and creates its tables.
HistorianStore::Result HistorianStore::prepare()
{
    QSqlDatabase db = QSqlDatabase::database(connection_, false);
    QSqlQuery q(db);
    const auto failed = [&](const QSqlError& e) {
        error_ = e.text();
        return classifyOpen(e);
    };
    if (!q.exec(QStringLiteral("PRAGMA application_id")) || !q.next())
        return failed(q.lastError());
    const int id = q.value(0).toInt();
    q.finish();
    if (id != kApplicationId) {
        if (!q.exec(QStringLiteral("SELECT count(*) FROM sqlite_schema")) || !q.next())
            return failed(q.lastError());
        if (q.value(0).toInt() != 0) {
            error_ = QStringLiteral("%1 is not a historian file").arg(path_);
            return Result::Corrupt;
        }
        q.finish();
    }
    if (!q.exec(QStringLiteral("PRAGMA user_version")) || !q.next())
        return failed(q.lastError());
    const int version = q.value(0).toInt();
    q.finish();
    if (version > kSchemaVersion) {
        error_ = QStringLiteral("%1 was written by a newer station").arg(path_);
        return Result::Newer;
    }
    // A file of the first layout keeps every second in samples: it is packed as it records.
    converting_ = id == kApplicationId && version < kSchemaVersion;
    if (converting_ && q.exec(QStringLiteral("SELECT max(t) FROM samples")) && q.next())
        convertedBefore_ = q.value(0).toLongLong() + 1;
    q.finish();
    // WAL: readers do not block the writer. synchronous=NORMAL: a commit is not synced to disk on
    // its own, only at checkpoints; a crash keeps every checkpointed second and the file intact.
    const QStringList setup = {
        QStringLiteral("PRAGMA journal_mode=WAL"),
        QStringLiteral("PRAGMA synchronous=NORMAL"),
        QStringLiteral("PRAGMA application_id=%1").arg(kApplicationId),
        QStringLiteral("PRAGMA user_version=%1").arg(kSchemaVersion),
        QStringLiteral("CREATE TABLE IF NOT EXISTS samples(t INTEGER NOT NULL, engine INTEGER NOT NULL, "
                       "link INTEGER NOT NULL, phase INTEGER, fault INTEGER, %1)")
            .arg(valueColumns().replace(QLatin1Char(','), QStringLiteral(" INTEGER,")) + QStringLiteral(" INTEGER")),
        QStringLiteral("CREATE INDEX IF NOT EXISTS samples_engine_t ON samples(engine, t)"),
        QStringLiteral("CREATE TABLE IF NOT EXISTS minutes(engine INTEGER NOT NULL, t INTEGER NOT NULL, "
                       "first INTEGER, last INTEGER, broken INTEGER, fault INTEGER, %1, PRIMARY KEY(engine, t)) "
                       "WITHOUT ROWID")
            .arg(minuteColumns(QStringLiteral("%1_min INTEGER, %1_max INTEGER"))),
        QStringLiteral("CREATE TABLE IF NOT EXISTS blocks(engine INTEGER NOT NULL, t INTEGER NOT NULL, "
                       "rows INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(engine, t))"),
    };
    for (const QString& s : setup) {
        if (!q.exec(s))
            return failed(q.lastError());
        // journal_mode answers with the mode it is in: a file that cannot be written stays in its own.
        if (s.endsWith(QLatin1String("WAL")) && q.next() && q.value(0).toString() != QLatin1String("wal")) {
            error_ = QStringLiteral("%1 cannot be written").arg(path_);
            return Result::ReadOnly;
        }
        q.finish();
    }
    blocks_ = true;
    // The table must be the one written here: a same-named table of another layout is foreign.
    if (!q.exec(QStringLiteral("SELECT t, engine, link, phase, fault, %1 FROM samples LIMIT 1").arg(valueColumns()))) {
        error_ = QStringLiteral("%1 is not a historian file").arg(path_);
        return Result::Corrupt;
    }
    return Result::Ok;
}

HistorianStore::Result HistorianStore::insert(const std::vector<HistorianSample>& samples)
{
    QSqlDatabase db = QSqlDatabase::database(connection_, false);
    if (!db.isOpen())
        return Result::Failed;
    if (!db.transaction()) {
        error_ = db.lastError().text();
        return classify(db.lastError());
    }
    if (!insert_) {
        QString marks = QStringLiteral("?,?,?,?,?");
        for (int i = 0; i < kEngineRows; ++i)
            marks += QStringLiteral(",?");
        insert_.emplace(db);
        insert_->prepare(QStringLiteral("INSERT INTO samples(t,engine,link,phase,fault,%1) VALUES(%2)").arg(valueColumns(), marks));
    }
    QSqlQuery& q = *insert_;
    for (const HistorianSample& s : samples) {
        const bool values = s.link == LinkState::Yes;
        q.addBindValue(s.time);
        q.addBindValue(s.engine);
        q.addBindValue(static_cast<int>(s.link));
        q.addBindValue(values ? QVariant(s.phase) : QVariant());
        q.addBindValue(values ? QVariant(s.fault) : QVariant());
        for (int v : s.values)
            q.addBindValue(values ? QVariant(v) : QVariant());
        if (!q.exec()) {
            error_ = q.lastError().text();
            const Result r = classify(q.lastError());
            insert_.reset(); // prepared again next time
            db.rollback();
            return r == Result::Ok ? Result::Failed : r;
        }
    }
    q.finish();
    if (!db.commit()) {
        error_ = db.lastError().text();
        const Result r = classify(db.lastError());
        db.rollback();
        return r == Result::Ok ? Result::Failed : r;
    }
    return Result::Ok;
}

qint64 HistorianStore::rolledUpTo()
{
    QSqlQuery q(QSqlDatabase::database(connection_, false));
    if (q.exec(QStringLiteral("SELECT max(t) FROM minutes")) && q.next() && !q.value(0).isNull())
        return q.value(0).toLongLong() + 60;
    q.finish();
    if (q.exec(QStringLiteral("SELECT min(t) FROM (SELECT min(t) AS t FROM samples UNION ALL SELECT min(t) FROM blocks)")) &&
        q.next() && !q.value(0).isNull())
        return q.value(0).toLongLong() / 60 * 60;
    return 0;
}

int HistorianStore::prune(qint64 before, int limit)
{
    // Engine by engine, so that each statement walks its index from the oldest row; blocks go a
    // few at a time like rows, whole ones only (their last second older than `before`).
    QSqlDatabase db = QSqlDatabase::database(connection_, false);
    QSqlQuery minutes(db), blockRows(db), blocks(db), samples(db);
    const QString oldBlocks = QStringLiteral("SELECT rowid, rows FROM blocks WHERE engine = ? AND t <= ? ORDER BY t LIMIT ?");
    minutes.prepare(QStringLiteral("DELETE FROM minutes WHERE engine = ? AND t < ?"));
    blockRows.prepare(QStringLiteral("SELECT coalesce(sum(rows), 0) FROM (%1)").arg(oldBlocks));
    blocks.prepare(QStringLiteral("DELETE FROM blocks WHERE rowid IN (SELECT rowid FROM (%1))").arg(oldBlocks));
    samples.prepare(QStringLiteral("DELETE FROM samples WHERE rowid IN "
                                   "(SELECT rowid FROM samples WHERE engine = ? AND t < ? LIMIT ?)"));
    const qint64 lastBlock = sample_block::startOf(before) - sample_block::kBlockSeconds;
    const int blocksPerEngine = std::max<int>(1, limit / static_cast<int>(sample_block::kBlockSeconds));
    int removed = 0;
    for (int engine = 1; engine <= 6 && removed < limit; ++engine) {
        for (QSqlQuery* q : {&blockRows, &blocks}) {
            q->addBindValue(engine);
            q->addBindValue(lastBlock);
            q->addBindValue(blocksPerEngine);
        }
        minutes.addBindValue(engine);
        minutes.addBindValue(before);
        samples.addBindValue(engine);
        samples.addBindValue(before);
        samples.addBindValue(limit - removed);
        if (!minutes.exec() || !blockRows.exec() || !blockRows.next()) {
            error_ = minutes.lastError().isValid() ? minutes.lastError().text() : blockRows.lastError().text();
            return removed;
        }
        const int fromBlocks = blockRows.value(0).toInt();
        blockRows.finish();
        if (!blocks.exec() || !samples.exec()) {
            error_ = blocks.lastError().isValid() ? blocks.lastError().text() : samples.lastError().text();
            return removed;
        }
        removed += fromBlocks + samples.numRowsAffected();
    }
    return removed;
}

qint64 HistorianStore::rowCount()
{
    QSqlQuery q(QSqlDatabase::database(connection_, false));
    return q.exec(QStringLiteral("SELECT (SELECT count(*) FROM samples) + (SELECT coalesce(sum(rows), 0) FROM blocks)")) && q.next()
               ? q.value(0).toLongLong()
               : -1;
}

} // namespace tarvek
