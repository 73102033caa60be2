#include "recording/clock.h"
#include "settings/settings_files.h"
#include "settings/software_settings.h"
#include "settings/station_settings.h"
#include "test_registry.h"
#include "test_support.h"

#include <QBuffer>
#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using namespace tarvek;
using tarvek::test::readBytes;
using tarvek::test::writeBytes;

class SettingsFilesTest : public QObject {
    Q_OBJECT
private slots:
    // A fresh folder: every file gets its defaults (the log-in file where it was told to live),
    // and they are read. One file of each line format, and the log-in file.
    void everyFileIsCreatedWithItsDefaultBytes()
    {
        QTemporaryDir dir;
        SettingsFiles files(dir.filePath("station"), dir.filePath("secret/Name.inc"));
        StationSettings s;
        s.powerSetPoints.fill(0);
        s.loadAll(files);
        QCOMPARE(readBytes(files.pathOf("\\ConsignePW.ini")), QByteArray("50\r\n").repeated(6));
        QCOMPARE(readBytes(files.pathOf("\\ParamComx.ini")), QByteArray("\"0\"\r\n").repeated(12));
        QCOMPARE(readBytes(files.pathOf("\\Histo.txt")), QByteArray());
        QCOMPARE(readBytes(files.pathOf(SettingsFiles::loginFileName())), QByteArray("\"harvests\"\r\n\"dolphin\"\r\n"));
        // Read, not the values held before: these differ from the files' defaults.
        QCOMPARE(s.powerSetPoints[5], 50);
        QCOMPARE(s.coefficients[16], 4);
        QCOMPARE(s.savedRegisters[26], 115);
        QCOMPARE(s.shtAlarmFlags[11], 1);
        QVERIFY(!QFile::exists(dir.filePath("station/Name.inc")));
        QVERIFY(!QFile::exists(dir.filePath("station/Consigne.ini ")));
        for (const SettingsFileEntry& file : SettingsFiles::index()) // not those written by a form only
            QVERIFY2(QFile::exists(files.pathOf(file.name)) == file.createdAtStart, qPrintable(file.name));
    }

    // Writers replace the whole file. A short file read back keeps the values it does not hold;
    // blanks, quotes, LF-only ends and decimals are read, and a line that is not a number keeps the
    // value held and is named.
    void writersReplaceTheWholeFileAndReadersAreLenient()
    {
        QTemporaryDir dir;
        SettingsFiles files(dir.path());
        files.ensureAll();
        StationSettings s;
        s.portNumbers[0] = "3";
        s.portEnabled[0] = "1";
        s.portNumbers[5] = "15"; // warned about by the form, saved all the same
        QVERIFY(s.savePorts(files));
        QCOMPARE(readBytes(files.pathOf("\\ParamComx.ini")),
                 QByteArray("\"3\"\r\n\"1\"\r\n") + QByteArray("\"0\"\r\n").repeated(8) + "\"15\"\r\n\"0\"\r\n");
        const int values[] = {30, 130};
        QVERIFY(files.writeNumbers("\\ConsignePW.ini", values));
        QCOMPARE(readBytes(files.pathOf("\\ConsignePW.ini")), QByteArray("30\r\n130\r\n"));
        // No temporary file is left beside it.
        QCOMPARE(QDir(dir.path()).entryList({"*ConsignePW*"}, QDir::Files | QDir::Hidden).size(), 1);

        writeBytes(files.pathOf("\\ParamComx.ini"), "\"4\"\r\n\"1\"\r\n\"5\"\r\n");
        s.loadPorts(files);
        QCOMPARE(s.portNumbers[0], QString("4"));
        QCOMPARE(s.portEnabled[0], QString("1"));
        QCOMPARE(s.portNumbers[1], QString("5"));
        QCOMPARE(s.portEnabled[1], QString("0"));
        QCOMPARE(s.portNumbers[5], QString("15"));

        QSignalSpy malformed(&files, &SettingsFiles::malformedValue);
        writeBytes(files.pathOf("\\ConsignePW.ini"), " 60\n\"70\"\r\n  80 \n3a\n 2.6 \n\"\"\n");
        files.readNumbers("\\ConsignePW.ini", s.powerSetPoints);
        QCOMPARE(s.powerSetPoints, (std::array<int, 6>{60, 70, 80, 50, 3, 50}));
        QCOMPARE(malformed.count(), 2);
        QCOMPARE(malformed.at(0).at(1).toInt(), 4);
        QCOMPARE(malformed.at(0).at(2).toString(), QString("3a"));
        QCOMPARE(malformed.at(1).at(1).toInt(), 6);
    }

    // Each fault reaches the operator once, naming the file, however often the file is used; the
    // values held stay. A clean read or write makes the next fault news again. A full disk (a real
    // tmpfs) refuses the new bytes only when they are flushed: the old file stays whole.
    void faultsAreReportedOnceWithTheFileName_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("says");
        QTest::newRow("not a number") << "malformed" << "ConsignePW.ini line 2: \"5O\" is not a number";
        QTest::newRow("too long") << "long" << "ConsignePW.ini is longer than 64 KiB";
        QTest::newRow("cannot replace") << "unwritable" << "Cannot write " ;
        QTest::newRow("cannot read") << "unreadable" << "Cannot read ";
        QTest::newRow("disk full") << "full" << "No space left on device";
    }
    void faultsAreReportedOnceWithTheFileName()
    {
        QFETCH(QString, fault);
        QFETCH(QString, says);
        QTemporaryDir dir;
        std::optional<tarvek::test::FullDisk> disk;
        if (fault == "full" && !disk.emplace().ok())
            QSKIP(qPrintable(disk->why()));
        SettingsFiles files(disk ? disk->path() : dir.path());
        const QString path = files.pathOf("\\ConsignePW.ini");
        QSignalSpy problems(&files, &SettingsFiles::problem);
        const std::array<int, 6> old{61, 62, 63, 64, 65, 66};
        std::array<int, 6> values{1, 2, 3, 4, 5, 6};
        const auto use = [&] {
            if (fault == "unwritable" || fault == "full")
                return files.writeNumbers("\\ConsignePW.ini", values);
            return files.readNumbers("\\ConsignePW.ini", values) >= 0;
        };
        const auto spoil = [&] {
            if (fault == "malformed") {
                writeBytes(path, "60\r\n5O\r\n");
            } else if (fault == "long") { // one line runs on for 10 MB: read up to the limit, not whole
                writeBytes(path, "60\r\n70\r\n" + QByteArray(10 << 20, 'x'));
            } else if (fault == "full") {
                QVERIFY(files.writeNumbers("\\ConsignePW.ini", old));
                disk->fill();
            } else { // a folder in the file's place can be neither read nor replaced
                QFile::remove(path);
                QVERIFY(QDir().mkpath(path));
            }
        };
        spoil();
        for (int i = 0; i < 3; ++i)
            QCOMPARE(use(), fault != "unwritable" && fault != "full"); // a write is refused
        QCOMPARE(problems.size(), 1);
        const QString text = problems.first().first().toString();
        QVERIFY2(text.contains(says) && text.contains("ConsignePW.ini"), qPrintable(text));
        QCOMPARE(values[2], 3); // held
        if (fault == "malformed" || fault == "long")
            QCOMPARE(values[0], 60);
        if (fault == "full") {
            QCOMPARE(readBytes(path), QByteArray("61\r\n62\r\n63\r\n64\r\n65\r\n66\r\n"));
            QCOMPARE(QDir(disk->path()).entryList({"*ConsignePW*"}, QDir::Files | QDir::Hidden).size(), 1);
            disk->release();
        } else {
            QVERIFY(QDir().rmdir(path) || QFile::remove(path));
        }
        QVERIFY(files.writeNumbers("\\ConsignePW.ini", values));
        QCOMPARE(files.readNumbers("\\ConsignePW.ini", values), 6);
        spoil();
        use();
        QCOMPARE(problems.size(), 2);
    }

    // An empty or spoilt file is kept aside and written again with its defaults, told once; the
    // log-in file is never given its default passwords that way.
    void aDamagedFileIsKeptAsideAndRepaired_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("says");
        QTest::newRow("empty") << "\\ConsignePW.ini" << QByteArray() << "ConsignePW.ini is empty: kept aside as ";
        QTest::newRow("not text") << "\\ConsignePW.ini" << QByteArray("5\x00\x01\xff\r\n", 6) << "holds bytes that are not text";
        QTest::newRow("log-in, not text") << SettingsFiles::loginFileName() << QByteArray("\x8f\x02zz")
                                          << "The password file ";
        QTest::newRow("log-in, empty") << SettingsFiles::loginFileName() << QByteArray() << "it is empty";
    }
    void aDamagedFileIsKeptAsideAndRepaired()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, says);
        QTemporaryDir dir;
        SettingsFiles files(dir.path());
        ManualClock clock;
        files.setClock(&clock);
        writeBytes(files.pathOf(name), bytes);
        QSignalSpy problems(&files, &SettingsFiles::problem);
        std::array<QString, 6> values;
        const bool login = name == SettingsFiles::loginFileName();
        QCOMPARE(files.readStrings(name, values), login ? 0 : 6);
        QCOMPARE(problems.size(), 1);
        QVERIFY2(problems.first().first().toString().contains(says), qPrintable(problems.first().first().toString()));
        // The log-in file is left as it is, for the administrator to reset.
        QCOMPARE(readBytes(login ? files.pathOf(name) : files.pathOf(name) + ".damaged-2026-11-23-093000"), bytes);
    }

    // The reader stops at its limit: a file that ends within it is whole, one byte more is not.
    void readerStopsAtTheLimit_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("values");
        QTest::addColumn<bool>("tooLong");
        QTest::newRow("ends at the limit") << QByteArray("12\r\n\"34\"\n") << QStringList{"12", "34"} << false;
        QTest::newRow("no final line end") << QByteArray("12\r\n\"345\"") << QStringList{"12", "345"} << false;
        QTest::newRow("one byte over") << QByteArray("12\r\n\"345\"\n") << QStringList{"12"} << true;
        QTest::newRow("one long line") << QByteArray(100, '7') << QStringList{} << true;
        QTest::newRow("empty lines") << QByteArray("\n\n") << QStringList{"", ""} << false;
    }
    void readerStopsAtTheLimit()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, values);
        QFETCH(bool, tooLong);
        QBuffer in(&bytes);
        QVERIFY(in.open(QIODevice::ReadOnly));
        const ReadLines got = SettingsFiles::readLines(in, 9);
        QCOMPARE(got.values, values);
        QCOMPARE(got.tooLong, tooLong);
    }

    void softwareSettingsFollowTheDocumentedLineOrder()
    {
        QTemporaryDir dir;
        SettingsFiles files(dir.path());
        SoftwareSettings s;
        s.groupCommands = {true, false, true, true, true, true};
        s.qthLamps = {false, true, true, true, true, true};
        s.linkSupervision = {true, true, false, true, true, true};
        s.curveVisible = {true, true, true, true, true, false};
        s.cooling = CoolingType::Passive;
        s.userModeOption = true;
        s.serviceModeOption = false;
        s.serviceTimeOut = 45;
        QVERIFY(s.save(files));
        const QByteArray expected = "1\r\n0\r\n1\r\n1\r\n1\r\n1\r\n"
                                    "0\r\n1\r\n1\r\n1\r\n1\r\n1\r\n"
                                    "1\r\n1\r\n0\r\n1\r\n1\r\n1\r\n"
                                    "1\r\n1\r\n1\r\n1\r\n1\r\n0\r\n"
                                    "1\r\n1\r\n0\r\n45\r\n";
        QCOMPARE(readBytes(files.pathOf(SoftwareSettings::kFileName)), expected);
        SoftwareSettings back;
        QVERIFY(back.load(files));
        QVERIFY(back == s);
    }

    void softwareSettingsAreReadLeniently_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("group1");
        QTest::addColumn<bool>("serviceOption");
        QTest::addColumn<int>("timeOut");
        QTest::addColumn<int>("malformed");
        QTest::newRow("no file: nothing read, none created") << QByteArray() << false << true << 30 << 0;
        QTest::newRow("short file keeps the rest") << QByteArray("1\r\n0\r\n") << false << true << 30 << 0;
        QTest::newRow("garbage keeps the value") << QByteArray("1\r\nx\r\n") << false << true << 30 << 1;
        QTest::newRow("limit clamped") << QByteArray("1\r\n").repeated(27) + "0\r\n" << true << true
                                       << SoftwareSettings::kMinTimeOut << 0;
    }
    void softwareSettingsAreReadLeniently()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, group1);
        QFETCH(bool, serviceOption);
        QFETCH(int, timeOut);
        QFETCH(int, malformed);
        QTemporaryDir dir;
        SettingsFiles files(dir.path());
        QSignalSpy bad(&files, &SettingsFiles::malformedValue);
        const QString path = files.pathOf(SoftwareSettings::kFileName);
        if (!bytes.isNull())
            writeBytes(path, bytes);
        SoftwareSettings s;
        s.groupCommands[1] = false;
        QCOMPARE(s.load(files), !bytes.isNull());
        QCOMPARE(QFile::exists(path), !bytes.isNull());
        QCOMPARE(s.groupCommands[1], group1);
        QCOMPARE(s.serviceModeOption, serviceOption);
        QCOMPARE(s.serviceTimeOut, timeOut);
        QCOMPARE(bad.count(), malformed);
    }
};

TARVEK_TEST(SettingsFilesTest)
#include "tst_settings_files.moc"
