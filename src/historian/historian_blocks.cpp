// HistorianStore: reading the rows of blocks and samples as one list, summing minutes up, packing
// the open seconds into blocks and giving free pages back.
#include "historian/historian_store.h"

#include "historian/sample_block.h"
#include "historian/store_columns.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QSqlQuery>
#include <QStorageInfo>
#include <QStringList>
#include <QVariant>

#include <algorithm>
#include <limits>
#include <map>

namespace tarvek {

using namespace store_columns;

namespace {
QString engineList(const std::vector<int>& engines)
{
    QStringList list;
    for (int e : engines)
        list << QString::number(std::clamp(e, 1, 6));
    return list.join(QLatin1Char(','));
}

// One bucket or minute being summed up, row by row.
struct Summary {
    HistorianBucket b;
    bool values = false;
    void add(const HistorianSample& s, bool hasValues)
    {
        if (!hasValues) {
            b.broken = true;
            return;
        }
        b.first = values ? b.first : s.time;
        b.last = s.time;
        if (realFault(s.fault))
            b.fault = std::max(b.fault, s.fault);
        for (std::size_t i = 0; i < kEngineRows; ++i) {
            b.min[i] = values ? std::min(b.min[i], s.values[i]) : s.values[i];
            b.max[i] = values ? std::max(b.max[i], s.values[i]) : s.values[i];
        }
        values = true;
    }
};
} // namespace

bool HistorianStore::forEachRow(const std::vector<int>& engines, qint64 from, qint64 to,
                                const std::function<void(const HistorianSample&, bool hasValues)>& row)
{
    // One read transaction: a block packed meanwhile is seen either as rows or as a block, once.
    QSqlDatabase db = QSqlDatabase::database(connection_, false);
    const bool own = db.transaction();
    const bool ok = scan(engines, from, to, row);
    if (own)
        db.commit();
    return ok;
}

bool HistorianStore::scan(const std::vector<int>& engines, qint64 from, qint64 to,
                          const std::function<void(const HistorianSample&, bool hasValues)>& row)
{
    if (engines.empty() || to <= from)
        return true;
    QSqlDatabase db = QSqlDatabase::database(connection_, false);
    QSqlQuery blocks(db), open(db);
    blocks.setForwardOnly(true);
    open.setForwardOnly(true);
    const QString list = engineList(engines);
    // A file of the first layout not yet opened by a station of this one has no blocks.
    blocks.prepare(QStringLiteral("SELECT t, engine, data FROM %2 WHERE engine IN (%1) AND t >= ? AND t < ? "
                                  "ORDER BY t, engine").arg(list, blocks_ ? QStringLiteral("blocks")
                                                                           : QStringLiteral("(SELECT 0 AS t, 0 AS engine, x'' AS data)")));
    blocks.addBindValue(sample_block::startOf(from));
    blocks.addBindValue(to);
    open.prepare(QStringLiteral("SELECT t, engine, link, phase, fault, %1 FROM samples WHERE engine IN (%2) "
                                "AND t >= ? AND t < ? ORDER BY t, engine, rowid").arg(valueColumns(), list));
    open.addBindValue(from);
    open.addBindValue(to);
    if (!blocks.exec() || !open.exec()) {
        error_ = (blocks.lastError().isValid() ? blocks.lastError() : open.lastError()).databaseText();
        return false;
    }
    // Window by window of a block's length: the packed rows first (written earlier), then the
    // open ones, in time then engine order.
    bool ok = true;
    bool haveBlock = blocks.next(), haveOpen = open.next();
    std::vector<std::pair<HistorianSample, bool>> window;
    constexpr qint64 kNone = std::numeric_limits<qint64>::max();
    while (haveBlock || haveOpen) {
        const qint64 start = std::min(haveBlock ? blocks.value(0).toLongLong() : kNone,
                                      haveOpen ? sample_block::startOf(open.value(0).toLongLong()) : kNone);
        window.clear();
        for (; haveBlock && blocks.value(0).toLongLong() == start; haveBlock = blocks.next()) {
            const int engine = blocks.value(1).toInt();
            const auto rows = sample_block::decode(blocks.value(2).toByteArray(), engine, start);
            if (!rows) {
                error_ = QStringLiteral("the block of LE%1 at %2 is damaged").arg(engine).arg(start);
                ok = false;
                continue;
            }
            for (const HistorianSample& s : *rows)
                if (s.time >= from && s.time < to)
                    window.emplace_back(s, s.link == LinkState::Yes);
        }
        for (; haveOpen && open.value(0).toLongLong() < start + sample_block::kBlockSeconds; haveOpen = open.next()) {
            HistorianSample s;
            s.time = open.value(0).toLongLong();
            s.engine = open.value(1).toInt();
            s.link = static_cast<LinkState>(open.value(2).toInt());
            s.phase = open.value(3).toInt();
            s.fault = open.value(4).toInt();
            for (int i = 0; i < kEngineRows; ++i)
                s.values[static_cast<std::size_t>(i)] = open.value(5 + i).toInt();
            window.emplace_back(s, !open.value(3).isNull());
        }
        std::stable_sort(window.begin(), window.end(), [](const auto& a, const auto& b) {
            return a.first.time != b.first.time ? a.first.time < b.first.time : a.first.engine < b.first.engine;
        });
        for (const auto& [s, hasValues] : window)
            row(s, hasValues);
    }
    // A damaged page ends the rows early with SQLite's reason.
    for (QSqlQuery* q : {&blocks, &open})
        if (q->lastError().isValid()) {
            error_ = q->lastError().databaseText();
            ok = false;
        }
    return ok;
}

std::vector<HistorianBucket> HistorianStore::buckets(int engine, qint64 from, qint64 to, qint64 bucketSeconds)
{
    std::vector<HistorianBucket> out;
    const qint64 width = std::max<qint64>(1, bucketSeconds);
    if (width < 60 || width % 60 != 0) {
        // Narrow buckets from the rows themselves.
        std::map<int, Summary> sums;
        forEachRow({engine}, from, to, [&](const HistorianSample& s, bool hasValues) {
            Summary& sum = sums[static_cast<int>((s.time - from) / width)];
            sum.add(s, hasValues);
        });
        for (auto& [index, sum] : sums) {
            sum.b.index = index;
            out.push_back(sum.b);
        }
        return out;
    }
    // Buckets of whole minutes from the minute table.
    QSqlQuery q(QSqlDatabase::database(connection_, false));
    q.setForwardOnly(true);
    q.prepare(QStringLiteral("SELECT (t - :from) / :width AS b, min(first), max(last), max(broken), max(fault), %1 "
                             "FROM minutes WHERE engine = :engine AND t >= :from AND t < :to GROUP BY b ORDER BY b")
                  .arg(minuteColumns(QStringLiteral("min(%1_min), max(%1_max)"))));
    q.bindValue(QStringLiteral(":from"), from);
    q.bindValue(QStringLiteral(":to"), to);
    q.bindValue(QStringLiteral(":width"), width);
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

bool HistorianStore::rollUp(qint64 from, qint64 to)
{
    QSqlDatabase db = QSqlDatabase::database(connection_, false);
    if (!db.transaction()) {
        error_ = db.lastError().text();
        return false;
    }
    QSqlQuery q(db);
    q.prepare(QStringLiteral("INSERT OR REPLACE INTO minutes(engine, t, first, last, broken, fault, %1) VALUES(?,?,?,?,?,?%2)")
                  .arg(minuteColumns(QStringLiteral("%1_min, %1_max")), QStringLiteral(",?").repeated(2 * kEngineRows)));
    for (int engine = 1; engine <= 6; ++engine) {
        std::map<qint64, Summary> minutes;
        if (!scan({engine}, from, to, [&](const HistorianSample& s, bool hasValues) {
                minutes[s.time - ((s.time % 60) + 60) % 60].add(s, hasValues);
            })) {
            db.rollback();
            return false;
        }
        for (const auto& [t, sum] : minutes) {
            const auto orNull = [&sum](qint64 v) { return sum.values ? QVariant(v) : QVariant(); };
            q.addBindValue(engine);
            q.addBindValue(t);
            q.addBindValue(orNull(sum.b.first));
            q.addBindValue(orNull(sum.b.last));
            q.addBindValue(sum.b.broken ? 1 : 0);
            q.addBindValue(sum.b.fault);
            for (std::size_t i = 0; i < kEngineRows; ++i) {
                q.addBindValue(orNull(sum.b.min[i]));
                q.addBindValue(orNull(sum.b.max[i]));
            }
            if (!q.exec()) {
                error_ = q.lastError().text();
                db.rollback();
                return false;
            }
        }
    }
    return db.commit();
}

int HistorianStore::seal(qint64 before, int budgetMs)
{
    QSqlDatabase db = QSqlDatabase::database(connection_, false);
    if (!oldest_) {
        oldest_.emplace(db);
        oldest_->prepare(QStringLiteral("SELECT min(t) FROM samples WHERE engine = ?"));
    }
    QSqlQuery& oldest = *oldest_;
    QElapsedTimer spent;
    spent.start();
    for (int sealed = 0;; ++sealed) {
        // The oldest whole block of open seconds, of any engine.
        int engine = 0;
        qint64 start = std::numeric_limits<qint64>::max(), first = start;
        for (int e = 1; e <= 6; ++e) {
            oldest.addBindValue(e);
            if (!oldest.exec() || !oldest.next()) {
                error_ = oldest.lastError().text();
                oldest_.reset(); // prepared again next time, and holds no statement open meanwhile
                return -1;
            }
            const qint64 b = oldest.value(0).isNull() ? start : sample_block::startOf(oldest.value(0).toLongLong());
            oldest.finish();
            first = std::min(first, b);
            if (b + sample_block::kBlockSeconds <= before && b < start) {
                start = b;
                engine = e;
            }
        }
        // Every second of the first layout is packed: what is open began after it.
        if (converting_ && first >= sample_block::startOf(convertedBefore_))
            converting_ = false;
        if (engine == 0 || spent.elapsed() >= budgetMs)
            return sealed;
        if (!sealBlock(engine, start))
            return -1;
    }
}

bool HistorianStore::sealBlock(int engine, qint64 start)
{
    QSqlDatabase db = QSqlDatabase::database(connection_, false);
    if (!db.transaction()) {
        error_ = db.lastError().text();
        return false;
    }
    // What the block holds already (seconds written again after the clock was set back), then
    // the open seconds; their order in time is kept, the earlier writes first.
    std::vector<HistorianSample> rows;
    const qint64 end = start + sample_block::kBlockSeconds;
    const bool read = scan({engine}, start, end, [&rows](const HistorianSample& s, bool) { rows.push_back(s); });
    QSqlQuery q(db);
    q.prepare(QStringLiteral("INSERT OR REPLACE INTO blocks(engine, t, rows, data) VALUES(?,?,?,?)"));
    q.addBindValue(engine);
    q.addBindValue(start);
    q.addBindValue(static_cast<qint64>(rows.size()));
    q.addBindValue(sample_block::encode(rows, start));
    bool ok = read && q.exec();
    if (ok) {
        q.prepare(QStringLiteral("DELETE FROM samples WHERE engine = ? AND t >= ? AND t < ?"));
        q.addBindValue(engine);
        q.addBindValue(start);
        q.addBindValue(end);
        ok = q.exec();
    }
    if (!ok) {
        if (q.lastError().isValid())
            error_ = q.lastError().text();
        q.finish();
        db.rollback();
        return false;
    }
    q.finish();
    return db.commit();
}

qint64 HistorianStore::fileBytes() const
{
    return QFileInfo(path_).size() + QFileInfo(path_ + QStringLiteral("-wal")).size();
}

std::optional<std::pair<qint64, qint64>> HistorianStore::shrink()
{
    QSqlQuery q(QSqlDatabase::database(connection_, false));
    if (!q.exec(QStringLiteral("SELECT page_count, freelist_count, page_size FROM pragma_page_count(), "
                               "pragma_freelist_count(), pragma_page_size()")) ||
        !q.next())
        return std::nullopt;
    const qint64 pages = q.value(0).toLongLong(), free = q.value(1).toLongLong(), pageSize = q.value(2).toLongLong();
    q.finish();
    // VACUUM writes the live pages twice (a copy, then the file through its journal).
    const qint64 live = (pages - free) * pageSize;
    const QStorageInfo disk(QFileInfo(path_).absolutePath());
    if (free * 4 < pages || free * pageSize < (1 << 20) || disk.bytesAvailable() < 2 * live + (16 << 20))
        return std::nullopt;
    const qint64 before = fileBytes();
    if (!q.exec(QStringLiteral("VACUUM"))) {
        error_ = q.lastError().text();
        return std::nullopt;
    }
    q.exec(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
    return std::make_pair(before, fileBytes());
}

} // namespace tarvek
