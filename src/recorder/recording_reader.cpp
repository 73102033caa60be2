#include "recorder/recording_reader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <zstd.h>

#include <array>
#include <memory>

namespace tarvek::recording {

namespace {
constexpr qint64 kMaxStreamBytes = qint64(1) << 30;

// Decompresses as far as the file allows; returns why it stopped early, or empty. The input goes
// in by slices, so a damage is placed to within a slice and what came before it is kept.
QString decompress(const QByteArray& file, std::string& out, qint64& stoppedAt)
{
    constexpr std::size_t kSlice = 512;
    std::unique_ptr<ZSTD_DCtx, decltype(&ZSTD_freeDCtx)> dctx(ZSTD_createDCtx(), &ZSTD_freeDCtx);
    std::array<char, 1 << 17> chunk;
    std::size_t left = 0;
    const auto size = static_cast<std::size_t>(file.size());
    for (std::size_t at = 0; at < size || at == 0; at += kSlice) {
        ZSTD_inBuffer in{file.constData() + at, std::min(kSlice, size - at), 0};
        for (;;) {
            ZSTD_outBuffer o{chunk.data(), chunk.size(), 0};
            left = ZSTD_decompressStream(dctx.get(), &o, &in);
            if (ZSTD_isError(left)) {
                stoppedAt = static_cast<qint64>(at);
                return QString::fromLatin1(ZSTD_getErrorName(left));
            }
            out.append(chunk.data(), o.pos);
            if (static_cast<qint64>(out.size()) > kMaxStreamBytes) {
                stoppedAt = static_cast<qint64>(at);
                return QStringLiteral("more than 1 GB");
            }
            // The slice is taken and nothing more is to give.
            if (in.pos == in.size && o.pos < o.size)
                break;
        }
        if (size == 0)
            break;
    }
    // left is 0 when the last frame was whole.
    if (left != 0) {
        stoppedAt = file.size();
        return QStringLiteral("cut short");
    }
    return {};
}
} // namespace

QString timeText(std::int64_t timeUs)
{
    return QDateTime::fromMSecsSinceEpoch(timeUs / 1000).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"));
}

RecordingFile readRecording(const QString& path)
{
    RecordingFile f;
    f.path = path;
    const QString name = QDir::toNativeSeparators(path);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        f.problem = QStringLiteral("%1: cannot be read (%2)").arg(name, file.errorString());
        f.foreign = true;
        return f;
    }
    const QByteArray raw = file.readAll();
    qint64 stoppedAt = -1;
    QString why;
    if (raw.startsWith(QByteArray::fromHex("0a0d0d0a")))
        f.stream.assign(raw.constData(), static_cast<std::size_t>(raw.size()));
    else
        why = decompress(raw, f.stream, stoppedAt);

    PacketReader reader(f.stream);
    Record r;
    PacketReader::Status status;
    std::int64_t firstWall = 0, firstMono = 0;
    while ((status = reader.next(r)) == PacketReader::Status::Record) {
        RecordingFile::Entry e;
        if (f.records.empty()) {
            firstWall = r.wallUs;
            firstMono = r.monotonicUs;
        }
        e.timeUs = firstWall + (r.monotonicUs - firstMono);
        e.wallUs = r.wallUs;
        e.offset = static_cast<std::uint32_t>(r.bytes.data() - f.stream.data());
        e.length = static_cast<std::uint16_t>(std::min<std::size_t>(r.bytes.size(), 0xFFFF));
        e.engine = static_cast<std::uint8_t>(r.engine);
        e.direction = static_cast<std::uint8_t>(r.direction);
        e.quiet = r.quiet;
        f.records.push_back(e);
    }
    const QString upTo = f.records.empty() ? QStringLiteral("nothing could be played")
                                           : QStringLiteral("played up to %1").arg(timeText(f.lastUs()));
    if (raw.isEmpty()) {
        f.foreign = true;
        f.problem = QStringLiteral("%1: empty; skipped").arg(name);
    } else if (f.records.empty() && stoppedAt == 0) {
        f.foreign = true;
        f.problem = QStringLiteral("%1: not a recording of this station (neither zstd nor pcapng); skipped").arg(name);
    } else if (status == PacketReader::Status::Foreign && f.records.empty() && why.isEmpty()) {
        f.foreign = true;
        f.problem = QStringLiteral("%1: not a recording of this station (%2); skipped").arg(name, reader.problem());
    } else if (!why.isEmpty() && why != QStringLiteral("cut short")) {
        f.foreign = f.records.empty();
        f.problem = QStringLiteral("%1: damaged near byte %2 of %3 (%4); %5")
                        .arg(name).arg(stoppedAt).arg(raw.size()).arg(why, upTo);
    } else if (status == PacketReader::Status::Damaged || status == PacketReader::Status::Foreign) {
        f.problem = QStringLiteral("%1: damaged after %2 bytes of capture (%3); %4")
                        .arg(name).arg(reader.offset()).arg(reader.problem(), upTo);
    } else if (!why.isEmpty() || status == PacketReader::Status::Incomplete) {
        f.problem = QStringLiteral("%1: ends without its closing (cut short, or the station stopped without "
                                   "closing it); %2")
                        .arg(name, upTo);
    }
    return f;
}

QStringList recordingFiles(const QString& fileOrFolder)
{
    const QFileInfo info(fileOrFolder);
    if (!info.isDir())
        return {info.filePath()};
    QDir dir(fileOrFolder);
    // A station folder holds its recordings in "Recorder".
    if (!dir.entryList({QStringLiteral("*") + QString::fromLatin1(kFileSuffix)}, QDir::Files).size()
        && dir.exists(QString::fromLatin1(kFolderName)))
        dir.cd(QString::fromLatin1(kFolderName));
    QStringList files;
    for (const QString& name :
         dir.entryList({QStringLiteral("*") + QString::fromLatin1(kFileSuffix), QStringLiteral("*.pcapng")}, QDir::Files, QDir::Name))
        files << dir.filePath(name);
    return files;
}

} // namespace tarvek::recording
