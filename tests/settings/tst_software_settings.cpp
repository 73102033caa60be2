#include "settings/settings_files.h"
#include "settings/software_settings.h"
#include "test_registry.h"
#include "test_support.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tarvek;
using tarvek::test::readBytes;
using tarvek::test::writeBytes;

class SoftwareSettingsTest : public QObject {
    Q_OBJECT
private slots:
    void savedBytesFollowTheDocumentedLineOrder()
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

    void readsLeniently_data()
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
    void readsLeniently()
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

TARVEK_TEST(SoftwareSettingsTest)
#include "tst_software_settings.moc"
