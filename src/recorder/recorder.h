#pragma once
// The recorder, the station's black box: every byte read from and written to each link, with its
// time (microseconds, monotonic and wall clock), engine and direction, into "\Recorder\" in the
// station folder, one zstd-compressed pcapng file an hour (see recording_format.h).
//
// The serial side only appends to a buffer in memory; a thread of its own wakes once a second, takes
// that buffer, compresses it, writes it to the file and syncs it, so a kill or a power cut costs at
// most the last second. Files older than the days of "\Recorder.ini", or
// beyond its size, go, oldest first. A disk that refuses the file is told once; what could not be
// written is held (up to kMaxHeldBytes) and written when there is room again.
#include "protocol/trace_tap.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>

namespace tarvek {

class SettingsFiles;

struct RecorderLimits {
    static constexpr int kDefaultDays = 30;
    static constexpr int kDefaultMegabytes = 2048;
    int days = kDefaultDays;
    int megabytes = kDefaultMegabytes;
    // "\Recorder.ini": line 1 the days kept, line 2 the megabytes the folder may hold.
    static QString fileName() { return QStringLiteral("\\Recorder.ini"); }
    // The limits of the file; the defaults, written back, when it is missing or holds no sense.
    static RecorderLimits load(SettingsFiles& files);
};

class Recorder : public QObject, public ByteTap {
    Q_OBJECT
public:
    static constexpr int kWriteMs = 1000;
    static constexpr int kRetentionCheckMs = 60'000;
    static constexpr std::size_t kMaxHeldBytes = std::size_t(64) << 20;

    // When bytes passed, in microseconds: the wall clock (UTC since 1970) and the monotonic clock.
    struct Stamp {
        std::int64_t wallUs = 0, monotonicUs = 0;
    };
    using TimeSource = std::function<Stamp()>;
    static Stamp systemTime();

    // folder: where the files go ("\Recorder\" of the station folder); made when first needed.
    Recorder(const QString& folder, RecorderLimits limits, TimeSource time = systemTime, QObject* parent = nullptr);
    ~Recorder() override; // writes and syncs what is gathered, then closes the file

    void passed(int slot, TraceDirection direction, std::string_view bytes) override;
    void lineQuiet(int slot) override;

    QString folder() const;
    // Waits until everything passed so far is in the file, flushed and synced (tests, shutdown).
    void sync();
    // Bytes of traffic lost so far because the disk refused them for too long.
    quint64 bytesLost() const;

signals:
    // Told once: the disk refuses the file, and once when recording goes on.
    void notice(const QString& text);

private:
    void gather(int slot, int direction, bool quiet, std::string_view bytes);

    class Writer;
    TimeSource time_;
    std::unique_ptr<Writer> writer_;
};

} // namespace tarvek
