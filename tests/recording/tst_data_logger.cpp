#include "recording/data_logger.h"
#include "settings/settings_files.h"
#include "settings/station_settings.h"
#include "test_registry.h"
#include "test_support.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>
#include <sys/resource.h>

using namespace tarvek;
using tarvek::test::readBytes;
using tarvek::test::writeBytes;

namespace {

const QDateTime kStart(QDate(2026, 11, 23), QTime(9, 30, 0));

// A station folder with its set-points filed (LE2 1200 We, LE5 800 We) and a logger whose values
// name their engine and column ("2.0" is LPC of LE2).
struct Rig {
    QTemporaryDir dir;
    std::unique_ptr<SettingsFiles> files;
    ManualClock clock{kStart};
    std::unique_ptr<DataLogger> logger;

    explicit Rig(std::array<bool, kLoggerColumns> columns = {}, bool csv = false, int interval = 0, bool erase = false)
    {
        files = std::make_unique<SettingsFiles>(dir.path());
        QDir(dir.path()).mkpath("Datalogger");
        writeBytes(files->pathOf("\\ConsignePW.ini"), "50\r\n120\r\n50\r\n50\r\n80\r\n50\r\n");
        logger = std::make_unique<DataLogger>(*files, clock, [](int i, LoggerColumn c) {
            return QStringLiteral("%1.%2").arg(i + 1).arg(static_cast<int>(c));
        });
        LoggerChoices c{.csv = csv, .interval = interval, .columns = columns, .erase = erase, .name = "run"};
        c.engines[1] = c.engines[4] = true; // LE2 and LE5
        logger->setChoices(c, false);
    }
    QByteArray file(int engine) const { return readBytes(logger->fileFor(engine)); }
    // One minute later, Timer42's tick.
    void minute()
    {
        clock.advanceSeconds(60);
        logger->tick();
    }
};

std::array<bool, kLoggerColumns> columnsOf(const QString& mask)
{
    std::array<bool, kLoggerColumns> c{};
    for (int k = 0; k < kLoggerColumns; ++k)
        c[static_cast<std::size_t>(k)] = mask.at(k) == QLatin1Char('1');
    return c;
}

// A row from its template: {n} counter, {d} date, {t} time, {e} engine, {los} its set-point in We.
QByteArray expectedRow(QByteArray pattern, int counter, const QDateTime& at, int engine)
{
    ManualClock then(at);
    return pattern.replace("{n}", QByteArray::number(counter))
        .replace("{d}", then.dateText().toLatin1())
        .replace("{t}", then.timeText().toLatin1())
        .replace("{e}", QByteArray::number(engine))
        .replace("{los}", engine == 2 ? "1200" : "800");
}

} // namespace

class DataLoggerTest : public QObject {
    Q_OBJECT
private slots:
    void filesOfTwoEnginesOverTicks_data()
    {
        QTest::addColumn<bool>("csv");
        QTest::addColumn<QString>("columns"); // LPC LFC VIS IR RH LOS SHT MAT
        QTest::addColumn<int>("interval");
        QTest::addColumn<bool>("erase");
        QTest::addColumn<QList<int>>("rowMinutes"); // rows of the first run, minutes after its start
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QByteArray>("row");

        QTest::newRow("txt, every column, each minute")
            << false << "11111111" << 0 << false << QList<int>{0, 1, 2, 3, 4}
            << QByteArray("\r\n[CNT ],[Date],[Time],[LPC ],[LFC ],[VIS ],[IR  ],[RH  ],[LOS ],[SHT ],[MAT ]\r\n"
                          "[CNT ],[Date],[Time],[AU  ],[%   ],[W/m2],[%   ],[%   ],[We  ],[\xB0" "C/F],[\xB0" "C/F]\r\n \r\n")
            << QByteArray("{n},{d},{t},{e}.0,{e}.1,{e}.2,{e}.3,{e}.4,{los},{e}.6,{e}.7 \r\n");
        QTest::newRow("csv, every column, every two minutes, erased on the second start")
            << true << "11111111" << 1 << true << QList<int>{0, 2, 4}
            << QByteArray("\r\n[CNT ];[Date];[Time];[LPC ];[LFC ];[VIS ];[IR  ];[RH  ];[LOS ];[SHT ];[MAT ]\r\n"
                          "[CNT ];[Date];[Time];[AU  ];[%   ];[W/m2];[%   ];[%   ];[We  ];[\xB0" "C/F];[\xB0" "C/F]\r\n \r\n")
            << QByteArray("{n};{d};{t};{e}.0;{e}.1;{e}.2;{e}.3;{e}.4;{los};{e}.6;{e}.7 \r\n");
        QTest::newRow("txt without MAT: the header pair runs on one line")
            << false << "10000010" << 0 << false << QList<int>{0, 1, 2, 3, 4}
            << QByteArray("\r\n[CNT ],[Date],[Time],[LPC ],[SHT ],[CNT ],[Date],[Time],[AU  ],[\xB0" "C/F], \r\n")
            << QByteArray("{n},{d},{t},{e}.0,{e}.6,\r\n");
    }
    void filesOfTwoEnginesOverTicks()
    {
        QFETCH(bool, csv);
        QFETCH(QString, columns);
        QFETCH(int, interval);
        QFETCH(bool, erase);
        QFETCH(QList<int>, rowMinutes);
        QFETCH(QByteArray, header);
        QFETCH(QByteArray, row);
        Rig rig(columnsOf(columns), csv, interval, erase);
        const QString ext = csv ? ".csv" : ".txt";

        QVERIFY(rig.logger->start());
        for (int m = 0; m < 4; ++m)
            rig.minute();
        rig.logger->off();
        rig.minute(); // stopped: no row
        QMap<int, QByteArray> expected;
        for (int engine : {2, 5}) {
            expected[engine] = header;
            for (int r = 0; r < rowMinutes.size(); ++r)
                expected[engine] += expectedRow(row, r + 1, kStart.addSecs(60 * rowMinutes[r]), engine);
            QCOMPARE(rig.file(engine), expected[engine]);
        }

        // A second start: EErase begins the file again, EAppend continues it; the header pair again.
        QVERIFY(rig.logger->start());
        for (int engine : {2, 5}) {
            const QByteArray second = header + expectedRow(row, 1, kStart.addSecs(300), engine);
            QCOMPARE(rig.file(engine), erase ? second : expected[engine] + second);
        }
        QCOMPARE(QDir(rig.logger->folder()).entryList(QDir::Files), QStringList({"run_LE2" + ext, "run_LE5" + ext}));
    }

    // LOS is the set-point as filed when the row is written: a change by hand between rows, even
    // one that keeps the file's size, is in the next row.
    void setPointChangedBetweenRowsIsInTheNextRow()
    {
        Rig rig(columnsOf("00000100"));
        QVERIFY(rig.logger->start());
        QVERIFY(rig.file(2).endsWith(",1200,\r\n"));
        writeBytes(rig.files->pathOf("\\ConsignePW.ini"), "50\r\n130\r\n50\r\n50\r\n80\r\n50\r\n");
        rig.minute();
        QVERIFY(rig.file(2).endsWith(",1300,\r\n"));
    }

    void shortWriteLeavesNoHalfRow()
    {
        Rig rig(columnsOf("11111111"));
        QVERIFY(rig.logger->start());
        const QByteArray before = rig.file(2);
        QVERIFY(before.endsWith(" \r\n"));
        QSignalSpy problems(rig.logger.get(), &DataLogger::problem);

        // The file may grow by a few bytes only: the system takes part of the row, then refuses.
        const auto previous = std::signal(SIGXFSZ, SIG_IGN);
        rlimit saved{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &saved), 0);
        rlimit tight = saved;
        tight.rlim_cur = static_cast<rlim_t>(rig.file(5).size() + 8);
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &tight), 0);
        rig.minute();
        setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, previous);

        QCOMPARE(rig.file(2), before); // not a byte of the row stays
        QCOMPARE(problems.size(), 2);
        const QByteArray le5 = rig.file(5);
        QVERIFY(le5.endsWith(" \r\n"));
        QCOMPARE(le5.count("\r\n"), 5);

        rig.minute();
        QVERIFY(rig.file(2).startsWith(before));
        QVERIFY(rig.file(2).mid(before.size()).startsWith("3,"));
        QCOMPARE(rig.file(2).count("\r\n"), before.count("\r\n") + 1);
    }

    void choicesAreKeptAcrossRuns()
    {
        Rig rig(columnsOf("10000001"), true, 3, true);
        const LoggerChoices c = rig.logger->choices();
        rig.logger->setChoices(c);
        QCOMPARE(readBytes(rig.files->pathOf("\\NS.ini")), QByteArray("1.01\r\n3\r\n18\r\n0\r\n"));
        QCOMPARE(readBytes(rig.files->pathOf("\\TypeFile.ini")),
                 QByteArray("1\r\n1\r\n0\r\n0\r\n0\r\n0\r\n0\r\n0\r\n1\r\n") + QByteArray("0\r\n").repeated(9));

        // The next run reads them back at start-up; the name is typed again.
        SettingsFiles files(rig.dir.path());
        StationSettings settings;
        settings.loadAll(files);
        DataLogger next(files, rig.clock, {});
        next.restore(settings.loggerSteps, settings.loggerFileType);
        QCOMPARE(next.choices().csv, true);
        QCOMPARE(next.choices().interval, 3);
        QCOMPARE(next.choices().engines, c.engines);
        QCOMPARE(next.choices().columns, c.columns);
        QCOMPARE(next.choices().erase, true);
        QVERIFY(!next.ready());
    }

    void nameAndStart_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("name"); // taken, or empty for "There is nothing to save! "
        QTest::newRow("a picked file") << "night_LE3.csv" << "night";
        QTest::newRow("a path keeps its last part") << "../x/night.txt" << "night";
        QTest::newRow("no name") << "  " << "";
    }
    void nameAndStart()
    {
        QFETCH(QString, typed);
        QFETCH(QString, name);
        Rig rig;
        LoggerChoices c;
        c.engines[2] = true; // LE3 alone
        rig.logger->setChoices(c, false);
        QSignalSpy warnings(rig.logger.get(), &DataLogger::warning);
        QSignalSpy notices(rig.logger.get(), &DataLogger::notice);
        QCOMPARE(rig.logger->confirmName(typed), !name.isEmpty());
        QCOMPARE(rig.logger->choices().name, name);
        // The form's test follows the texts and the stop; here the names and the refused start.
        if (name.isEmpty()) {
            QCOMPARE(warnings.size(), 1);
            QCOMPARE(warnings.first(), QVariantList({" Warning!", "There is nothing to save! "}));
            QVERIFY(notices.isEmpty());
            QVERIFY(!rig.logger->start());
            QVERIFY(!rig.logger->running());
            QCOMPARE(warnings.size(), 2);
            QVERIFY(QDir(rig.logger->folder()).isEmpty());
            return;
        }
        QCOMPARE(notices.size(), 1);
        QVERIFY(notices.first().last().toString().endsWith(QDir::toNativeSeparators(rig.logger->folder() + "/" + name + "_LE3.txt")));
        QVERIFY(rig.logger->start());
        QVERIFY(QFile::exists(rig.logger->fileFor(3)));
        QVERIFY(warnings.isEmpty());
    }
};

TARVEK_TEST(DataLoggerTest)
#include "tst_data_logger.moc"
