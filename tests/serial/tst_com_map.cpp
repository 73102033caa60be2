#include "serial/com_map.h"
#include "settings/settings_files.h"
#include "test_registry.h"
#include "test_support.h"

#include <QTemporaryDir>
#include <QTest>

using namespace tarvek;

class ComMapTest : public QObject {
    Q_OBJECT
private slots:
    void overridesAreCheckedWhole_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("com");
        QTest::addColumn<QString>("device");
        QTest::newRow("plain") << "3=/dev/ttyUSB0" << 3 << "/dev/ttyUSB0";
        QTest::newRow("blanks") << "  12 =  sim-ports/COM2 " << 12 << "sim-ports/COM2";
        QTest::newRow("COM prefix") << "com4=/dev/ttyACM1" << 4 << "/dev/ttyACM1";
        QTest::newRow("blank in name") << "5=/tmp/my ports/COM5" << 5 << "/tmp/my ports/COM5";
        QTest::newRow("no equals") << "3/dev/ttyUSB0" << 0 << "";
        QTest::newRow("no device") << "3=" << 0 << "";
        QTest::newRow("blank device") << "3=   " << 0 << "";
        QTest::newRow("no number") << "=/dev/ttyUSB0" << 0 << "";
        QTest::newRow("not a number") << "x=/dev/ttyUSB0" << 0 << "";
        QTest::newRow("zero") << "0=/dev/ttyUSB0" << 0 << "";
        QTest::newRow("too high") << "15=/dev/ttyUSB0" << 0 << "";
        QTest::newRow("three digits") << "100=/dev/ttyUSB0" << 0 << "";
    }
    void overridesAreCheckedWhole()
    {
        QFETCH(QString, text);
        QFETCH(int, com);
        QFETCH(QString, device);
        ComMap map;
        QCOMPARE(map.applyOverride(text), com != 0);
        for (int n = ComMap::kFirstCom; n <= ComMap::kLastCom; ++n)
            QCOMPARE(map.deviceFor(n), n == com ? device : ComMap::defaultDevice(n));
    }

    // A missing file is created empty and COM1 to COM14, no others, are the platform's own ports; a
    // file names devices line by line, the command line wins (its bad entries are given back), and
    // a saved file reads back without the command line's devices.
    void theFileOfDevices()
    {
        QTemporaryDir dir;
        SettingsFiles files(dir.path());
        const QString path = files.pathOf(ComMap::fileName());
        ComMap map;
        map.load(files);
        QCOMPARE(test::readBytes(dir.filePath("ComDevices.ini")), QByteArray("\r\n").repeated(14));
        QCOMPARE((QStringList{map.deviceFor(1), map.deviceFor(14)}), (QStringList{"/dev/ttyS0", "/dev/ttyS13"}));
        QCOMPARE(map.deviceFor(0), QString());
        QCOMPARE(map.deviceFor(15), QString());

        test::writeBytes(path, "/dev/ttyUSB0\r\n\r\n  sim/COM3  \n\"/dev/quoted\"\r\n/dev/tty\x01S5\r\n");
        QCOMPARE(map.applyOverrides({"3=/dev/ttyACM0", "nonsense", "20=/dev/c"}), QStringList({"nonsense", "20=/dev/c"}));
        // A line no device could be named by is told, naming it, and leaves its port with no device;
        // the file is not read as defaults, which would open other devices.
        QCOMPARE(map.load(files), QStringList{"ComDevices.ini line 5: \"/dev/tty\x01S5\" is no device name; COM5 stays off"});
        QCOMPARE(map.deviceFor(5), QString());
        const std::array<QString, 6> numbers{"3", "15", "x", "0", "4", "14"};
        const std::array<QString, 6> enabled{"1", "1", "0", "0", "2", "1"};
        QCOMPARE(ComMap::portSettingFaults(numbers, enabled),
                 (QStringList{"ParamComx.ini line 3: \"15\" is not a COM number from 1 to 14; LE2 stays off",
                              "ParamComx.ini line 5: \"x\" is not a COM number from 1 to 14; LE3 stays off",
                              "ParamComx.ini line 10: \"2\" is neither 0 (off) nor 1 (on); LE5 stays off"}));
        QCOMPARE(map.deviceFor(1), "/dev/ttyUSB0");
        QCOMPARE(map.deviceFor(2), ComMap::defaultDevice(2)); // empty line: default
        QCOMPARE(map.fileDevice(3), "sim/COM3");
        QCOMPARE(map.deviceFor(3), "/dev/ttyACM0");           // command line over file
        QCOMPARE(map.deviceFor(4), "/dev/quoted");
        QCOMPARE(map.deviceFor(6), ComMap::defaultDevice(6)); // short file: default

        map.setFileDevice(2, "/dev/ttyUSB1");
        map.setFileDevice(14, " /dev/ttyUSB9 ");
        map.applyOverride("5=/dev/not-saved");
        QVERIFY(map.save(files));
        const QByteArray bytes = test::readBytes(path);
        QCOMPARE(bytes.count("\r\n"), 14);
        QVERIFY(bytes.startsWith("/dev/ttyUSB0\r\n/dev/ttyUSB1\r\n"));
        QVERIFY(bytes.endsWith("\r\n/dev/ttyUSB9\r\n"));
        QVERIFY(!bytes.contains("not-saved"));
        ComMap back;
        back.load(files);
        QCOMPARE(back.deviceFor(2), "/dev/ttyUSB1");
        QCOMPARE(back.deviceFor(14), "/dev/ttyUSB9");
        QCOMPARE(back.deviceFor(3), "sim/COM3");
        map.clearOverrides();
        QCOMPARE(map.deviceFor(3), "sim/COM3");
    }
};

TARVEK_TEST(ComMapTest)
#include "tst_com_map.moc"
