#pragma once
// Replay: a recording as the station's engines. The player is the links' transport (no port is
// opened, nothing is written to a device): it hands each recorded read to the link's reply framer
// at its recorded time, scaled by the speed, and keeps the station's clock and timers at the
// recording's pace. At 1x it compares the frames the station sends with the recorded ones.
//
// Files are read one ahead on a thread of their own. A silence between two files (the station
// was off) is skipped at once; a silence inside a file plays for kSilencePlayedUs, so the station
// reports the losses as it did, and the rest is skipped.
#include "recorder/replay_events.h"
#include "recorder/station_pace.h"
#include "recording/clock.h"
#include "serial/link_transport.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QObject>
#include <QStringList>

#include <array>
#include <memory>
#include <optional>
#include <vector>

class QThread;
class QTimer;

namespace tarvek {
class SerialLink;
}

namespace tarvek::recording {

class ReplayPlayer : public QObject, public LinkTransport {
    Q_OBJECT
public:
    static constexpr std::array<int, 7> kSpeeds{1, 2, 5, 10, 20, 30, 60};
    static constexpr std::int64_t kStationOffUs = 2'000'000;    // between files: the station was off
    static constexpr std::int64_t kSilenceGapUs = 30'000'000;   // inside a file: a gap worth skipping
    static constexpr std::int64_t kSilencePlayedUs = 10'000'000;
    static constexpr std::int64_t kEventLeadUs = 3'000'000;     // "next event" lands this long before it
    static constexpr int kEndGraceMs = 250; // after the last record at 1x, for the station's last frames

    struct Gap {
        std::int64_t fromUs = 0, toUs = 0;
    };

    // files: in time order; from: where to begin (else at the first byte); speed: 1..60.
    ReplayPlayer(QStringList files, std::optional<QDateTime> from, int speed, QObject* parent = nullptr);
    ~ReplayPlayer() override;

    // The recorded time, for the station's clock.
    Clock& clock() { return clock_; }
    // Runs the link on this player and paces the timers below `station`; before the ports open.
    void attach(SerialLink& link, QObject& station);
    // Reads the first file and plays; the station has started up.
    void start();

    std::int64_t positionUs() const;
    int speed() const { return speed_; }
    bool paused() const { return paused_; }
    bool ended() const { return ended_; }
    QString currentFile() const;
    QStringList files() const { return files_; }
    // The span the files cover as far as known: from the first file's start to the end of the
    // last one read (or the last file's start while it is not read yet).
    std::int64_t beginUs() const { return beginUs_; }
    std::int64_t endUs() const;
    const std::vector<Gap>& gaps() const { return gaps_; }
    // The events of the files read so far.
    std::vector<ReplayEvent> events() const;
    const FrameComparison& frames() const { return frames_; }
    quint64 framesSent() const { return framesSent_; }
    QStringList problems() const { return problems_; }

    QString deviceName(int slot) const override;
    void write(int slot, std::string_view frame) override;

public slots:
    void setSpeed(int speed);
    void pause();
    void resume();
    // Jumps to shortly before the next fault, loss, start, stop or parameter exchange.
    void nextEvent();

signals:
    // A file that could not be read whole, a gap skipped, a jump, the end: one line each.
    void notice(const QString& text);
    void stateChanged();
    void endedPlaying();

private:
    struct Loaded {
        RecordingFile file;
        std::vector<ReplayEvent> events;
    };
    class RecordedClock final : public Clock {
    public:
        explicit RecordedClock(const ReplayPlayer& p) : player_(p) {}
        QDateTime now() const override { return QDateTime::fromMSecsSinceEpoch(msecsSinceEpoch()); }
        qint64 msecsSinceEpoch() const override { return player_.positionUs() / 1000; }

    private:
        const ReplayPlayer& player_;
    };

    void loadNext();
    void loaded(std::shared_ptr<Loaded> file);
    void enter();   // the file read ahead becomes the one playing
    bool advance(); // to the next file with something to play; false while waiting, or at the end
    void deliver();
    void feed(const RecordingFile::Entry& e);
    void jumpTo(std::int64_t us);
    void schedule(std::int64_t dueUs);
    void finish();
    bool comparing() const { return speed_ == 1; }

    QStringList files_;
    std::optional<std::int64_t> fromUs_;
    RecordedClock clock_;
    SerialLink* link_ = nullptr;
    std::unique_ptr<StationPace> pace_;
    QTimer* timer_;
    QThread* loader_ = nullptr;
    int index_ = -1;                  // the file playing
    std::shared_ptr<Loaded> current_, next_;
    std::size_t cursor_ = 0;
    std::int64_t anchorUs_ = 0;       // the position when the clock was last anchored
    QElapsedTimer anchor_;
    std::int64_t lastFedUs_ = 0;      // the last record handed over, 0 before any
    std::int64_t lastEventUs_ = 0;    // the event "next event" went to last
    int speed_ = 1;
    bool started_ = false, paused_ = false, ended_ = false;
    bool waiting_ = false;            // for a file being read: the position stands still
    std::int64_t beginUs_ = 0, readEndUs_ = 0;
    std::vector<Gap> gaps_;
    std::vector<ReplayEvent> pastEvents_;
    std::array<std::uint64_t, 7> chunks_{};
    FrameComparison frames_;
    quint64 framesSent_ = 0;
    QStringList problems_;
};

} // namespace tarvek::recording
