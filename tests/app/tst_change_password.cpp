// The form ChangePassword from the Service menu: service mode only, refusals shown on the form.
#include "app/change_password_form.h"
#include "app/log_window.h"
#include "station/station.h"
#include "settings/passwords.h"
#include "test_registry.h"
#include "test_support.h"

#include <QAction>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tarvek;

class ChangePasswordTest : public QObject {
    Q_OBJECT
private slots:
    void serviceSetsAPasswordThroughTheForm()
    {
        QTemporaryDir dir;
        ManualClock clock;
        Station station(dir.path(), {}, clock);
        LogWindow window(station);
        window.show();
        QSignalSpy done(&station, &Station::startupFinished);
        QVERIFY(station.startedUp() || done.wait(10'000));
        QAction* entry = window.action("mnuChangePassword");
        QVERIFY(entry);
        QVERIFY(!station.changePassword(0, "orca", "orca").isEmpty()); // not logged in
        QVERIFY(station.logIn("harvests"));
        QVERIFY(!entry->isEnabled());
        QVERIFY(!station.changePassword(0, "orca", "orca").isEmpty());
        QVERIFY(station.logIn("dolphin"));
        QVERIFY(entry->isEnabled());

        entry->trigger();
        auto* form = window.findChild<ChangePasswordForm*>("ChangePassword");
        QVERIFY(form && form->isVisible());
        const auto type = [form](const char* first, const char* second) {
            for (auto [name, text] : {std::pair{"TextPassword", first}, std::pair{"TextRepeat", second}}) {
                auto* edit = form->findChild<QLineEdit*>(name);
                edit->clear();
                QTest::keyClicks(edit, text);
            }
            QTest::mouseClick(form->findChild<QPushButton*>("Command1"), Qt::LeftButton);
        };
        type("orca", "orka");
        QCOMPARE(form->findChild<QLabel*>("LabelRefusal")->text(), QString("The two entries differ."));
        QVERIFY(form->isVisible());
        QSignalSpy status(&station, &Station::statusText);
        type("orca", "orca");
        QVERIFY(!form->isVisible());
        QCOMPARE(status.last().first().toString(), QString("The user password was changed"));
        // Kept hashed in its record; the other record stays as it was.
        const QList<QByteArray> records = test::readBytes(station.files().loginFile()).split('\n');
        QCOMPARE(records.size(), 3); // two lines and the final line end
        QVERIFY2(records[0].startsWith("\"pbkdf2-sha256$") && !records[0].toUpper().contains("ORCA"), records[0]);
        QCOMPARE(records[1], QByteArray("\"dolphin\"\r"));
        QVERIFY(!station.logIn("harvests"));
        QVERIFY(station.logIn("ORCA"));
        QCOMPARE(station.mode(), OperatingMode::User);
        QVERIFY(passwords::isHashed(station.settings().passwords[0]));

        // Leaving service mode (a user log-in or the time-out) closes the form.
        QVERIFY(station.logIn("dolphin"));
        entry->trigger();
        QVERIFY(form->isVisible());
        QVERIFY(station.logIn("orca"));
        QVERIFY(!form->isVisible());

        // A spoilt password file opens neither mode, not even with the default passwords; the
        // log-in box and the history say why, the history once.
        QFile file(station.files().loginFile());
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("\x13\x88garbage\x01") > 0);
        file.close();
        for (const char* password : {"orca", "dolphin", "harvests"})
            QVERIFY(!station.logIn(password));
        QCOMPARE(station.mode(), OperatingMode::User);
        QVERIFY(window.findChild<QLabel*>("LoginError")->text().contains("password file cannot be read"));
        QVERIFY(window.findChild<QLabel*>("LoginError")->text().contains("--reset-passwords"));
        QCOMPARE(station.history().load().entries.filter("The password file cannot be read").size(), 1);
    }
};

TARVEK_TEST(ChangePasswordTest)
#include "tst_change_password.moc"
