#include "cycle_figures.h"

#include "recorder/recording_format.h"
#include "recorder/recording_reader.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <numeric>
#include <unistd.h>

namespace tarvek::bench {

qint64 monotonicNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void WakeProbe::start()
{
    stop();
    lateMs_.clear();
    stopping_ = false;
    thread_ = std::thread([this] {
        qint64 due = monotonicNs();
        while (!stopping_) {
            due += 30'000'000;
            const timespec at{static_cast<time_t>(due / 1'000'000'000), static_cast<long>(due % 1'000'000'000)};
            while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &at, nullptr) != 0) {
            }
            const qint64 woke = monotonicNs();
            lateMs_.push_back(static_cast<double>(woke - due) / 1e6);
            due = std::max(due, woke - 30'000'000); // a long stall is one late wake, not a string of them
        }
    });
}

std::vector<double> WakeProbe::stop()
{
    if (thread_.joinable()) {
        stopping_ = true;
        thread_.join();
    }
    return lateMs_;
}

ThreadTimes threadTimes(qint64 pid)
{
    ThreadTimes times;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    for (const QString& tid : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile f(tasks.filePath(tid + QStringLiteral("/schedstat")));
        if (!f.open(QIODevice::ReadOnly))
            continue;
        // Time on a CPU, time waiting for one, time slices.
        const QList<QByteArray> fields = f.readAll().split(' ');
        times.ranNs[tid] = fields.value(0).toLongLong();
        if (tid.toLongLong() == pid)
            times.mainWaitedNs = fields.value(1).toLongLong();
    }
    return times;
}

double callgrindSummary(const QString& file)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    while (!f.atEnd()) {
        const QByteArray line = f.readLine().trimmed();
        if (line.startsWith("summary:"))
            return line.mid(8).trimmed().toDouble();
    }
    return -1;
}

double hostStealMs()
{
    // The first line sums all CPUs in clock ticks: user nice system idle iowait irq softirq steal.
    QFile f(QStringLiteral("/proc/stat"));
    if (!f.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = f.readLine().simplified().split(' ');
    return fields.value(8).toDouble() * 1000.0 / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

// CPU seconds run between two looks; a thread that ended in between is not counted.
double cpuSeconds(const ThreadTimes& before, const ThreadTimes& after)
{
    qint64 ns = 0;
    for (const auto& [tid, t] : after.ranNs) {
        const auto was = before.ranNs.find(tid);
        ns += t - (was == before.ranNs.end() ? 0 : was->second);
    }
    return static_cast<double>(ns) / 1e9;
}

long statusField(const QString& statusFile, const QByteArray& name)
{
    QFile f(statusFile);
    if (!f.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : f.readAll().split('\n'))
        if (line.startsWith(name + ':'))
            return line.mid(name.size() + 1).trimmed().split(' ').first().toLong();
    return 0;
}

// Each time a thread sleeps and is woken again costs a poll and a switch: counted over all threads.
long wakeups(qint64 pid)
{
    long sum = 0;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    for (const QString& t : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        sum += statusField(tasks.filePath(t + "/status"), "voluntary_ctxt_switches");
    return sum;
}

double percentile(std::vector<double> v, double p)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    const auto i = static_cast<std::size_t>(p * static_cast<double>(v.size() - 1) + 0.5);
    return v[std::min(i, v.size() - 1)];
}

double medianOf(std::vector<double> v)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    const std::size_t half = v.size() / 2;
    return v.size() % 2 ? v[half] : (v[half - 1] + v[half]) / 2;
}

double mean(const std::vector<double>& v)
{
    return v.empty() ? 0.0 : std::accumulate(v.begin(), v.end(), 0.0) / static_cast<double>(v.size());
}

// Counts the frames late by more than kLateMs over the median and groups them into bursts.
void countLate(Row& r, const std::array<EngineFigures, 6>& figures)
{
    std::vector<std::pair<qint64, int>> late; // arrival, engine index
    for (std::size_t e = 0; e < figures.size(); ++e)
        for (std::size_t i = 0; i < figures[e].turnaroundMs.size(); ++i)
            if (figures[e].turnaroundMs[i] > r.median + kLateMs)
                late.emplace_back(figures[e].frameAtNs[i], static_cast<int>(e));
    std::sort(late.begin(), late.end());
    r.lateFrames = late.size();
    unsigned engines = 0;
    for (std::size_t i = 0; i < late.size(); ++i) {
        if (i == 0 || late[i].first - late[i - 1].first > kBurstGapNs) {
            ++r.lateBursts;
            r.burstAtNs.push_back(late[i].first);
            engines = 0;
        }
        engines |= 1u << late[i].second;
        r.widestBurst = std::max(r.widestBurst, std::popcount(engines));
    }
}

void lookAtSteal(Row& r, const std::vector<StealSample>& samples, const std::array<EngineFigures, 6>& figures)
{
    if (samples.size() < 2)
        return;
    // The steal counted from the last sample kStealLookNs or more before `at` to the first at or
    // after it: the look-back, widened to the samples around it.
    const auto stealBefore = [&samples](qint64 at) {
        const auto after = std::lower_bound(samples.begin(), samples.end(), at,
                                            [](const StealSample& s, qint64 t) { return s.atNs < t; });
        auto before = std::upper_bound(samples.begin(), samples.end(), at - kStealLookNs,
                                       [](qint64 t, const StealSample& s) { return t < s.atNs; });
        if (before != samples.begin())
            --before;
        return (after == samples.end() ? samples.back() : *after).stealMs - before->stealMs;
    };
    r.burstsAfterSteal = static_cast<int>(
        std::count_if(r.burstAtNs.begin(), r.burstAtNs.end(), [&](qint64 at) { return stealBefore(at) > 0; }));
    // Every 5 ms of the run, so that the moments fall between the samples as the bursts do.
    int moments = 0, withSteal = 0;
    for (qint64 at = samples.front().atNs + kStealLookNs; at <= samples.back().atNs; at += 5'000'000) {
        ++moments;
        withSteal += stealBefore(at) > 0 ? 1 : 0;
    }
    r.momentsAfterSteal = moments > 0 ? static_cast<double>(withSteal) / moments : 0.0;
    std::vector<double> quiet;
    for (const EngineFigures& f : figures)
        for (std::size_t i = 0; i < f.turnaroundMs.size() && i < f.frameAtNs.size(); ++i)
            if (f.frameAtNs[i] - kStealLookNs >= samples.front().atNs && stealBefore(f.frameAtNs[i]) == 0)
                quiet.push_back(f.turnaroundMs[i]);
    r.quietFrames = quiet.size();
    r.quietMedian = percentile(quiet, 0.5);
    r.quietP99 = percentile(quiet, 0.99);
    r.quietMax = percentile(quiet, 1.0);
}

void printRow(const Row& r)
{
    std::printf("%-14s %9.3f %8.2f%% %8.2f%% %9.2f %8.2f %8.2f %8.2f %8.1f %9.2f\n", qPrintable(r.name), r.cyclesPerSecond,
                100.0 * r.ofLimit, 100.0 * r.minEngineOfLimit, r.median, r.p99, r.max, r.cpuPercent, r.peakMb,
                r.wakeupsPerCycle);
}
// Each figure the median of the rows' (the peak memory their highest).
Row medianRow(const std::vector<const Row*>& rows, const QString& name)
{
    Row m;
    m.name = name;
    const auto median = [&rows](double Row::*field) {
        std::vector<double> v;
        for (const Row* r : rows)
            v.push_back(r->*field);
        return medianOf(v);
    };
    m.cyclesPerSecond = median(&Row::cyclesPerSecond);
    m.ofLimit = median(&Row::ofLimit);
    m.minEngineOfLimit = median(&Row::minEngineOfLimit);
    m.median = median(&Row::median);
    m.p99 = median(&Row::p99);
    m.max = median(&Row::max);
    m.cpuPercent = median(&Row::cpuPercent);
    m.wakeupsPerCycle = median(&Row::wakeupsPerCycle);
    for (const Row* r : rows)
        m.peakMb = std::max(m.peakMb, r->peakMb);
    return m;
}

void Against::print(const char* what) const
{
    std::printf("station / bare%s: cycle rate %.4f; turnaround p99 %+.2f ms, max %+.2f ms, median %+.2f ms; CPU x%.2f\n",
                what, rate, p99, max, median, cpu);
}

Against medianOf(const std::vector<Against>& rounds)
{
    Against m = rounds.front();
    for (double Against::*field : {&Against::rate, &Against::p99, &Against::max, &Against::median, &Against::cpu}) {
        std::vector<double> v;
        for (const Against& a : rounds)
            v.push_back(a.*field);
        m.*field = medianOf(v);
    }
    return m;
}

void readDeadlines(Row& r, const QByteArray& report)
{
    // The lines the station prints under --link-stats and the bare answer prints at SIGTERM.
    static const QRegularExpression station(QStringLiteral(
        R"(link deadlines - (\d+) told; more than [\d.]+ ms late: (\d+) woken late by the machine \(the latest by ([\d.]+) ms\), (\d+) held up by the station's own work \(the longest by ([\d.]+) ms\))"));
    static const QRegularExpression bare(
        QStringLiteral(R"(bare answer deadlines - (\d+) told; more than [\d.]+ ms late: (\d+) \(the latest by ([\d.]+) ms\))"));
    const QString text = QString::fromUtf8(report);
    if (const auto m = station.match(text); m.hasMatch()) {
        r.deadlinesTold = m.captured(1).toLongLong();
        r.wokeLate = m.captured(2).toLongLong();
        r.latestWokeMs = m.captured(3).toDouble();
        r.heldByWork = m.captured(4).toLongLong();
        r.longestHeldMs = m.captured(5).toDouble();
    } else if (const auto b = bare.match(text); b.hasMatch()) {
        r.deadlinesTold = b.captured(1).toLongLong();
        r.wokeLate = b.captured(2).toLongLong();
        r.latestWokeMs = b.captured(3).toDouble();
    }
}

ProgramMoments bareMoments(const QString& file)
{
    ProgramMoments m;
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return m;
    while (!f.atEnd()) {
        const QList<QByteArray> parts = f.readLine().simplified().split(' ');
        if (parts.size() != 3)
            continue;
        const int engine = parts[0].toInt();
        if (engine < 1 || engine > 6)
            continue;
        auto& into = parts[1] == "0" ? m.read : m.written;
        into[static_cast<std::size_t>(engine - 1)].push_back(parts[2].toLongLong());
    }
    return m;
}

ProgramMoments recordedMoments(const QString& folder)
{
    ProgramMoments m;
    for (const QString& path : recording::recordingFiles(folder)) {
        const recording::RecordingFile file = recording::readRecording(path);
        recording::PacketReader reader(file.stream);
        recording::Record r;
        while (reader.next(r) == recording::PacketReader::Status::Record) {
            if (r.quiet || r.bytes.empty() || r.engine < 1 || r.engine > 6)
                continue;
            auto& into = r.direction == recording::kDirectionIn ? m.read : m.written;
            into[static_cast<std::size_t>(r.engine - 1)].push_back(r.monotonicUs * 1000);
        }
    }
    for (auto* side : {&m.read, &m.written})
        for (auto& v : *side)
            std::sort(v.begin(), v.end());
    return m;
}

void splitTurnarounds(Row& r, const std::array<EngineFigures, 6>& figures, const ProgramMoments& moments)
{
    // The last moment at or before `at`, or -1.
    const auto lastBefore = [](const std::vector<qint64>& v, qint64 at) {
        const auto it = std::upper_bound(v.begin(), v.end(), at);
        return it == v.begin() ? qint64(-1) : *std::prev(it);
    };
    // A program reads the last piece of a reply a little after the simulator has sent it; sooner
    // than this before, it is a piece of an earlier reply.
    constexpr qint64 kReadBeforeEndNs = 5'000'000;
    // The station stamps a write once it has returned: a thread held up just then stamps it after
    // the simulator has read the frame. The next frame is a whole cycle later.
    constexpr qint64 kStampedAfterNs = 5'000'000;
    for (std::size_t k = 0; k < figures.size(); ++k) {
        for (const auto& [replyEnd, frameRead] : figures[k].replyEndAndFrameNs) {
            const qint64 written = lastBefore(moments.written[k], frameRead + kStampedAfterNs);
            const qint64 read = written < 0 ? -1 : lastBefore(moments.read[k], written);
            if (read < 0 || read < replyEnd - kReadBeforeEndNs)
                continue;
            r.toReadMs.push_back(static_cast<double>(read - replyEnd) / 1e6);
            r.toWriteMs.push_back(static_cast<double>(written - read) / 1e6);
            r.toSimulatorMs.push_back(static_cast<double>(frameRead - written) / 1e6);
        }
    }
}

void printOwnCounts(const Row& r)
{
    if (r.deadlinesTold > 0) {
        const double share = 100.0 * static_cast<double>(r.wokeLate) / static_cast<double>(r.deadlinesTold);
        std::printf("deadlines of the %s by its own count: %lld, of which %lld (%.1f %%) woken more than 0.3 ms late "
                    "by the machine, the latest by %.3f ms",
                    qPrintable(r.name), r.deadlinesTold, r.wokeLate, share, r.latestWokeMs);
        if (r.name.startsWith(QLatin1String("station")))
            std::printf(", and %lld held up by its own work, the longest by %.3f ms", r.heldByWork, r.longestHeldMs);
        std::printf("\n");
    }
    if (!r.toReadMs.empty())
        std::printf("turnaround of the %s in parts, %zu frames: the reply's end to its read median %.3f ms, p99 %.3f, "
                    "max %.3f; the read to the frame's write median %.3f, p99 %.3f, max %.3f; the write to the "
                    "simulator's read median %.3f, p99 %.3f, max %.3f\n",
                    qPrintable(r.name), r.toReadMs.size(), percentile(r.toReadMs, 0.5), percentile(r.toReadMs, 0.99),
                    percentile(r.toReadMs, 1.0), percentile(r.toWriteMs, 0.5), percentile(r.toWriteMs, 0.99),
                    percentile(r.toWriteMs, 1.0), percentile(r.toSimulatorMs, 0.5), percentile(r.toSimulatorMs, 0.99),
                    percentile(r.toSimulatorMs, 1.0));
}

} // namespace tarvek::bench
