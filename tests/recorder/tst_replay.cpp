// Replay: a recording of the simulator with faults injected, played into a station, shows what the
// live station showed; the station folder and the devices are left alone; gaps and damage are told.
#include "../app/simulated_station.h"
#include "app/replay/replay_session.h"
#include "protocol/codec.h"
#include "recorder/recorder.h"
#include "recorder/recording_reader.h"
#include "recorder/replay_player.h"
#include "recorder/replay_view.h"
#include "test_registry.h"

#include <QComboBox>
#include <QDirIterator>
#include <QLabel>
#include <QListWidget>
#include <QMainWindow>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>
#include <QToolButton>

#include <fcntl.h>
#include <functional>
#include <unistd.h>

using namespace tarvek;
using namespace tarvek::recording;

namespace {
constexpr int kWaitMs = 30'000;

// An event line as its time of day in seconds and its text.
struct Line {
    int second = 0;
    QString text;
};

struct Seen {
    QList<Line> events;
    QList<AlarmEntry> alarms; // oldest first
    bool ended = false;
    quint64 compared = 0;
    QStringList differences;
};

Seen seen(const Station& station)
{
    static const QRegularExpression stamp(QStringLiteral("^.*?(\\d{1,2}):(\\d{2}):(\\d{2})\\s*(.*)$"));
    Seen s;
    for (const QString& e : station.events()) {
        const auto m = stamp.match(e);
        s.events << (m.hasMatch() ? Line{m.captured(1).toInt() * 3600 + m.captured(2).toInt() * 60 + m.captured(3).toInt(), m.captured(4)}
                                  : Line{-1, e});
    }
    const auto& entries = const_cast<Station&>(station).alarmSupervision().summary().entries();
    for (auto it = entries.rbegin(); it != entries.rend(); ++it)
        s.alarms << *it;
    return s;
}

QStringList texts(const QList<Line>& lines)
{
    QStringList t;
    for (const Line& l : lines)
        t << l.text;
    return t;
}

QStringList alarmTexts(const QList<AlarmEntry>& alarms)
{
    QStringList t;
    for (const AlarmEntry& a : alarms)
        t << QStringLiteral("LE%1 %2 %3 %4 %5").arg(a.engine).arg(int(a.source)).arg(a.code).arg(a.text).arg(a.holds());
    return t;
}

// The recording of `folder` played into a station on a copy of that folder, as --replay does.
Seen replay(const QString& folder, int speed, const std::function<void(ReplayPlayer&, Station&)>& meanwhile = {})
{
    ReplayView view(folder, QString());
    ReplayPlayer player(recordingFiles(folder), std::nullopt, speed);
    Station station(view.folder(), QString(), player.clock());
    player.attach(station.link(), station);
    QObject::connect(&station, &Station::startupFinished, &player, &ReplayPlayer::start);
    QSignalSpy ended(&player, &ReplayPlayer::endedPlaying);
    station.load();
    if (meanwhile)
        meanwhile(player, station);
    const bool over = ended.wait(kWaitMs) || !ended.isEmpty();
    const Seen shown = seen(station);
    return Seen{shown.events, shown.alarms, over, player.frames().compared(), player.frames().differences()};
}

// Every file below a folder with its bytes, and every folder.
QMap<QString, QByteArray> contents(const QString& folder)
{
    QMap<QString, QByteArray> all;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        all.insert(QDir(folder).relativeFilePath(path), it.fileInfo().isDir() ? QByteArray("folder") : test::readBytes(path));
    }
    return all;
}

// Six engines' replies for `seconds` from `start` (UTC), LE1 running with fault `fault` from
// `faultFrom` seconds on, into a recorder.
void record(const QString& folder, QTime start, int seconds, int fault, int faultFrom = 1)
{
    std::int64_t wall = QDateTime(QDate(2026, 11, 24), start, QTimeZone::utc()).toMSecsSinceEpoch() * 1000, mono = 0;
    Recorder recorder(folder, RecorderLimits{}, [&] { return Recorder::Stamp{wall, mono}; });
    for (int i = 0; i < seconds * 8; ++i) {
        for (int n = 1; n <= 6; ++n) {
            std::array<int, kReplyFields> f{};
            f[pos::Phase] = n == 1 ? 5 : 0;
            f[pos::FaultCode] = n == 1 && i >= faultFrom * 8 ? fault : 0;
            f[pos::Mat] = 20 + i % 5;
            f[pos::Sync] = kSyncValue;
            recorder.passed(n, TraceDirection::In, encodeReply(f));
        }
        wall += 125'000;
        mono += 125'000;
        if (i % 8 == 7)
            recorder.sync(); // a second's flush
    }
}
} // namespace

class ReplayTest : public QObject {
    Q_OBJECT
private slots:
    // LE1 and LE3 started, a fault on LE3, LE2 silent for a while: the replay at 1x lists the same
    // events with the same times apart and the same alarms, and sends the frames the station sent
    // except those the operator's presses made; at 10x, paused for longer than a loss takes, the
    // same events come in the same order.
    void replayShowsWhatTheLiveStationShowed()
    {
        SimulatedEngines engines;
        QVERIFY(engines.start(true));
        engines.shortenStarts();
        SystemClock clock;
        Seen live;
        {
            Recorder recorder(engines.folder + "/Recorder", RecorderLimits{});
            Station station(engines.folder, QString(), clock);
            station.link().setByteTap(&recorder);
            station.load();
            const auto all = [&](LinkState state) {
                return QTest::qWaitFor([&] {
                    for (int n = 1; n <= 6; ++n)
                        if (station.linkState(n) != state)
                            return false;
                    return true;
                }, kWaitMs);
            };
            QVERIFY(all(LinkState::Yes));
            QVERIFY(station.logIn("harvests"));
            station.engineOperation().press(1);
            station.engineOperation().press(3);
            QVERIFY(QTest::qWaitFor([&] { return station.tables().at(0).Phase == 5 && station.tables().at(2).Phase == 5; }, kWaitMs));
            engines.model(3).setFaultCode(7);
            QVERIFY(QTest::qWaitFor([&] { return station.alarmSupervision().summary().activeCount() == 1; }, kWaitMs));
            engines.model(2).setSilent(true);
            QVERIFY(QTest::qWaitFor([&] { return station.linkState(2) == LinkState::Lost; }, kWaitMs));
            QTest::qWait(3000); // a silence well beyond the 5 s a loss takes, also at 10x
            engines.model(2).setSilent(false);
            QVERIFY(all(LinkState::Yes));
            QTest::qWait(1000);
            live = seen(station);
            station.link().setByteTap(nullptr);
        }
        QVERIFY(live.events.size() >= 4); // the fault, its alarm, the loss and the return
        QVERIFY(live.alarms.size() >= 2);

        const Seen once = replay(engines.folder, 1);
        QVERIFY(once.ended);
        QCOMPARE(texts(once.events), texts(live.events));
        for (qsizetype i = 0; i < live.events.size(); ++i)
            QVERIFY2(std::abs((once.events[i].second - once.events[0].second) - (live.events[i].second - live.events[0].second)) <= 1,
                     qPrintable(live.events[i].text));
        QCOMPARE(alarmTexts(once.alarms), alarmTexts(live.alarms));
        for (qsizetype i = 0; i < live.alarms.size(); ++i)
            QVERIFY(std::abs(once.alarms[i].raised.secsTo(once.alarms[0].raised) - live.alarms[i].raised.secsTo(live.alarms[0].raised)) <= 1);
        // The presses made the only differences: the parameter read and the start of LE1 and LE3.
        QVERIFY(once.compared > 100);
        QVERIFY2(!once.differences.filter(QRegularExpression("LE1  .*position 2 \\(run request\\) recorded 1, sent 0")).isEmpty(),
                 qPrintable(once.differences.join('\n')));
        QVERIFY2(once.differences.filter(QRegularExpression("LE[2456]  ")).isEmpty(), qPrintable(once.differences.join('\n')));

        bool pauseHeld = false;
        const Seen fast = replay(engines.folder, 10, [&pauseHeld](ReplayPlayer& player, Station& station) {
            if (!QTest::qWaitFor([&] { return station.linkState(1) == LinkState::Yes; }, kWaitMs))
                return;
            player.pause();
            const QStringList before = station.events();
            QTest::qWait(1500); // 15 recorded seconds at 10x
            pauseHeld = station.events() == before && station.linkState(1) == LinkState::Yes;
            player.resume();
        });
        QVERIFY(fast.ended);
        QVERIFY(pauseHeld);
        QCOMPARE(texts(fast.events), texts(live.events));
        QCOMPARE(alarmTexts(fast.alarms), alarmTexts(live.alarms));
        // At 60x a busy machine may tick the watchdog too late for a short loss; the events that
        // come are in the live order, and none is added at the end.
        const QStringList fastest = texts(replay(engines.folder, 60).events);
        qsizetype at = 0;
        for (const QString& line : texts(live.events))
            at += at < fastest.size() && fastest[at] == line;
        QVERIFY2(at == fastest.size() && !fastest.isEmpty(), qPrintable(fastest.join('\n')));
    }

    // The station program records what its port carries. --replay of a station folder with a gap
    // and a damaged file: the gap is skipped and said, the damaged file named with where it
    // stopped, no byte of the folder changes and no device is written to.
    void replayOfAFolderLeavesItAsItWas()
    {
        QTemporaryDir dir;
        const QString folder = dir.filePath("station");
        QDir().mkpath(folder + "/Recorder");
        record(folder + "/Recorder", QTime(9, 0, 0), 10, 7);
        record(folder + "/Recorder", QTime(9, 2, 0), 5, 0); // the station was off in between
        record(dir.filePath("spare"), QTime(9, 3, 0), 5, 4);
        const QString spare = recordingFiles(dir.filePath("spare")).value(0);
        QByteArray damaged = test::readBytes(spare);
        for (qsizetype i = damaged.size() / 2; i < damaged.size(); ++i)
            damaged[i] = char(i * 7);
        test::writeBytes(folder + "/Recorder/" + QFileInfo(spare).fileName(), damaged);
        // COM1 is a pseudo-terminal: whatever the replay wrote to it would be waiting here.
        const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
        QVERIFY(master >= 0 && ::grantpt(master) == 0 && ::unlockpt(master) == 0);
        test::writeBytes(folder + "/ComDevices.ini", QByteArray(::ptsname(master)) + "\r\n");
        test::writeBytes(folder + "/ParamComx.ini", "\"1\"\r\n\"1\"\r\n");
        test::writeBytes(folder + "/Histo.txt", "  08:00:00    24 Nov 2026    000    Start LE 1\r\n");

        // First the station program live on that port: it records the replies it reads and the frames
        // it sends, and its file is closed whole when it ends.
        const QString live = dir.filePath("live");
        QDir().mkpath(live);
        for (const char* name : {"/ComDevices.ini", "/ParamComx.ini"})
            QFile::copy(folder + name, live + name);
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_QPA_PLATFORM", "offscreen");
        QProcess station;
        station.setProcessEnvironment(environment);
        station.start(TARVEK_BINARY_DIR "/src/app/tarvek-station", {"--folder", live, "--no-historian", "--quit-after", "3"});
        std::array<int, kReplyFields> fields{};
        fields[pos::Sync] = kSyncValue;
        const std::string reply = encodeReply(fields);
        char drain[512];
        while (!station.waitForFinished(150)) {
            QVERIFY(::write(master, reply.data(), reply.size()) == ssize_t(reply.size()));
            while (::read(master, drain, sizeof drain) > 0) {
            }
        }
        const RecordingFile recorded = readRecording(recordingFiles(live).value(0));
        QVERIFY2(recorded.problem.isEmpty() && !recorded.records.empty(), qPrintable(recorded.problem));
        const auto frame = std::find_if(recorded.records.begin(), recorded.records.end(),
                                        [](const auto& e) { return e.direction == kDirectionOut; });
        QVERIFY(frame != recorded.records.end() && frame->engine == 1 && frame->length == kFrameLength);
        std::string before;
        for (auto e = recorded.records.begin(); e != frame; ++e)
            before += recorded.bytes(*e);
        QCOMPARE(before, reply); // what came before the first frame, read by read
        while (::read(master, drain, sizeof drain) > 0) {
        }

        const auto untouched = contents(folder);
        station.start(TARVEK_BINARY_DIR "/src/app/tarvek-station",
                      {"--folder", folder, "--replay", folder, "--speed", "60", "--quit-after", "6"});
        QVERIFY(station.waitForFinished(kWaitMs));
        const QString err = QString::fromLocal8Bit(station.readAllStandardError());
        const QString out = QString::fromLocal8Bit(station.readAllStandardOutput());
        QCOMPARE(station.exitCode(), 0);
        QVERIFY2(err.contains(QRegularExpression("Nothing recorded from 2026-11-24 \\d\\d:\\d\\d:09.875 to 2026-11-24 \\d\\d:\\d\\d:00.000 "
                                                 "\\(the station was off\\): skipped")),
                 qPrintable(err));
        QVERIFY2(err.contains(QRegularExpression("2026-11-24T09-03-00Z.pcapng.zst: damaged near byte \\d+ of \\d+ .*; played up to "
                                                 "2026-11-24 \\d\\d:\\d\\d:0")),
                 qPrintable(err));
        QVERIFY2(err.contains("End of the recording at"), qPrintable(err));
        QVERIFY2(out.contains("frames compared with the recording"), qPrintable(out));
        QCOMPARE(contents(folder), untouched);
        char c;
        QCOMPARE(::read(master, &c, 1), -1);
        ::close(master);
    }

    // The bar drives the replay: Pause becomes Play and Play goes on (what a pause holds is checked
    // at 10x above), "Next event" goes to shortly before LE1's fault, the speed list sets the pace,
    // the differences open as a list; the title says it is a replay.
    void theBarDrivesTheReplay()
    {
        QTemporaryDir dir;
        record(dir.filePath("Recorder"), QTime(9, 0, 0), 40, 7, 30);
        ReplaySession session(dir.path(), dir.filePath("station"), QString(), std::nullopt, 1);
        Station station(session.folder(), QString(), session.clock());
        session.attach(station);
        QMainWindow window;
        session.showIn(window, station);
        station.load();
        QVERIFY(window.windowTitle().contains("REPLAY of "));
        QVERIFY(QTest::qWaitFor([&] { return station.linkState(1) == LinkState::Yes; }, kWaitMs));
        auto* time = window.findChild<QLabel*>("ReplayTime");
        auto* pause = window.findChild<QToolButton*>("ReplayPause");
        pause->click();
        QCOMPARE(pause->text(), QStringLiteral("Play"));
        const QString held = time->text();
        pause->click();
        QVERIFY(QTest::qWaitFor([&] { return time->text() != held; }, kWaitMs));

        const std::int64_t fault = QDateTime(QDate(2026, 11, 24), QTime(9, 0, 30), QTimeZone::utc()).toMSecsSinceEpoch() * 1000;
        const auto events = session.player().events();
        QCOMPARE(events.size(), std::size_t(1)); // the only one of the file
        QCOMPARE(events.front().text, QStringLiteral("LE1 fault 7"));
        window.findChild<QToolButton*>("ReplayNextEvent")->click();
        QVERIFY(std::abs(session.player().positionUs() - (fault - ReplayPlayer::kEventLeadUs)) < 500'000);
        const QString faultText = station.faultText(7).trimmed();
        QVERIFY(station.events().filter(faultText).isEmpty());
        auto* speed = window.findChild<QComboBox*>("ReplaySpeed");
        speed->setCurrentIndex(speed->findText("10x"));
        emit speed->activated(speed->currentIndex());
        QCOMPARE(session.player().speed(), 10);
        QVERIFY(QTest::qWaitFor([&] { return !station.events().filter(faultText).isEmpty(); }, kWaitMs));

        window.findChild<QToolButton*>("ReplayDifferences")->click();
        auto* list = window.findChild<QListWidget*>("ReplayDifferenceLines");
        QVERIFY(list && list->count() >= 1);
        QVERIFY2(list->item(0)->text().contains("this station sent a frame; none was recorded"), qPrintable(list->item(0)->text()));
    }
};

TARVEK_TEST(ReplayTest)
#include "tst_replay.moc"
