// The recorder: what passes the links comes back from its files, one file an hour within the
// limits, through a full disk and out of a file cut short; tshark names the fields.
#include "protocol/codec.h"
#include "recorder/recorder.h"
#include "recorder/recording_reader.h"
#include "test_registry.h"
#include "test_support.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

#include <random>

using namespace tarvek;
using namespace tarvek::recording;

namespace {
// A clock the test moves, from a time of 2026-11-24 UTC.
struct TestTime {
    explicit TestTime(QTime start) : wallUs(QDateTime(QDate(2026, 11, 24), start, QTimeZone::utc()).toMSecsSinceEpoch() * 1000) {}
    std::int64_t wallUs;
    std::int64_t monotonicUs = 5'000'000;
    void advanceMs(int ms)
    {
        wallUs += ms * 1000;
        monotonicUs += ms * 1000;
    }
    Recorder::TimeSource source()
    {
        return [this] { return Recorder::Stamp{wallUs, monotonicUs}; };
    }
};

std::string reply(int phase, int fault, int value)
{
    std::array<int, kReplyFields> f{};
    f[pos::Phase] = phase;
    f[pos::FaultCode] = fault;
    f[pos::Mat] = value;
    f[pos::Sync] = kSyncValue;
    return encodeReply(f);
}

std::string frame(int run)
{
    std::string f(kFrameLength, '\0');
    f[pos::RunRequest] = static_cast<char>(run);
    f[pos::Sync] = static_cast<char>(kSyncValue);
    f[32] = '\r';
    f[33] = '\n';
    return f;
}

struct Passed {
    int engine;
    int direction;
    bool quiet;
    std::string bytes;
};

// One cycle of an engine: its reply (in two reads every other time), the line quiet, the frame
// that answers it.
void cycle(Recorder& r, TestTime& t, std::vector<Passed>& passed, int engine, int i)
{
    const std::string text = reply(5, i % 7, i);
    const std::size_t first = i % 2 ? 70 : text.size();
    r.passed(engine, TraceDirection::In, std::string_view(text).substr(0, first));
    passed.push_back({engine, kDirectionIn, false, text.substr(0, first)});
    t.advanceMs(40);
    if (first < text.size()) {
        r.passed(engine, TraceDirection::In, std::string_view(text).substr(first));
        passed.push_back({engine, kDirectionIn, false, text.substr(first)});
    }
    r.lineQuiet(engine);
    passed.push_back({engine, kDirectionIn, true, {}});
    t.advanceMs(30);
    const std::string f = frame(i % 3);
    r.passed(engine, TraceDirection::Out, f);
    passed.push_back({engine, kDirectionOut, false, f});
    t.advanceMs(50);
}

// The first `count` records of the file are the first passed.
bool sameRecords(const RecordingFile& file, const std::vector<Passed>& passed, std::size_t count)
{
    if (file.records.size() < count || count > passed.size())
        return false;
    for (std::size_t i = 0; i < count; ++i) {
        const auto& e = file.records[i];
        if (e.engine != passed[i].engine || e.direction != passed[i].direction || e.quiet != passed[i].quiet
            || file.bytes(e) != passed[i].bytes || (i > 0 && e.timeUs < file.records[i - 1].timeUs))
            return false;
    }
    return true;
}
} // namespace

class RecorderTest : public QObject {
    Q_OBJECT
private slots:
    // Every read, quiet line and frame comes back in order with its engine, direction and time, from
    // the file being written (a kill leaves it so), from the closed file, and from a copy cut short;
    // a damaged or foreign file says which file and where it stopped. tshark names the fields.
    void whatPassedComesBack()
    {
        QTemporaryDir dir;
        TestTime time(QTime(18, 30, 0));
        std::vector<Passed> passed;
        QString path;
        {
            Recorder recorder(dir.filePath("Recorder"), RecorderLimits{}, time.source());
            for (int i = 0; i < 60; ++i) {
                cycle(recorder, time, passed, 1 + i % 3, i);
                if (i % 10 == 9)
                    recorder.sync(); // a second's flush
            }
            recorder.sync();
            const QStringList files = recordingFiles(dir.path());
            QCOMPARE(files.size(), 1);
            path = files.front();
            QCOMPARE(QFileInfo(path).fileName(), QStringLiteral("2026-11-24T18-30-00Z.pcapng.zst"));
            const RecordingFile open = readRecording(path);
            QCOMPARE(open.records.size(), passed.size());
            QVERIFY(sameRecords(open, passed, passed.size()));
            QVERIFY2(open.problem.contains("ends without its closing"), qPrintable(open.problem));
            QCOMPARE(open.records.front().wallUs,
                     QDateTime(QDate(2026, 11, 24), QTime(18, 30, 0), QTimeZone::utc()).toMSecsSinceEpoch() * 1000);
        }
        const RecordingFile closed = readRecording(path);
        QVERIFY2(closed.problem.isEmpty(), qPrintable(closed.problem));
        QCOMPARE(closed.records.size(), passed.size());
        QVERIFY(sameRecords(closed, passed, passed.size()));

        const QByteArray bytes = test::readBytes(path);
        const QString cut = dir.filePath("cut.pcapng.zst");
        test::writeBytes(cut, bytes.left(bytes.size() * 2 / 3));
        const RecordingFile shortened = readRecording(cut);
        QVERIFY(shortened.records.size() > 10 && shortened.records.size() < passed.size());
        QVERIFY(sameRecords(shortened, passed, shortened.records.size()));
        QVERIFY2(shortened.problem.contains("cut.pcapng.zst") && shortened.problem.contains("played up to "),
                 qPrintable(shortened.problem));

        QByteArray spoilt = bytes;
        for (qsizetype i = bytes.size() / 2; i < bytes.size() / 2 + 16; ++i)
            spoilt[i] = char(~spoilt[i]);
        test::writeBytes(dir.filePath("spoilt.pcapng.zst"), spoilt);
        const RecordingFile damaged = readRecording(dir.filePath("spoilt.pcapng.zst"));
        QVERIFY2(damaged.problem.contains("spoilt.pcapng.zst: damaged near byte"), qPrintable(damaged.problem));
        QVERIFY(sameRecords(damaged, passed, 30)); // the second's flush before the damage is whole

        test::writeBytes(dir.filePath("notes.pcapng.zst"), "notes of the night shift\n");
        const RecordingFile foreign = readRecording(dir.filePath("notes.pcapng.zst"));
        QVERIFY(foreign.records.empty());
        QVERIFY2(foreign.problem.contains("notes.pcapng.zst: not a recording of this station"), qPrintable(foreign.problem));

        // tshark reads the compressed file as it is; the dissector names the reply's and frame's fields.
        QProcess tshark;
        tshark.start("tshark", {"-X", "lua_script:" TARVEK_SOURCE_DIR "/packaging/tarvek.lua", "-r", path, "-T", "fields",
                                "-E", "separator=,", "-e", "tarvek.engine", "-e", "tarvek.direction", "-e",
                                "tarvek.reply.fault_code", "-e", "tarvek.reply.mat", "-e", "tarvek.frame.run_command",
                                "-Y", "tarvek.reply.phase == 5 || tarvek.direction == 1"});
        QVERIFY2(tshark.waitForFinished(60'000) && tshark.exitCode() == 0,
                 qPrintable("tshark (scripts/deps.sh --tests installs it): " + tshark.errorString() + tshark.readAllStandardError()));
        const QStringList rows = QString::fromUtf8(tshark.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(rows.size(), 60 + 30); // every frame, and the replies read whole
        QVERIFY(rows.contains("3,0,4,32,"));                               // LE3 fault 4, MAT 32
        QCOMPARE(rows.filter(QRegularExpression("^2,1,,,1$")).size(), 20); // LE2's frames carry run request 1
        QCOMPARE(rows.filter(QRegularExpression("^1,1,,,0$")).size(), 20);
    }

    // A file an hour, named by its start in UTC; the oldest go first beyond the days or the size.
    void oneFileAnHourWithinTheLimits()
    {
        QTemporaryDir dir;
        const QString folder = dir.filePath("Recorder");
        QDir().mkpath(folder);
        const auto oldFile = [&](const QString& name, int kilobytes, const QDateTime& modified) {
            QFile f(QDir(folder).filePath(name));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(QByteArray(kilobytes * 1024, 'x'));
            QVERIFY(f.setFileTime(modified, QFileDevice::FileModificationTime));
        };
        const QDateTime now = QDateTime::currentDateTime();
        oldFile("2026-09-01T00-00-00Z.pcapng.zst", 1, now.addDays(-40));
        oldFile("2026-11-20T10-00-00Z.pcapng.zst", 1500, now.addDays(-4));
        oldFile("2026-11-20T11-00-00Z.pcapng.zst", 800, now.addDays(-4));
        TestTime time(QTime(18, 59, 58));
        std::vector<Passed> passed;
        {
            Recorder recorder(folder, RecorderLimits{30, 2}, time.source());
            for (int i = 0; i < 20; ++i) // 18:59:58 to 19:00:00.4
                cycle(recorder, time, passed, 4, i);
        }
        QCOMPARE(QDir(folder).entryList(QDir::Files),
                 QStringList({"2026-11-20T11-00-00Z.pcapng.zst", "2026-11-24T18-59-58Z.pcapng.zst",
                              "2026-11-24T19-00-00Z.pcapng.zst"}));
        const RecordingFile before = readRecording(QDir(folder).filePath("2026-11-24T18-59-58Z.pcapng.zst"));
        const RecordingFile after = readRecording(QDir(folder).filePath("2026-11-24T19-00-00Z.pcapng.zst"));
        QVERIFY(before.problem.isEmpty() && after.problem.isEmpty());
        QCOMPARE(before.records.size() + after.records.size(), passed.size());
        QVERIFY(before.lastUs() < after.firstUs());
        QCOMPARE(QDateTime::fromMSecsSinceEpoch(after.records.front().wallUs / 1000, QTimeZone::utc()).time().hour(), 19);
    }

    // A full disk is told once; what came meanwhile is written once there is room, nothing lost.
    void fullDiskIsToldOnceAndRecordingResumes()
    {
        test::FullDisk disk;
        if (!disk.ok())
            QSKIP(qPrintable(disk.why()));
        TestTime time(QTime(7, 0, 0));
        std::vector<Passed> passed;
        QString path;
        {
            Recorder recorder(disk.path() + "/Recorder", RecorderLimits{}, time.source());
            QSignalSpy notices(&recorder, &Recorder::notice);
            cycle(recorder, time, passed, 2, 0);
            recorder.sync();
            disk.fill();
            std::string noise(20'000, '\0');
            std::mt19937 random(7);
            for (char& c : noise)
                c = static_cast<char>(random()); // does not compress: more than the last page holds
            for (int i = 0; i < 3; ++i) {
                recorder.passed(2, TraceDirection::In, noise);
                passed.push_back({2, kDirectionIn, false, noise});
                recorder.sync();
            }
            QTRY_COMPARE(notices.size(), 1);
            QVERIFY2(notices.front().front().toString().contains("No space left on device"),
                     qPrintable(notices.front().front().toString()));
            disk.release();
            cycle(recorder, time, passed, 2, 1);
            recorder.sync();
            QTRY_COMPARE(notices.size(), 2);
            QCOMPARE(notices.back().front().toString(), QStringLiteral("Recorder: recording again, nothing lost."));
            QCOMPARE(recorder.bytesLost(), 0u);
            path = recordingFiles(disk.path()).value(0);
        }
        const RecordingFile file = readRecording(path);
        QVERIFY2(file.problem.isEmpty(), qPrintable(file.problem));
        QCOMPARE(file.records.size(), passed.size());
        QVERIFY(sameRecords(file, passed, passed.size()));
    }
};

TARVEK_TEST(RecorderTest)
#include "tst_recorder.moc"
