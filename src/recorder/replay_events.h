#pragma once
// What a recording holds that an operator looks for: faults, losses, starts, stops and parameter
// exchanges, found in the bytes themselves (the replies framed as the station frames them), and
// the comparison of the frames a replaying station sends with the ones recorded.
#include "recorder/recording_reader.h"

#include <QStringList>

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tarvek::recording {

struct ReplayEvent {
    enum class Kind { Fault, Loss, Start, Stop, Parameters };
    std::int64_t timeUs = 0;
    int engine = 0;
    Kind kind = Kind::Fault;
    QString text; // "LE3 fault 7"
};

// A silence this long on an engine's line is a loss (the station's watchdog says so after 5 s).
inline constexpr std::int64_t kLossUs = 5'000'000;

// The events of one file, in time order.
std::vector<ReplayEvent> findEvents(const RecordingFile& file);

// What position 0..31 of a frame carries, for the list of differences.
QString positionName(int position);

// Pairs the frames a replaying station sends with the recorded ones. Both sides tag a frame with
// the number of reply chunks of its engine fed so far, so each frame meets the one that answered
// the same reply; a tag is judged once two more chunks have come. Frames of an engine that differ
// in the same way one after the other (a run request the operator made, held while the engine
// runs) are listed as one run.
class FrameComparison {
public:
    static constexpr int kListLimit = 1000;
    void recorded(int engine, std::uint64_t tag, std::string_view frame, std::int64_t timeUs);
    void sent(int engine, std::uint64_t tag, std::string_view frame, std::int64_t timeUs);
    void settle(int engine, std::uint64_t tag);
    // At the end: every tag is judged, but a frame answering an engine's last reply (its tag in
    // `lastTags`, 1..6) where the recording has none: the recording ended before it went out.
    void settleAll(const std::array<std::uint64_t, 7>& lastTags);
    // Forgets what waits to be judged: after a jump, or at a speed where timing is not the same.
    void drop();

    quint64 compared() const { return compared_; }
    quint64 differing() const { return differing_; }
    // One line a run of differing frames, oldest first; at most kListLimit runs.
    QStringList differences() const;
    bool listFull() const { return runs_.size() >= kListLimit; }

private:
    struct Pending {
        std::vector<std::string> recorded, sent;
        std::int64_t timeUs = 0;
    };
    struct Run {
        int engine = 0;
        std::int64_t fromUs = 0, toUs = 0;
        quint64 frames = 0;
        QString what;
    };
    void judge(int engine, const Pending& p);
    void differs(int engine, std::int64_t timeUs, const QString& what);

    std::map<std::pair<int, std::uint64_t>, Pending> pending_;
    quint64 compared_ = 0, differing_ = 0;
    std::vector<Run> runs_;
    std::array<int, 7> open_{-1, -1, -1, -1, -1, -1, -1}; // the run an engine's last frame is in
};

} // namespace tarvek::recording
