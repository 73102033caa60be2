#include "maintenance/protocol_trace.h"

#include "recording/clock.h"
#include "recording/named_timer.h"

#include <QDateTime>
#include <QSaveFile>

namespace tarvek {

ProtocolTrace::ProtocolTrace(const Clock& clock, Attach attach, QObject* parent)
    : QAbstractTableModel(parent), clock_(clock), attach_(std::move(attach))
{
    setObjectName(QStringLiteral("ProtocolTrace"));
    lastReplyNs_.fill(-1);
    lastFrameNs_.fill(-1);
    refresh_ = namedTimer(this, QStringLiteral("TraceRefresh"), kBatchMs, false);
    connect(refresh_, &QTimer::timeout, this, &ProtocolTrace::flush);
}

// Not detached here: the owner may already have destroyed the link; it detaches before that.
ProtocolTrace::~ProtocolTrace() = default;

void ProtocolTrace::setCapturing(bool on)
{
    if (on == capturing_)
        return;
    capturing_ = on;
    if (on) {
        // One reading of the clock, then a monotonic count: the times of a trace never step back.
        baseMs_ = clock_.now().toMSecsSinceEpoch();
        elapsed_.start();
        lastReplyNs_.fill(-1);
        lastFrameNs_.fill(-1);
        refresh_->start();
    } else {
        refresh_->stop();
        flush();
    }
    if (attach_)
        attach_(on ? this : nullptr);
}

void ProtocolTrace::setPaused(bool on)
{
    paused_ = on;
    if (on)
        flush();
    else
        skipped_ = 0;
}

void ProtocolTrace::traced(int slot, TraceDirection direction, std::string_view bytes)
{
    if (slot < 1 || slot > 6 || !traced_[static_cast<std::size_t>(slot - 1)])
        return;
    if (paused_) {
        ++skipped_;
        return;
    }
    const auto k = static_cast<std::size_t>(slot - 1);
    const qint64 ns = elapsed_.nsecsElapsed();
    Entry e;
    e.atMs = baseMs_ + ns / 1'000'000;
    e.slot = slot;
    e.direction = direction;
    e.bytes = QByteArray(bytes.data(), static_cast<qsizetype>(bytes.size()));
    if (direction == TraceDirection::In) {
        if (lastFrameNs_[k] >= 0)
            e.turnaroundUs = (ns - lastFrameNs_[k]) / 1000;
        lastReplyNs_[k] = ns;
    } else {
        if (lastReplyNs_[k] >= 0)
            e.turnaroundUs = (ns - lastReplyNs_[k]) / 1000;
        lastReplyNs_[k] = -1; // answered: the next frame answers the next reply
        lastFrameNs_[k] = ns;
    }
    if (pending_.size() >= static_cast<std::size_t>(kCapacity))
        pending_.erase(pending_.begin()); // a batch larger than the table: only its end is kept
    pending_.push_back(std::move(e));
}

void ProtocolTrace::flush()
{
    if (pending_.empty())
        return;
    const auto incoming = static_cast<int>(pending_.size());
    const int overflow = static_cast<int>(entries_.size()) + incoming - kCapacity;
    if (overflow > 0) {
        const int drop = std::min(overflow, static_cast<int>(entries_.size()));
        beginRemoveRows({}, 0, drop - 1);
        entries_.erase(entries_.begin(), entries_.begin() + drop);
        endRemoveRows();
    }
    const int first = static_cast<int>(entries_.size());
    beginInsertRows({}, first, first + incoming - 1);
    for (Entry& e : pending_)
        entries_.push_back(std::move(e));
    pending_.clear();
    endInsertRows();
    emit batchShown(rowCount());
}

void ProtocolTrace::clear()
{
    beginResetModel();
    entries_.clear();
    pending_.clear();
    endResetModel();
    skipped_ = 0;
}

QString ProtocolTrace::printable(const QByteArray& bytes)
{
    QString text;
    text.reserve(bytes.size());
    for (char c : bytes) {
        const auto u = static_cast<unsigned char>(c);
        text += (u >= 0x20 && u < 0x7F) ? QChar(u) : QChar(u'.');
    }
    return text;
}

QString ProtocolTrace::hex(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

QString ProtocolTrace::cell(int row, int column) const
{
    const Entry& e = entry(row);
    switch (column) {
    case Time: return QDateTime::fromMSecsSinceEpoch(e.atMs).toString(QStringLiteral("HH:mm:ss.zzz"));
    case Engine: return QStringLiteral("LE%1").arg(e.slot);
    case Direction: return e.direction == TraceDirection::In ? QStringLiteral("in") : QStringLiteral("out");
    case Turnaround:
        return e.turnaroundUs < 0 ? QStringLiteral("-")
                                  : QStringLiteral("%1 ms").arg(static_cast<double>(e.turnaroundUs) / 1000.0, 0, 'f', 1);
    case Length: return QString::number(e.bytes.size());
    case Text: return printable(e.bytes);
    case Hex: return hex(e.bytes);
    default: return {};
    }
}

QString ProtocolTrace::lineOf(int row) const
{
    QStringList cells;
    for (int c = 0; c < ColumnCount; ++c)
        cells << cell(row, c);
    return cells.join(QLatin1Char('\t'));
}

QString ProtocolTrace::detail(int row) const
{
    if (row < 0 || row >= rowCount())
        return {};
    const Entry& e = entry(row);
    QString out = QStringLiteral("%1  %2  %3  turnaround %4  %5 bytes\n\nText (. for a byte that is no character):\n")
                      .arg(cell(row, Engine), cell(row, Direction), cell(row, Time), cell(row, Turnaround), cell(row, Length));
    constexpr int kTextLine = 40, kHexLine = 16;
    for (qsizetype at = 0; at < e.bytes.size(); at += kTextLine)
        out += QStringLiteral("%1  |%2|\n").arg(at, 4).arg(printable(e.bytes.mid(at, kTextLine)));
    out += QStringLiteral("\nHex:\n");
    for (qsizetype at = 0; at < e.bytes.size(); at += kHexLine)
        out += QStringLiteral("%1  %2\n").arg(at, 4).arg(hex(e.bytes.mid(at, kHexLine)));
    return out;
}

bool ProtocolTrace::save(const QString& path, QString* error)
{
    flush();
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        QStringList header;
        for (int c = 0; c < ColumnCount; ++c)
            header << headerData(c, Qt::Horizontal).toString();
        file.write(header.join(QLatin1Char('\t')).toUtf8() + "\r\n");
        for (int row = 0; row < rowCount(); ++row)
            file.write(lineOf(row).toUtf8() + "\r\n");
        if (file.commit())
            return true;
    }
    if (error)
        *error = file.errorString();
    return false;
}

int ProtocolTrace::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(entries_.size());
}

int ProtocolTrace::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant ProtocolTrace::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    if (role == Qt::DisplayRole)
        return cell(index.row(), index.column());
    if (role == Qt::ToolTipRole && (index.column() == Text || index.column() == Hex))
        return cell(index.row(), index.column());
    return {};
}

QVariant ProtocolTrace::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case Time: return QStringLiteral("Time");
    case Engine: return QStringLiteral("LE");
    case Direction: return QStringLiteral("Dir");
    case Turnaround: return QStringLiteral("Turnaround");
    case Length: return QStringLiteral("Bytes");
    case Text: return QStringLiteral("Text");
    case Hex: return QStringLiteral("Hex");
    default: return {};
    }
}

} // namespace tarvek
