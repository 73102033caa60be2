#include "recorder/replay_events.h"

#include "protocol/codec.h"
#include "protocol/reply_framer.h"

#include <algorithm>
#include <array>

namespace tarvek::recording {

namespace {
int field(std::string_view reply, int k)
{
    return static_cast<int>(parseNumber(replyField(reply, k)).value_or(-1));
}
} // namespace

std::vector<ReplayEvent> findEvents(const RecordingFile& file)
{
    std::vector<ReplayEvent> events;
    std::array<ReplyFramer, 6> framers;
    std::array<int, 6> fault{}, run{};
    std::array<std::int64_t, 6> lastIn{};
    const auto add = [&events](std::int64_t t, int engine, ReplayEvent::Kind kind, const QString& what) {
        events.push_back({t, engine, kind, QStringLiteral("LE%1 %2").arg(engine).arg(what)});
    };
    for (const auto& e : file.records) {
        const auto k = static_cast<std::size_t>(e.engine - 1);
        const std::string_view bytes = file.bytes(e);
        if (e.direction == kDirectionOut) {
            if (bytes.size() != static_cast<std::size_t>(kFrameLength))
                continue;
            const auto b = frameBytes(bytes);
            if (b[pos::RunRequest] != run[k] && (b[pos::RunRequest] == 1 || b[pos::RunRequest] == 2))
                add(e.timeUs, e.engine, b[pos::RunRequest] == 1 ? ReplayEvent::Kind::Start : ReplayEvent::Kind::Stop,
                    b[pos::RunRequest] == 1 ? QStringLiteral("start") : QStringLiteral("stop"));
            run[k] = b[pos::RunRequest];
            if (b[pos::ReplyType] == 1 || b[pos::ReplyType] == 2)
                add(e.timeUs, e.engine, ReplayEvent::Kind::Parameters,
                    b[pos::ReplyType] == 1 ? QStringLiteral("parameter write") : QStringLiteral("parameter read"));
            continue;
        }
        if (lastIn[k] != 0 && e.timeUs - lastIn[k] > kLossUs)
            add(lastIn[k], e.engine, ReplayEvent::Kind::Loss,
                QStringLiteral("silent for %1 s").arg((e.timeUs - lastIn[k]) / 1'000'000));
        lastIn[k] = e.timeUs;
        if (e.quiet) {
            framers[k].markQuiet();
            continue;
        }
        framers[k].feed(bytes, [&](std::string_view reply) {
            if (field(reply, pos::Sync) != kSyncValue || field(reply, pos::ReplyType) == 2)
                return;
            const int code = field(reply, pos::FaultCode);
            if (code > 0 && code != fault[k])
                add(e.timeUs, e.engine, ReplayEvent::Kind::Fault, QStringLiteral("fault %1").arg(code));
            if (code >= 0)
                fault[k] = code;
        });
    }
    std::stable_sort(events.begin(), events.end(), [](const auto& a, const auto& b) { return a.timeUs < b.timeUs; });
    return events;
}

QString positionName(int position)
{
    static const std::array<const char*, kReplyFields> kNames{
        "command code", "phase", "run request", "confirmation", "power", "no increase", "QTH relay",
        "QTH and IR state", "alarm relay", "fault code", "MAT", "SHT", "LPC, regulation", "LFC", "SBV", "VCC",
        "VIS", "IR", "RH", "spare 19", "spare 20", "spare 21", "spare 22", "spare 23", "motor speed set-point",
        "fixed speed of M", "Stamp version", "tachometer M", "tachometer V1", "tachometer V2", "synchronisation",
        "cooling (mode)"};
    if (position < 0 || position >= kReplyFields)
        return QStringLiteral("end of line");
    return QString::fromLatin1(kNames[static_cast<std::size_t>(position)]);
}

void FrameComparison::recorded(int engine, std::uint64_t tag, std::string_view frame, std::int64_t timeUs)
{
    Pending& p = pending_[{engine, tag}];
    p.recorded.emplace_back(frame);
    p.timeUs = timeUs;
}

void FrameComparison::sent(int engine, std::uint64_t tag, std::string_view frame, std::int64_t timeUs)
{
    Pending& p = pending_[{engine, tag}];
    p.sent.emplace_back(frame);
    if (p.timeUs == 0)
        p.timeUs = timeUs;
}

void FrameComparison::settle(int engine, std::uint64_t tag)
{
    for (auto it = pending_.begin(); it != pending_.end();) {
        if (it->first.first == engine && it->first.second + 2 <= tag) {
            judge(engine, it->second);
            it = pending_.erase(it);
        } else {
            ++it;
        }
    }
}

void FrameComparison::settleAll(const std::array<std::uint64_t, 7>& lastTags)
{
    for (const auto& [key, p] : pending_)
        if (!(p.recorded.empty() && key.second == lastTags.at(static_cast<std::size_t>(key.first))))
            judge(key.first, p);
    pending_.clear();
}

void FrameComparison::drop()
{
    pending_.clear();
    open_.fill(-1);
}

void FrameComparison::judge(int engine, const Pending& p)
{
    const std::size_t n = std::max(p.recorded.size(), p.sent.size());
    for (std::size_t i = 0; i < n; ++i) {
        if (i >= p.sent.size()) {
            differs(engine, p.timeUs, QStringLiteral("a frame was recorded; this station sent none"));
            continue;
        }
        if (i >= p.recorded.size()) {
            differs(engine, p.timeUs, QStringLiteral("this station sent a frame; none was recorded"));
            continue;
        }
        ++compared_;
        const std::string& a = p.recorded[i];
        const std::string& b = p.sent[i];
        if (a == b) {
            open_.at(static_cast<std::size_t>(engine)) = -1;
            continue;
        }
        QStringList parts;
        for (std::size_t k = 0; k < std::max(a.size(), b.size()); ++k) {
            const int ra = k < a.size() ? static_cast<unsigned char>(a[k]) : -1;
            const int rb = k < b.size() ? static_cast<unsigned char>(b[k]) : -1;
            if (ra != rb)
                parts << QStringLiteral("%1 (%2) recorded %3, sent %4").arg(k).arg(positionName(int(k))).arg(ra).arg(rb);
        }
        differs(engine, p.timeUs, QStringLiteral("position ") + parts.join(QStringLiteral("; position ")));
    }
}

void FrameComparison::differs(int engine, std::int64_t timeUs, const QString& what)
{
    ++differing_;
    int& open = open_.at(static_cast<std::size_t>(engine));
    if (open >= 0 && runs_[static_cast<std::size_t>(open)].what == what) {
        Run& run = runs_[static_cast<std::size_t>(open)];
        run.toUs = timeUs;
        ++run.frames;
        return;
    }
    open = -1;
    if (runs_.size() >= kListLimit)
        return;
    runs_.push_back({engine, timeUs, timeUs, 1, what});
    open = static_cast<int>(runs_.size() - 1);
}

QStringList FrameComparison::differences() const
{
    QStringList lines;
    for (const Run& r : runs_)
        lines << (r.frames == 1 ? QStringLiteral("%1  LE%2  %3").arg(timeText(r.fromUs)).arg(r.engine).arg(r.what)
                                : QStringLiteral("%1 to %2  LE%3  %4 frames: %5")
                                      .arg(timeText(r.fromUs), timeText(r.toUs).mid(11))
                                      .arg(r.engine)
                                      .arg(r.frames)
                                      .arg(r.what));
    return lines;
}

} // namespace tarvek::recording
