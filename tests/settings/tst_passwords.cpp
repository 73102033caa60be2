#include "settings/passwords.h"
#include "test_registry.h"

#include <QTest>

using namespace tarvek;

namespace {
// Few iterations keep the tests quick; the record says how many, so matching follows it.
QString hashed(const QString& password)
{
    return passwords::hashRecord(password, QByteArray("0123456789abcdef"), 1000);
}
} // namespace

class PasswordsTest : public QObject {
    Q_OBJECT
private slots:
    void recordsOpenWithTheirPasswordInAnyCase_data()
    {
        QTest::addColumn<QString>("record");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<bool>("opens");
        QTest::newRow("hashed, blank added") << hashed("Sesame") << "sesame " << false;
        QTest::newRow("hashed text typed") << hashed("Sesame") << hashed("Sesame") << false;
        QTest::newRow("accented") << hashed("éTé") << "ÉtÉ" << true;
        // A damaged record is no hash: it opens only with its own text, as an old station's would.
        QTest::newRow("damaged, own text") << "pbkdf2-sha256$0$AA==$AA==" << "PBKDF2-SHA256$0$AA==$AA==" << true;
        QTest::newRow("damaged, other") << "pbkdf2-sha256$0$AA==$AA==" << "" << false;
    }
    void recordsOpenWithTheirPasswordInAnyCase()
    {
        QFETCH(QString, record);
        QFETCH(QString, typed);
        QFETCH(bool, opens);
        QCOMPARE(passwords::matches(record, typed), opens);
    }

    void newPasswordsAreChecked_data()
    {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::addColumn<QString>("refusal");
        QTest::newRow("accepted") << "Open" << "Open" << "";
        QTest::newRow("empty") << "" << "" << "The new password is empty.";
        QTest::newRow("opens the other record") << "HARVESTS" << "HARVESTS" << "The user and service passwords must differ.";
    }
    void newPasswordsAreChecked()
    {
        QFETCH(QString, first);
        QFETCH(QString, second);
        QFETCH(QString, refusal);
        QCOMPARE(passwords::refusal(first, second, "harvests"), refusal);
        QCOMPARE(passwords::refusal(first, second, hashed("harvests")), refusal);
    }
};

TARVEK_TEST(PasswordsTest)
#include "tst_passwords.moc"
