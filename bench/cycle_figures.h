#pragma once
// What the frame cycle bench measures of a program serving the six engines, and how it sums the
// figures up: rates and turnarounds per engine, CPU and wake-ups from /proc, late-frame bursts,
// the medians of several rounds and the station's ratios to the bare answer.
#include <QByteArray>
#include <QElapsedTimer>
#include <QString>

#include <array>
#include <atomic>
#include <map>
#include <thread>
#include <vector>

namespace tarvek::bench {

// What the bench watches of one program while it serves the engines.
struct Row {
    QString name;
    double cyclesPerSecond = 0;
    double ofLimit = 0;
    double minEngineOfLimit = 0;
    double median = 0, p99 = 0, max = 0;
    double cpuPercent = 0;
    double peakMb = 0;
    double wakeupsPerCycle = 0;
    std::size_t frames = 0;
    std::vector<double> simulatorShare; // the frame's line time, then the whole next reply
    // Frames more than kLateMs over the median, and the bursts they came in: frames of several
    // engines late together were held up by something they share (the machine), not by one link.
    std::size_t lateFrames = 0;
    int lateBursts = 0;
    int widestBurst = 0; // engines late in the widest burst
    std::vector<qint64> burstAtNs; // when the first late frame of each burst arrived
    // How quiet the machine was: the time its host ran something else while its CPUs had work
    // (steal, all CPUs), and the time the program's answering thread waited for a CPU of the machine.
    double stealMs = 0;
    double waitedMs = 0;
    // The bursts with steal in the kStealLookNs before them, and the share of all moments of the
    // run with steal in as long before them: much more of the first than of the second tells
    // that the host's steal held the frames up.
    int burstsAfterSteal = 0;
    double momentsAfterSteal = 0;
    // The turnaround of the frames with no steal in the kStealLookNs before them: the program on
    // a quiet machine, as near as a shared one gives it.
    std::size_t quietFrames = 0;
    double quietMedian = 0, quietP99 = 0, quietMax = 0;
    // Under callgrind: the instructions the program ran in the measured seconds, -1 otherwise.
    double instructions = -1;
    // How late the machine woke the bench's wake probe while the program ran, in ms.
    double probeMedian = 0, probeP99 = 0, probeMax = 0;
    QString profile; // where its callgrind dump was kept, for callgrind_annotate
    // The program's own count of its deadlines at its end (the station's frames and rests, the bare
    // answer's frames): met more than 0.3 ms late because the machine woke it late, or because
    // its own work held it up (the bare answer does none worth telling apart). -1: not told.
    long long deadlinesTold = -1;
    long long wokeLate = 0, heldByWork = 0;
    double latestWokeMs = 0, longestHeldMs = 0;
    // Each turnaround in its three parts, by the program's own moments (the station's from its
    // recorder's files): from the reply's end to the program's read of its last piece, from that
    // read to the frame's write, and from the write to the simulator's read of the frame, in ms.
    std::vector<double> toReadMs, toWriteMs, toSimulatorMs;
};

// Reads a program's own count of its deadlines from what it printed at its end into the row.
void readDeadlines(Row& r, const QByteArray& report);

// When a program read replies (each piece, or only a reply's last) and wrote each frame, per
// engine, in order, in nanoseconds of the monotonic clock.
struct ProgramMoments {
    std::array<std::vector<qint64>, 6> read, written;
};
// The bare answer's, from the file it wrote at its end: the read that made each reply whole.
ProgramMoments bareMoments(const QString& file);
// The station's, from the files of its recorder in this folder: each piece it took, each frame.
ProgramMoments recordedMoments(const QString& folder);
// Now on the clock the programs stamp their moments by.
qint64 monotonicNs();

// The host's steal (hostStealMs) as the bench samples it every kStealSampleMs.
struct StealSample {
    qint64 atNs;
    double stealMs;
};
constexpr int kStealSampleMs = 25;
constexpr qint64 kStealLookNs = 100'000'000;

constexpr double kLateMs = 1.0;
constexpr qint64 kBurstGapNs = 10'000'000; // late frames this close together are one burst

struct EngineFigures {
    // On the monotonic clock, which the programs stamp their own moments by: the end of the reply
    // now out (the turnaround runs from it), and for each frame of the window its reply's end and
    // its own arrival.
    qint64 replyEndNs = 0;
    std::vector<std::pair<qint64, qint64>> replyEndAndFrameNs;
    bool replyOut = false;
    std::vector<double> turnaroundMs;
    std::vector<qint64> frameAtNs; // when each of those frames arrived
    std::vector<double> frameToReplyMs; // the frame's line time, then the whole next reply
    QElapsedTimer sinceFrame;
    int cycles = 0;
    // The first and the last frame of the window: the rate is taken between them, so it is not
    // off by the part of a cycle the window cut at either end (a whole cycle is 0.4 % of 30 s).
    qint64 firstFrameNs = 0;
    qint64 lastFrameNs = 0;
    double rate() const
    {
        return cycles > 1 && lastFrameNs > firstFrameNs ? (cycles - 1) * 1e9 / static_cast<double>(lastFrameNs - firstFrameNs) : 0.0;
    }
};

// What the scheduler counts, to the nanosecond (utime and stime in /proc/<pid>/stat are clock
// ticks by sampling, which over half a minute of a program that runs in bursts of microseconds is
// off by a tenth or more): the time each thread has run, by thread id, and the time the main
// thread, the one that answers, was ready to run but waited for a CPU.
struct ThreadTimes {
    std::map<QString, qint64> ranNs;
    qint64 mainWaitedNs = 0;
};
ThreadTimes threadTimes(qint64 pid);

// CPU seconds run between two looks; a thread that ended in between is not counted.
double cpuSeconds(const ThreadTimes& before, const ThreadTimes& after);

long statusField(const QString& statusFile, const QByteArray& name);

// The instructions counted in a callgrind dump ("summary:"), -1 without one.
double callgrindSummary(const QString& file);
// The time the host gave the machine's CPUs to others while they had work, in milliseconds.
double hostStealMs();

// Each time a thread sleeps and is woken again costs a poll and a switch: counted over all threads.
long wakeups(qint64 pid);

// A thread of the bench's own that sleeps 30 ms at a time to a deadline, as a program does
// between a reply and its frame, and notes how late the machine wakes it: what any program that
// sleeps to its deadline pays on this machine, whatever it does itself.
class WakeProbe {
public:
    void start();
    // The lateness of each wake since start(), in ms.
    std::vector<double> stop();
    ~WakeProbe() { stop(); }

private:
    std::thread thread_;
    std::atomic<bool> stopping_{false};
    std::vector<double> lateMs_;
};

double percentile(std::vector<double> v, double p);
// The middle value, or the mean of the two middle ones.
double medianOf(std::vector<double> v);

double mean(const std::vector<double>& v);

// Counts the frames late by more than kLateMs over the median and groups them into bursts.
void countLate(Row& r, const std::array<EngineFigures, 6>& figures);
// The bursts and the moments after steal, and the figures of the frames after none.
void lookAtSteal(Row& r, const std::vector<StealSample>& samples, const std::array<EngineFigures, 6>& figures);

// Splits each turnaround of the window into the row's three parts; a frame whose reply the
// program's moments do not show (a file cut short, a reply taken before the window) is left out.
void splitTurnarounds(Row& r, const std::array<EngineFigures, 6>& figures, const ProgramMoments& moments);

void printRow(const Row& r);
// The program's own count of its late deadlines and its turnaround in parts, where it has them.
void printOwnCounts(const Row& r);
// Each figure the median of the rows' (the peak memory their highest).
Row medianRow(const std::vector<const Row*>& rows, const QString& name);

// The station against the bare answer of its own round.
struct Against {
    double rate, p99, max, median, cpu;
    Against(const Row& b, const Row& s)
        : rate(b.cyclesPerSecond > 0 ? s.cyclesPerSecond / b.cyclesPerSecond : 0.0), p99(s.p99 - b.p99),
          max(s.max - b.max), median(s.median - b.median), cpu(b.cpuPercent > 0 ? s.cpuPercent / b.cpuPercent : 0.0)
    {
    }
    void print(const char* what) const;
};
// The median of each ratio and difference of the rounds.
Against medianOf(const std::vector<Against>& rounds);

} // namespace tarvek::bench
