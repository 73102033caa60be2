#include "station/station.h"
#include "test_registry.h"
#include "test_support.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tarvek;
using tarvek::test::readBytes;
using tarvek::test::writeBytes;

namespace {
constexpr int kWaitMs = 10'000;

bool waitStartedUp(Station& s)
{
    if (s.startedUp())
        return true;
    QSignalSpy done(&s, &Station::startupFinished);
    return done.wait(kWaitMs);
}

// A station on a fresh folder, loaded; start() waits for its start-up to finish.
struct Started {
    QTemporaryDir dir;
    ManualClock clock;
    Station s{dir.path(), {}, clock};
    bool start()
    {
        s.load();
        return waitStartedUp(s);
    }
};
} // namespace

class StationTest : public QObject {
    Q_OBJECT
private slots:
    void startUpRunsItsStepsInOrder()
    {
        QTemporaryDir dir;
        writeBytes(dir.filePath("ConsignePW.ini"), "70\r\n 80\r\n140\r\n20\r\n50\r\n130\r\n");
        ManualClock clock;
        Station s(dir.path(), {}, clock);
        QStringList order;
        connect(&s, &Station::selectedCaptionChanged, this, [&](const QString& c) { order << "caption:" + c; });
        connect(&s, &Station::titleChanged, this, [&](const QString&) { order << "title"; });
        connect(&s, &Station::formSizeRequested, this, [&](int w, int h) { order << QString("size:%1x%2").arg(w).arg(h); });
        connect(&s, &Station::eventsCleared, this, [&] { order << "List4 cleared"; });
        connect(&s, &Station::softwareSettingsChanged, this, [&] { order << "settings"; });
        connect(&s, &Station::functionKeyMarkerChanged, this, [&](const QString& m) { order << "key:" + m; });
        connect(&s, &Station::powerSetPointsLoaded, this, [&] { order << "power"; });
        connect(&s, &Station::portsRequested, this, [&] {
            order << "ports";
            // The records have their initial values before the ports open.
            QCOMPARE(s.engineStatusText(5), QString("Status = 16"));
            QVERIFY(!s.displayTimer()->isActive());
        });
        connect(&s, &Station::startupFinished, this, [&] { order << "done"; });

        QVERIFY(s.title().endsWith(" 1.08G)")); // a window made before the start-up shows it too
        auto* timer1 = s.findChild<QTimer*>("Timer1");
        QVERIFY(timer1);
        QVERIFY(!timer1->isActive());
        s.load();
        QVERIFY(timer1->isActive());
        QVERIFY(timer1->isSingleShot());
        QVERIFY(QDir(dir.filePath("Img")).exists());
        QVERIFY(QDir(dir.filePath("Datalogger")).exists());
        QVERIFY(!QFile::exists(dir.filePath("NS.ini"))); // files wait for the first tick
        QVERIFY(waitStartedUp(s));

        QCOMPARE(order, (QStringList{"caption:Selected LE = ", "title", "size:12900x10920", "List4 cleared",
                                     "settings", "caption:Selected LE = ?", "key:F1", "power", "ports",
                                     "done"}));
        QCOMPARE(s.version(), QString(" 1.08G"));
        QCOMPARE(s.title(), QString("  Tarvek Light Engine Control (RS232)         (PC version  1.08G)"));
        for (const auto& file : SettingsFiles::index())
            if (file.createdAtStart)
                QVERIFY2(QFile::exists(s.files().pathOf(file.name)), qPrintable(file.name));
        QVERIFY(!QFile::exists(s.files().pathOf(SoftwareSettings::kFileName)));
        const std::array<int, 6> power{70, 80, 130, 30, 50, 130}; // kept within 30..130
        for (int i = 0; i < kEngines; ++i) {
            QCOMPARE(int(s.tables().at(i).PowerSetPoint), power[static_cast<std::size_t>(i)]);
            QCOMPARE(s.engineMessages[static_cast<std::size_t>(i)][0], QString("Arret LE"));
            QCOMPARE(s.engineMessages[static_cast<std::size_t>(i)][20], QString(" "));
        }
        QVERIFY(s.displayTimer()->isActive());
        QCOMPARE(s.displayTimer()->objectName(), QString("Timer12"));
        QCOMPARE(s.mode(), OperatingMode::NotLoggedIn);
        QCOMPARE(int(s.alarms.stopAlarmSeconds), 20);
        QVERIFY(!timer1->isActive());
    }

    void textTablesAreLoaded_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("text");
        QTest::newRow("0") << 0 << "Arret LE";
        QTest::newRow("7 degree sign") << 7 << QString::fromUtf8("Temp. Magnetron > 50 \u00B0C FADEC internal");
        QTest::newRow("9 trailing blank") << 9 << "Motor M - speed > 4,000 RPM ";
        QTest::newRow("18") << 18 << "Stop activated";
        QTest::newRow("20 single blank") << 20 << " ";
        QTest::newRow("21 empty") << 21 << "";
        QTest::newRow("65 empty") << 65 << "";
    }
    void textTablesAreLoaded()
    {
        QFETCH(int, code);
        QFETCH(QString, text);
        Started started;
        QVERIFY(started.start());
        Station& s = started.s;
        QCOMPARE(s.faultText(code), text);
        QVERIFY_THROWS_EXCEPTION(std::out_of_range, s.faultText(66));
        QCOMPARE(s.portEventTexts()[0], QString("A break interrupt signal was received"));
        QCOMPARE(s.portEventTexts()[12], QString("Change in pin DSR (reception)"));
    }

    void logIn_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("userOption");
        QTest::addColumn<bool>("serviceOption");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("caption");
        QTest::addColumn<bool>("functions");
        QTest::addColumn<bool>("quit");
        const QString design = "Start in Mode (Password)";
        QTest::newRow("user lower") << "harvests" << true << true << 0 << "Start in Service Mode" << true << false;
        QTest::newRow("user upper") << "HARVESTS" << true << true << 0 << "Start in Service Mode" << true << false;
        QTest::newRow("user mixed") << "hArVeStS" << true << true << 0 << "Start in Service Mode" << true << false;
        QTest::newRow("user, option clear") << "harvests" << false << true << 0 << design << false << false;
        QTest::newRow("service lower") << "dolphin" << false << true << 1 << "Start in User Mode" << true << true;
        QTest::newRow("service upper") << "DOLPHIN" << false << true << 1 << "Start in User Mode" << true << true;
        QTest::newRow("service, option clear") << "Dolphin" << true << false << 1 << "Start in User Mode" << false << false;
        QTest::newRow("wrong") << "dolphins" << true << true << 2 << design << false << false;
        QTest::newRow("empty") << "" << true << true << 2 << design << false << false;
        QTest::newRow("blank around") << " harvests" << true << true << 2 << design << false << false;
    }
    void logIn()
    {
        QFETCH(QString, password);
        QFETCH(bool, userOption);
        QFETCH(bool, serviceOption);
        QFETCH(int, mode);
        QFETCH(QString, caption);
        QFETCH(bool, functions);
        QFETCH(bool, quit);
        Started started;
        QVERIFY(started.start());
        Station& s = started.s;
        SoftwareSettings opts = s.software();
        opts.userModeOption = userOption;
        opts.serviceModeOption = serviceOption;
        s.setSoftwareSettings(opts, false);
        QSignalSpy changed(&s, &Station::modeChanged);

        QCOMPARE(s.logIn(password), mode != 2);
        QCOMPARE(int(s.mode()), mode);
        QCOMPARE(int(s.tables().mode), mode);
        QCOMPARE(s.modeMenuCaption(), caption);
        QCOMPARE(s.functionsMenuAvailable(), functions);
        QCOMPARE(s.quitAvailable(), quit);
        QCOMPARE(s.serviceMarkerShown(), mode == 1 && serviceOption);
        QCOMPARE(changed.count(), mode == 2 ? 0 : 1);
        QCOMPARE(s.findChild<QTimer*>("Timer8")->isActive(), mode == 1);
    }

    void wrongPasswordKeepsTheModeItFound()
    {
        Started started;
        QVERIFY(started.start());
        Station& s = started.s;
        QVERIFY(s.logIn("dolphin"));
        QSignalSpy changed(&s, &Station::modeChanged);
        QVERIFY(!s.logIn("harvest"));
        QCOMPARE(s.mode(), OperatingMode::Service);
        QCOMPARE(s.modeMenuCaption(), QString("Start in User Mode"));
        QVERIFY(s.quitAvailable());
        QVERIFY(s.findChild<QTimer*>("Timer8")->isActive());
        QCOMPARE(changed.count(), 0);
    }

    void logInFileIsCreatedAndReadOnEveryAttempt()
    {
        QTemporaryDir dir;
        const QString loginFile = dir.filePath("etc/Name.inc");
        ManualClock clock;
        Station s(dir.path(), loginFile, clock);
        s.load();
        QVERIFY(waitStartedUp(s));
        QCOMPARE(readBytes(loginFile), QByteArray("\"harvests\"\r\n\"dolphin\"\r\n"));
        writeBytes(loginFile, "\"Open\"\r\n\"Sesame\"\r\n");
        QVERIFY(!s.logIn("harvests"));
        QVERIFY(s.logIn("OPEN"));
        QCOMPARE(s.mode(), OperatingMode::User);
        QVERIFY(s.logIn("sesame"));
        QCOMPARE(s.mode(), OperatingMode::Service);
    }

    // A password set from the station is kept hashed in its record; the other stays as it was.
    void passwordsChangedFromTheStationAreStoredHashed()
    {
        Started started;
        QVERIFY(started.start());
        Station& s = started.s;
        const QString loginFile = s.files().loginFile();
        QSignalSpy status(&s, &Station::statusText);
        QVERIFY(!s.changePassword(1, "Whale", "Whale").isEmpty()); // not in service mode
        QVERIFY(s.logIn("harvests"));
        QVERIFY(!s.changePassword(1, "Whale", "Whale").isEmpty());
        QVERIFY(s.logIn("dolphin"));
        QCOMPARE(s.changePassword(1, "Whale", "Wahle"), QString("The two entries differ."));
        QCOMPARE(s.changePassword(1, "Whale", "Whale"), QString());
        QCOMPARE(status.last().first().toString(), QString("The service password was changed"));

        const QList<QByteArray> records = readBytes(loginFile).split('\n');
        QCOMPARE(records.size(), 3); // two lines and the final line end
        QCOMPARE(records[0], QByteArray("\"harvests\"\r"));
        QVERIFY2(records[1].startsWith("\"pbkdf2-sha256$") && !records[1].toUpper().contains("WHALE"), records[1]);
        QVERIFY(!s.logIn("dolphin"));
        QVERIFY(s.logIn("WHALE"));
        QCOMPARE(s.mode(), OperatingMode::Service);
        QVERIFY(s.logIn("Harvests"));
        QCOMPARE(s.mode(), OperatingMode::User);
    }

    // A settings file that cannot be read or replaced is told once, on the status line and in
    // List4, however often the station uses it; the station goes on with what it holds.
    void settingsFaultsAreToldOnceInTheEventList()
    {
        Started started;
        QVERIFY(QDir().mkpath(started.dir.filePath("ConsignePW.ini")));
        QVERIFY(QDir().mkpath(started.dir.filePath("ParamLogStart.ini")));
        QSignalSpy status(&started.s, &Station::statusText);
        QVERIFY(started.start());
        Station& s = started.s;
        for (int i = 0; i < 3; ++i)
            QVERIFY(!s.setSoftwareSettings(s.software(), true));
        QStringList faults = s.events().filter("ConsignePW.ini");
        QCOMPARE(faults.size(), 1);
        QVERIFY2(faults[0].contains("Cannot read ") && faults[0].startsWith(started.clock.dateText()), qPrintable(faults[0]));
        faults = s.events().filter("ParamLogStart.ini"); // read at start-up, saved three times
        QCOMPARE(faults.size(), 2);
        QVERIFY2(faults[0].contains("Cannot read ") && faults[1].contains("Cannot write "), qPrintable(faults.join('\n')));
        int told = 0;
        for (const auto& args : status)
            told += args.first().toString().contains(".ini") ? 1 : 0;
        QCOMPARE(told, 3);
        QCOMPARE(s.tables().at(0).PowerSetPoint, 50);
    }

    void serviceModeTimesOutToUserMode_data()
    {
        QTest::addColumn<int>("limit");
        QTest::newRow("1") << 1;
        QTest::newRow("3") << 3;
    }
    void serviceModeTimesOutToUserMode()
    {
        QFETCH(int, limit);
        Started started;
        QVERIFY(started.start());
        Station& s = started.s;
        SoftwareSettings opts = s.software();
        opts.serviceTimeOut = limit;
        opts.userModeOption = false;
        s.setSoftwareSettings(opts, false);
        auto* timer8 = s.findChild<QTimer*>("Timer8");
        auto* timer9 = s.findChild<QTimer*>("Timer9");
        QVERIFY(timer8 && timer9);
        QCOMPARE(timer8->interval(), shell_timing::kServiceTickMs);
        QVERIFY(s.logIn("dolphin"));
        QVERIFY(s.functionsMenuAvailable());

        int ticks = 0;
        int ticksAtFallBack = -1;
        connect(timer8, &QTimer::timeout, this, [&] { ++ticks; });
        connect(&s, &Station::modeChanged, this, [&] { ticksAtFallBack = ticks; });
        QSignalSpy changed(&s, &Station::modeChanged);
        timer8->setInterval(5);
        timer8->start();
        QVERIFY(changed.wait(kWaitMs));
        // The counter starts at 1 and the mode falls back once it has passed the limit.
        QCOMPARE(ticksAtFallBack + 1, limit + 1);
        QCOMPARE(changed.takeFirst().at(0).toInt(), 0);
        QCOMPARE(s.mode(), OperatingMode::User);
        QCOMPARE(s.modeMenuCaption(), QString("Start in Service Mode"));
        QCOMPARE(s.serviceCounter(), 1);
        QVERIFY(!timer8->isActive());
        QVERIFY(!s.functionsMenuAvailable());
        QVERIFY(!s.quitAvailable());
        QVERIFY(!s.serviceMarkerShown());
    }

    void quitAsksAndNoKeepsRunning()
    {
        Started started;
        QVERIFY(started.start());
        Station& s = started.s;
        QSignalSpy asked(&s, &Station::question);
        QSignalSpy finished(&s, &Station::finished);
        s.requestQuit();
        QCOMPARE(asked.count(), 1);
        const int id = asked.at(0).at(0).toInt();
        QCOMPARE(asked.at(0).at(1).toString(), QString(" Warning!"));
        QCOMPARE(asked.at(0).at(2).toString(), QString("Are you sure you want to exit the program!"));
        s.answer(id, false);
        QCOMPARE(finished.count(), 0);
        QVERIFY(s.displayTimer()->isActive());

        s.requestQuit();
        QCOMPARE(asked.count(), 2);
        s.answer(asked.at(1).at(0).toInt(), true);
        QCOMPARE(finished.count(), 1);
        for (QTimer* t : s.findChildren<QTimer*>())
            QVERIFY2(!t->isActive(), qPrintable(t->objectName()));
        s.answer(id, true); // an answer to a question already answered does nothing
        QCOMPARE(finished.count(), 1);
    }
};

TARVEK_TEST(StationTest)
#include "tst_station.moc"
