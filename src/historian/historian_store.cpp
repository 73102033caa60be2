#include "historian/historian_store.h"

#include <QAtomicInt>
#include <algorithm>
#include <QFile>
#include <QDir>
#include <QFileInfo>
#include <QStorageInfo>
#include <QUrl>
#include <QIODevice>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>

namespace tarvek {

namespace {
QAtomicInt connectionCounter;

QString valueColumns()
{
    QStringList c;
    for (const EngineRow& r : engineRows())
        c << QString::fromLatin1(r.key);
    return c.join(QLatin1Char(','));
}

// Each value column's pair in the minute table, written by `pattern` ("%1_min, %1_max"...).
QString minuteColumns(const QString& pattern)
{
    QStringList c;
    for (const EngineRow& r : engineRows())
        c << pattern.arg(QString::fromLatin1(r.key));
    return c.join(QLatin1Char(','));
}

// The fault codes that are states, not faults: at rest (0), stop activated (18), running (20).
const char* const kRealFault = "CASE WHEN fault NOT IN (0,18,20) THEN fault ELSE 0 END";

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
    } else {
        if (!q.exec(QStringLiteral("PRAGMA user_version")) || !q.next())
            return failed(q.lastError());
        if (q.value(0).toInt() > kSchemaVersion) {
            error_ = QStringLiteral("%1 was written by a newer station").arg(path_);
            return Result::Newer;
        }
        q.finish();
    }
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
    QSqlQuery q(db);
    QString marks = QStringLiteral("?,?,?,?,?");
    for (int i = 0; i < kEngineRows; ++i)
        marks += QStringLiteral(",?");
    q.prepare(QStringLiteral("INSERT INTO samples(t,engine,link,phase,fault,%1) VALUES(%2)").arg(valueColumns(), marks));
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
            q.finish();
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

bool HistorianStore::rollUp(qint64 from, qint64 to)
{
    QSqlDatabase db = QSqlDatabase::database(connection_, false);
    QSqlQuery q(db);
    q.prepare(QStringLiteral("INSERT OR REPLACE INTO minutes SELECT engine, t / 60 * 60 AS m, "
                             "min(CASE WHEN link=1 THEN t END), max(CASE WHEN link=1 THEN t END), max(link<>1), "
                             "max(%1), %2 FROM samples WHERE engine = ? AND t >= ? AND t < ? GROUP BY m")
                  .arg(QString::fromLatin1(kRealFault), minuteColumns(QStringLiteral("min(%1), max(%1)"))));
    db.transaction();
    for (int engine = 1; engine <= 6; ++engine) {
        q.addBindValue(engine);
        q.addBindValue(from);
        q.addBindValue(to);
        if (!q.exec()) {
            error_ = q.lastError().text();
            db.rollback();
            return false;
        }
    }
    return db.commit();
}

qint64 HistorianStore::rolledUpTo()
{
    QSqlQuery q(QSqlDatabase::database(connection_, false));
    if (q.exec(QStringLiteral("SELECT max(t) FROM minutes")) && q.next() && !q.value(0).isNull())
        return q.value(0).toLongLong() + 60;
    q.finish();
    if (q.exec(QStringLiteral("SELECT min(t) FROM samples")) && q.next() && !q.value(0).isNull())
        return q.value(0).toLongLong() / 60 * 60;
    return 0;
}

int HistorianStore::prune(qint64 before, int limit)
{
    QSqlQuery q(QSqlDatabase::database(connection_, false));
    q.prepare(QStringLiteral("DELETE FROM minutes WHERE t < ?"));
    q.addBindValue(before);
    q.exec();
    // Rows are appended in time order, so the oldest come first by rowid.
    q.prepare(QStringLiteral("DELETE FROM samples WHERE rowid IN "
                             "(SELECT rowid FROM samples WHERE t < ? ORDER BY rowid LIMIT ?)"));
    q.addBindValue(before);
    q.addBindValue(limit);
    if (!q.exec()) {
        error_ = q.lastError().text();
        return 0;
    }
    return q.numRowsAffected();
}

qint64 HistorianStore::rowCount()
{
    QSqlQuery q(QSqlDatabase::database(connection_, false));
    return q.exec(QStringLiteral("SELECT count(*) FROM samples")) && q.next() ? q.value(0).toLongLong() : -1;
}

std::vector<HistorianBucket> HistorianStore::buckets(int engine, qint64 from, qint64 to, qint64 bucketSeconds)
{
    std::vector<HistorianBucket> out;
    QSqlQuery q(QSqlDatabase::database(connection_, false));
    q.setForwardOnly(true);
    if (bucketSeconds >= 60 && bucketSeconds % 60 == 0)
        q.prepare(QStringLiteral("SELECT (t - :from) / :width AS b, min(first), max(last), max(broken), max(fault), %1 "
                                 "FROM minutes WHERE engine = :engine AND t >= :from AND t < :to GROUP BY b ORDER BY b")
                      .arg(minuteColumns(QStringLiteral("min(%1_min), max(%1_max)"))));
    else
        q.prepare(QStringLiteral("SELECT (t - :from) / :width AS b, min(CASE WHEN link=1 THEN t END), "
                                 "max(CASE WHEN link=1 THEN t END), max(link<>1), max(%1), %2 "
                                 "FROM samples WHERE engine = :engine AND t >= :from AND t < :to GROUP BY b ORDER BY b")
                      .arg(QString::fromLatin1(kRealFault), minuteColumns(QStringLiteral("min(%1), max(%1)"))));
    q.bindValue(QStringLiteral(":from"), from);
    q.bindValue(QStringLiteral(":to"), to);
    q.bindValue(QStringLiteral(":width"), std::max<qint64>(1, bucketSeconds));
    q.bindValue(QStringLiteral(":engine"), engine);
    if (!q.exec()) {
        error_ = q.lastError().text();
        return out;
    }
    while (q.next()) {
        HistorianBucket b;
        b.index = q.value(0).toInt();
        b.first = q.value(1).isNull() ? 0 : q.value(1).toLongLong();
        b.last = q.value(2).isNull() ? 0 : q.value(2).toLongLong();
        b.broken = q.value(3).toInt() != 0;
        b.fault = q.value(4).toInt();
        for (int i = 0; i < kEngineRows; ++i) {
            b.min[static_cast<std::size_t>(i)] = q.value(5 + 2 * i).toInt();
            b.max[static_cast<std::size_t>(i)] = q.value(6 + 2 * i).toInt();
        }
        out.push_back(b);
    }
    return out;
}

bool HistorianStore::forEachRow(const std::vector<int>& engines, qint64 from, qint64 to,
                                const std::function<void(const HistorianSample&, bool hasValues)>& row)
{
    QStringList list;
    for (int e : engines)
        list << QString::number(e);
    QSqlQuery q(QSqlDatabase::database(connection_, false));
    q.setForwardOnly(true);
    q.prepare(QStringLiteral("SELECT t, engine, link, phase, fault, %1 FROM samples WHERE engine IN (%2) "
                             "AND t >= ? AND t < ? ORDER BY t, engine, rowid")
                  .arg(valueColumns(), list.join(QLatin1Char(','))));
    q.addBindValue(from);
    q.addBindValue(to);
    if (!q.exec()) {
        error_ = q.lastError().databaseText();
        return false;
    }
    HistorianSample s;
    while (q.next()) {
        s.time = q.value(0).toLongLong();
        s.engine = q.value(1).toInt();
        s.link = static_cast<LinkState>(q.value(2).toInt());
        s.phase = q.value(3).toInt();
        s.fault = q.value(4).toInt();
        for (int i = 0; i < kEngineRows; ++i)
            s.values[static_cast<std::size_t>(i)] = q.value(5 + i).toInt();
        row(s, !q.value(3).isNull());
    }
    // A damaged page ends the rows early with SQLite's reason.
    if (q.lastError().isValid()) {
        error_ = q.lastError().databaseText();
        return false;
    }
    return true;
}

qint64 writeHistoryCsv(HistorianStore& store, QIODevice& out, const std::vector<int>& engines,
                       const std::vector<int>& rows, qint64 from, qint64 to,
                       const std::function<QString(int row, int raw)>& shown)
{
    static const char* const kLinks[] = {"no", "yes", "lost", "closed"};
    QStringList header = {QStringLiteral("Time"), QStringLiteral("Engine"), QStringLiteral("Link"),
                          QStringLiteral("Phase"), QStringLiteral("Fault code")};
    for (int r : rows) {
        const QString unit = engineRowUnit(r);
        header << (unit.isEmpty() ? engineRowName(r) : QStringLiteral("%1 (%2)").arg(engineRowName(r), unit));
    }
    out.write(header.join(QLatin1Char(',')).toUtf8() + "\r\n");
    qint64 count = 0;
    const bool read = store.forEachRow(engines, from, to, [&](const HistorianSample& s, bool hasValues) {
        QStringList line = {QDateTime::fromSecsSinceEpoch(s.time).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")),
                            QStringLiteral("LE%1").arg(s.engine),
                            QString::fromLatin1(kLinks[std::clamp(static_cast<int>(s.link), 0, 3)])};
        if (hasValues) {
            line << QString::number(s.phase) << QString::number(s.fault);
            for (int r : rows)
                line << shown(r, s.values[static_cast<std::size_t>(r)]);
        } else {
            for (std::size_t i = 0; i < rows.size() + 2; ++i)
                line << QString();
        }
        out.write(line.join(QLatin1Char(',')).toUtf8() + "\r\n");
        ++count;
    });
    return read ? count : -1;
}

QString exportRefusal(const QString& target, const QString& folder)
{
    const QFileInfo out(target);
    // Where the file is, or would be, through every link on the way.
    const QString parent = QFileInfo(out.absolutePath()).canonicalFilePath();
    const QString resolved = out.exists() ? out.canonicalFilePath()
                                          : (parent.isEmpty() ? out.absoluteFilePath() : QDir(parent).filePath(out.fileName()));
    const QString home = QFileInfo(folder).canonicalFilePath();
    const QString historian = home.isEmpty() ? QString() : QDir(home).filePath(HistorianStore::fileName());
    if (!historian.isEmpty() && (resolved == historian || resolved.startsWith(historian + QLatin1Char('-'))))
        return QStringLiteral("is the historian itself");
    if (out.isDir())
        return QStringLiteral("is a folder");
    if (out.exists()) {
        QFile f(target);
        if (f.open(QIODevice::ReadOnly) && f.read(16) == QByteArray("SQLite format 3", 16))
            return QStringLiteral("is an SQLite database");
    }
    if (home.isEmpty() || !resolved.startsWith(home + QLatin1Char('/')))
        return {};
    const QString inside = resolved.mid(home.size() + 1);
    static const QStringList folders = {QStringLiteral("Img"), QStringLiteral("Datalogger"), QStringLiteral("Recorder")};
    if (inside.contains(QLatin1Char('/'))) {
        const QString sub = inside.section(QLatin1Char('/'), 0, 0);
        return folders.contains(sub, Qt::CaseInsensitive) ? QStringLiteral("is in the station's %1 folder").arg(sub) : QString();
    }
    // Settings (.ini), the log-in file (.inc), the history and its archives, the historian and the
    // copies kept aside of damaged files.
    static const QRegularExpression owned(QStringLiteral("^(.*\\.(ini|inc)|Histo.*\\.txt|Historian\\..*|.*\\.(damaged|bad)-.*)$"),
                                          QRegularExpression::CaseInsensitiveOption);
    return owned.match(inside).hasMatch() ? QStringLiteral("is one of the station's own files") : QString();
}

std::optional<QDateTime> parseHistoryTime(const QString& text)
{
    const QDateTime t = QDateTime::fromString(text.trimmed(), QStringLiteral("yyyy-MM-dd hh:mm"));
    if (!t.isValid())
        return std::nullopt;
    return t;
}

} // namespace tarvek
