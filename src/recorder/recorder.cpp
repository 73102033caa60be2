#include "recorder/recorder.h"

#include "common/background_thread.h"
#include "recorder/recording_format.h"
#include "settings/settings_files.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <zstd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <mutex>
#include <span>
#include <thread>
#include <unistd.h>

namespace tarvek {

using namespace recording;

namespace {
constexpr std::int64_t kHourUs = 3'600'000'000;
// Six engines make about 12 kB a second, most of it like what came a moment before: a reply is
// mostly the reply before it. Level 1 with a window of 128 kB (ten seconds of the links) finds
// those matches as well as level 6 with a window of 1 MB (14:1 against 14.5:1 on the simulator,
// written a second at a time), with a context of 1 MB instead of 5 MB.
constexpr int kCompressionLevel = 1;
constexpr int kWindowLog = 17;

template <class C>
std::int64_t microseconds()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(C::now().time_since_epoch()).count();
}
} // namespace

RecorderLimits RecorderLimits::load(SettingsFiles& files)
{
    std::array<int, 2> values{kDefaultDays, kDefaultMegabytes};
    RecorderLimits limits;
    if (files.readNumbers(fileName(), std::span<int>(values)) == 2 && values[0] >= 1 && values[1] >= 1) {
        limits.days = values[0];
        limits.megabytes = values[1];
        return limits;
    }
    const std::array<int, 2> defaults{kDefaultDays, kDefaultMegabytes};
    files.writeNumbers(fileName(), std::span<const int>(defaults));
    return limits;
}

// The part shared by the serial side (which gathers) and the writer thread (which writes).
class Recorder::Writer {
public:
    Writer(Recorder& owner, QString folder, RecorderLimits limits)
        : owner_(owner), folder_(std::move(folder)), limits_(limits), cctx_(ZSTD_createCCtx())
    {
        resetCompression();
        thread_ = std::thread([this] { run(); });
    }
    ~Writer()
    {
        {
            std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        thread_.join();
        ZSTD_freeCCtx(cctx_);
    }

    // The serial side: appends one record; never waits for the disk.
    void gather(const Record& r)
    {
        std::lock_guard lock(mutex_);
        if (gatheredBytes_ > kMaxHeldBytes) {
            droppedByGather_ += r.bytes.size();
            return;
        }
        const std::int64_t hour = r.wallUs / kHourUs;
        if (gathered_.empty() || gathered_.back().hour != hour)
            gathered_.push_back({hour, r.wallUs, {}});
        std::string& data = gathered_.back().data;
        const std::size_t before = data.size();
        appendRecord(data, r);
        gatheredBytes_ += data.size() - before;
    }

    void sync()
    {
        std::unique_lock lock(mutex_);
        const quint64 ticket = ++syncAsked_;
        wake_.notify_all();
        synced_.wait(lock, [&] { return syncDone_ >= ticket; });
    }

    quint64 lost() const
    {
        std::lock_guard lock(mutex_);
        return lostBytes_ + droppedByGather_;
    }
    QString folder() const { return folder_; }

private:
    struct Segment {
        std::int64_t hour = 0;
        std::int64_t firstWallUs = 0;
        std::string data;
    };

    void run()
    {
        markAsBackgroundWork();
        using namespace std::chrono;
        // One wake a second: what a kill costs is the same as with more, and the thread sleeps.
        auto nextWrite = steady_clock::now() + milliseconds(kWriteMs);
        auto lastRetention = steady_clock::time_point{};
        std::unique_lock lock(mutex_);
        for (;;) {
            wake_.wait_until(lock, nextWrite, [&] { return stopping_ || syncAsked_ > syncDone_; });
            std::deque<Segment> segments;
            segments.swap(gathered_);
            gatheredBytes_ = 0;
            const bool stopping = stopping_;
            const quint64 ticket = syncAsked_;
            lock.unlock();

            for (Segment& s : segments)
                take(s);
            const auto now = steady_clock::now();
            if (now >= nextWrite)
                nextWrite = now + milliseconds(kWriteMs);
            compress(ZSTD_e_flush, {});
            writeHeld();
            if (now - lastRetention >= milliseconds(kRetentionCheckMs)) {
                lastRetention = now;
                keepWithinLimits();
            }
            lock.lock();
            syncDone_ = ticket;
            synced_.notify_all();
            if (stopping)
                break;
        }
        lock.unlock();
        finishFile();
    }

    void take(const Segment& s)
    {
        if (s.hour != hour_) {
            // A file that ran to the end of its hour is followed by one from the hour; the first
            // file, and one after a file given up, starts with its first bytes.
            const bool onTheHour = !path_.isEmpty();
            finishFile();
            hour_ = s.hour;
            const std::int64_t startUs = onTheHour ? s.hour * kHourUs : s.firstWallUs;
            path_ = freeName(QDateTime::fromMSecsSinceEpoch(startUs / 1000, Qt::UTC));
            compress(ZSTD_e_continue, fileHeader());
            keepWithinLimits();
        }
        compress(ZSTD_e_continue, s.data);
    }

    void compress(ZSTD_EndDirective mode, std::string_view input)
    {
        if (path_.isEmpty())
            return;
        rawSinceWrite_ += input.size();
        ZSTD_inBuffer in{input.data(), input.size(), 0};
        std::array<char, 65536> chunk;
        for (;;) {
            ZSTD_outBuffer out{chunk.data(), chunk.size(), 0};
            const std::size_t left = ZSTD_compressStream2(cctx_, &out, &in, mode);
            held_.append(chunk.data(), out.pos);
            if (ZSTD_isError(left) || (mode == ZSTD_e_continue ? in.pos == in.size : left == 0))
                break;
        }
        if (held_.size() > kMaxHeldBytes)
            abandonFile(); // the disk has refused it too long: it ends where it was last written
    }

    // Writes what the compressor gave; on a refusal the file is cut back to its last whole write,
    // so that it stays readable, and the bytes are held for the next try.
    void writeHeld()
    {
        if (held_.empty())
            return;
        if (fd_ < 0 && !openFile())
            return;
        const off_t before = ::lseek(fd_, 0, SEEK_END);
        std::size_t done = 0;
        while (done < held_.size()) {
            const ssize_t n = ::write(fd_, held_.data() + done, held_.size() - done);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0) {
                refused(n < 0 ? errno : ENOSPC);
                if (before < 0 || ::ftruncate(fd_, before) != 0)
                    abandonFile(); // it cannot be cut back: a new file carries on
                return;
            }
            done += static_cast<std::size_t>(n);
        }
        held_.clear();
        rawSinceWrite_ = 0;
        ::fdatasync(fd_);
        if (failing_) {
            failing_ = false;
            quint64 lost = 0;
            {
                std::lock_guard lock(mutex_);
                lost = lostBytes_ + droppedByGather_ - lostTold_;
                lostTold_ += lost;
            }
            tell(lost == 0 ? QStringLiteral("Recorder: recording again, nothing lost.")
                           : QStringLiteral("Recorder: recording again; %1 bytes of the links were not recorded.").arg(lost));
        }
    }

    bool openFile()
    {
        QDir().mkpath(folder_);
        fd_ = ::open(QFile::encodeName(path_).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        if (fd_ < 0) {
            refused(errno);
            return false;
        }
        return true;
    }

    void refused(int error)
    {
        if (failing_)
            return;
        failing_ = true;
        tell(QStringLiteral("Recorder: cannot write %1 (%2); the bytes are held until it can.")
                 .arg(QDir::toNativeSeparators(path_), QString::fromLocal8Bit(std::strerror(error))));
    }

    void finishFile()
    {
        if (!path_.isEmpty()) {
            compress(ZSTD_e_end, {});
            writeHeld();
        }
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
        if (!held_.empty())
            abandonFile();
        path_.clear();
        resetCompression();
    }

    void abandonFile()
    {
        {
            std::lock_guard lock(mutex_);
            lostBytes_ += rawSinceWrite_;
        }
        rawSinceWrite_ = 0;
        held_.clear();
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
        path_.clear();
        hour_ = -1; // the next bytes start a file of their own
        resetCompression();
    }

    void resetCompression()
    {
        ZSTD_CCtx_reset(cctx_, ZSTD_reset_session_and_parameters);
        ZSTD_CCtx_setParameter(cctx_, ZSTD_c_compressionLevel, kCompressionLevel);
        ZSTD_CCtx_setParameter(cctx_, ZSTD_c_windowLog, kWindowLog);
        ZSTD_CCtx_setParameter(cctx_, ZSTD_c_checksumFlag, 1);
    }

    // A name no file has yet: a station started twice within a second takes the next one.
    QString freeName(QDateTime start) const
    {
        const QDir dir(folder_);
        QString path = dir.filePath(fileNameFor(start));
        while (QFileInfo::exists(path)) {
            start = start.addSecs(1);
            path = dir.filePath(fileNameFor(start));
        }
        return path;
    }

    // Oldest first: a file whose last write is older than the days, then as many as the size asks.
    void keepWithinLimits()
    {
        QDir dir(folder_);
        QFileInfoList files = dir.entryInfoList({QStringLiteral("*") + QString::fromLatin1(kFileSuffix)}, QDir::Files, QDir::Name);
        qint64 total = 0;
        for (const QFileInfo& f : files)
            total += f.size();
        const QDateTime oldest = QDateTime::currentDateTimeUtc().addDays(-limits_.days);
        const qint64 limit = qint64(limits_.megabytes) << 20;
        for (const QFileInfo& f : files) {
            if (f.absoluteFilePath() == QFileInfo(path_).absoluteFilePath())
                continue;
            if (f.lastModified() >= oldest && total <= limit)
                break;
            if (QFile::remove(f.absoluteFilePath()))
                total -= f.size();
        }
    }

    void tell(const QString& text)
    {
        QMetaObject::invokeMethod(&owner_, [o = &owner_, text] { emit o->notice(text); }, Qt::QueuedConnection);
    }

    Recorder& owner_;
    const QString folder_;
    const RecorderLimits limits_;
    std::thread thread_;

    mutable std::mutex mutex_; // guards what the two sides share, below
    std::condition_variable wake_, synced_;
    std::deque<Segment> gathered_;
    std::size_t gatheredBytes_ = 0;
    quint64 droppedByGather_ = 0, lostBytes_ = 0, lostTold_ = 0;
    quint64 syncAsked_ = 0, syncDone_ = 0;
    bool stopping_ = false;

    // The writer thread's own.
    ZSTD_CCtx* cctx_;
    QString path_;
    std::int64_t hour_ = -1;
    int fd_ = -1;
    std::string held_;              // compressed, not yet in the file
    std::size_t rawSinceWrite_ = 0; // what held_ holds, before compression
    bool failing_ = false;
};

Recorder::Stamp Recorder::systemTime()
{
    return {microseconds<std::chrono::system_clock>(), microseconds<std::chrono::steady_clock>()};
}

Recorder::Recorder(const QString& folder, RecorderLimits limits, TimeSource time, QObject* parent)
    : QObject(parent), time_(std::move(time)), writer_(std::make_unique<Writer>(*this, folder, limits))
{
}

Recorder::~Recorder() = default;

void Recorder::passed(int slot, TraceDirection direction, std::string_view bytes)
{
    gather(slot, direction == TraceDirection::In ? kDirectionIn : kDirectionOut, false, bytes);
}

void Recorder::lineQuiet(int slot) { gather(slot, kDirectionIn, true, {}); }

void Recorder::gather(int slot, int direction, bool quiet, std::string_view bytes)
{
    const Stamp now = time_();
    Record r;
    r.wallUs = now.wallUs;
    r.monotonicUs = now.monotonicUs;
    r.engine = slot;
    r.direction = direction;
    r.quiet = quiet;
    r.bytes = bytes;
    writer_->gather(r);
}

QString Recorder::folder() const { return writer_->folder(); }
void Recorder::sync() { writer_->sync(); }
quint64 Recorder::bytesLost() const { return writer_->lost(); }

} // namespace tarvek
