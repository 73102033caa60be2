// The main window on a station without engines: what it shows after start-up, the log-in, the
// password change and the controls each mode gives, the display of a record, quitting and the
// software settings.
#include "app/service/change_password_form.h"
#include "app/common/colours.h"
#include "app/main_window/log_window.h"
#include "app/main_window/page_tabs.h"
#include "app/settings/software_settings_form.h"
#include "settings/passwords.h"
#include "station/station.h"
#include "test_registry.h"
#include "test_support.h"
#include "window_rig.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>
#include <QSerialPort>
#include <QSignalSpy>
#include <QSpinBox>
#include <QStatusBar>
#include <QTest>

using namespace tarvek;
using tarvek::test::readBytes;

namespace {
constexpr int kWaitMs = 10'000;

bool enabled(const WindowRig& f, const QString& name)
{
    QObject* c = f.window->control(name);
    auto* a = qobject_cast<QAction*>(c);
    return a ? a->isEnabled() : qobject_cast<QWidget*>(c)->isEnabled();
}

// A control that cannot act says why in its tip, and only then.
bool explained(const WindowRig& f, const QString& name)
{
    const QString tip = f.window->control(name)->property("toolTip").toString();
    bool why = false;
    for (const char* reason : {"Log in first", "Service mode only", "Not opened in this mode", "Opened by a service"})
        why = why || tip.contains(QLatin1String(reason));
    return why != enabled(f, name);
}

// Enabled state of every control the window rules over, plus the captions a log-in touches.
QStringList snapshot(const WindowRig& f)
{
    QStringList out;
    for (QObject* o : f.window->findChildren<QObject*>()) {
        if (o->objectName().isEmpty())
            continue;
        if (auto* a = qobject_cast<QAction*>(o))
            out << o->objectName() + (a->isEnabled() ? "+" : "-") + a->text();
        else if (auto* w = qobject_cast<QWidget*>(o))
            out << o->objectName() + (w->isEnabled() ? "+" : "-") + (w->isVisible() ? "v" : "h");
    }
    out.sort();
    return out;
}
} // namespace

class LogWindowTest : public QObject {
    Q_OBJECT
private slots:
    void mainWindowAfterStartUp()
    {
        WindowRig f;
        QVERIFY(f.open(false));
        QCOMPARE(f.window->objectName(), QString("Log"));
        // The documented 860 x 728 where the screen's free area has room, within it where not.
        const QSize free = f.window->screen()->availableGeometry().size();
        QVERIFY(f.window->width() <= free.width() && f.window->height() <= free.height());
        QVERIFY(f.window->width() >= std::min(860, free.width() - 16) && f.window->height() >= std::min(728, free.height() - 80));
        QVERIFY(f.get<QWidget>("LoginBox")->isVisible());
        QVERIFY(!f.get<QLabel>("Picture10")->isVisible());
        for (int i = 0; i < kEngines; ++i) {
            const QString le = QString("LE%1").arg(i + 1);
            QCOMPARE(f.get<QLabel>(QString("Label30_%1").arg(i))->text(), QString("no"));
            QVERIFY(allDashes(f, i + 1));
            QCOMPARE(f.get<QLabel>(le + "Port")->text(), QString("COM%1 - COM0 off").arg(i + 1));
            QCOMPARE(colours::background(f.get<QLabel>(le + "Status")), colours::idle());
        }
        // Timers and ports are found by name from the main window too.
        for (const char* name : {"Timer1", "Timer8", "Timer12", "Timer21", "Timer26", "Timer44", "Timer57", "Timer62"})
            QVERIFY2(f.window->findChild<QTimer*>(name), name);
        for (int k = 1; k <= 6; ++k)
            QVERIFY(f.window->findChild<QSerialPort*>(QString("MSComm%1").arg(k)));

        // The event and discovery lists; the event list alone is erased. The engine choice.
        f.station->appendEvent("one");
        f.station->appendEvent("two");
        f.station->appendDiscovery("   LE-1   000   COM(i) = 1  <---  ? ");
        QCOMPARE(f.get<QListWidget>("List4")->count(), 2);
        QCOMPARE(f.get<QListWidget>("List3")->item(0)->text(), QString("   LE-1   000   COM(i) = 1  <---  ? "));
        f.logIn("harvests");
        f.window->action("mnuEraseListe4")->trigger();
        QCOMPARE(f.get<QListWidget>("List4")->count(), 0);
        QCOMPARE(f.get<QListWidget>("List3")->count(), 1);

        auto* choice = f.get<QComboBox>("SelectedEngine");
        choice->setCurrentIndex(4);
        emit choice->activated(4);
        QCOMPARE(int(f.station->tables().selectedEngine), 4);
        QCOMPARE(f.get<QLabel>("LabelSelected")->text(), QString("Selected LE = 4"));

        // A record's values in its column.
        LightEngineRecord& r = f.station->tables().at(2);
        r.everReported = true;
        r.Phase = 5;
        r.FaultCode = 9;
        r.reported[pos::Mat] = 41;
        r.reported[pos::Sht] = 37;
        r.reported[pos::Sbv] = 74;
        r.reported[pos::TachoM] = 55;
        r.PowerSetPoint = 90;
        f.station->setPortIndicator(3, true);
        QTRY_COMPARE_WITH_TIMEOUT(f.get<QLabel>("LE3Mat")->text(), QString("41"), kWaitMs);
        QCOMPARE(f.get<QLabel>("LE3Sht")->text(), QString("37"));
        QCOMPARE(f.get<QLabel>("LE3Sbv")->text(), QString("2.96 V")); // coefficient row 0, 4, 2: raw x 0.04
        QCOMPARE(f.get<QLabel>("LE3Motor")->text(), QString("55"));
        QCOMPARE(f.get<QLabel>("LE3Phase")->text(), QString("5"));
        QCOMPARE(f.get<QLabel>("LE3Power")->text(), QString("900 We"));
        QCOMPARE(f.get<QLabel>("LE3Fault")->text(), QString("Motor M - speed > 4,000 RPM "));
        QCOMPARE(colours::background(f.get<QLabel>("LE3Fault")), colours::fault());
        QCOMPARE(f.get<QLabel>("Label30_2")->text(), QString("yes"));
        QCOMPARE(colours::background(f.get<QLabel>("Label30_2")), QColor(0, 255, 0));
        QVERIFY(colours::background(f.get<QLabel>("LE3Status")) != colours::idle());
        QCOMPARE(f.get<QLabel>("LE2Mat")->text(), QString("---"));

        // Freeze keeps what is shown; a lost link shows "---" again once the display is live.
        f.window->action("mnuRegulateActive")->setChecked(true);
        f.station->linkLost[2] = true;
        f.window->refreshDisplay();
        QCOMPARE(f.get<QLabel>("LE3Mat")->text(), QString("41"));
        f.window->action("mnuRegulateActive")->setChecked(false);
        QTRY_COMPARE_WITH_TIMEOUT(f.get<QLabel>("LE3Mat")->text(), QString("---"), kWaitMs);
        QCOMPARE(colours::background(f.get<QLabel>("LE3Status")), colours::idle());
        f.station->setPortIndicator(3, false);
        QCOMPARE(f.get<QLabel>("Label30_2")->text(), QString("no"));

        // Behind the graph page the columns wait; turning back to them shows the record at once.
        f.window->pages()->setCurrentIndex(1);
        f.station->linkLost[2] = false;
        f.window->refreshDisplay();
        f.window->pages()->setCurrentIndex(0);
        QCOMPARE(f.get<QLabel>("LE3Mat")->text(), QString("41"));
    }

    // A log-in, after none or after an earlier one made with the user option as given (and the
    // service option set). A log-in whose option box is clear keeps what an earlier one gave.
    void logInThroughTheWindow_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<bool>("beforeUserOption");
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("userOption");
        QTest::addColumn<bool>("serviceOption");
        QTest::addColumn<QString>("caption"); // of mnuStartperatorMode; empty: not checked
        QTest::addColumn<bool>("functions");
        QTest::addColumn<bool>("quit");
        const QString none;
        const QString toService = "Start in Service Mode";
        const QString toUser = "Start in User Mode";
        QTest::newRow("user, any case") << none << false << "HarVESTs" << true << true
                                        << toService << true << false;
        QTest::newRow("user, option clear") << none << false << "harvests" << false << true
                                            << "Start in Mode (Password)" << false << false;
        QTest::newRow("service, any case") << none << false << "DOLphin" << false << true
                                           << toUser << true << true;
        QTest::newRow("service, option clear") << none << false << "dolphin" << true << false
                                               << toUser << false << false;
        QTest::newRow("service, then user") << "dolphin" << false << "harvests" << false << false
                                            << none << true << true;
        QTest::newRow("user, then service") << "harvests" << true << "dolphin" << false << false
                                            << toUser << true << false;
        QTest::newRow("service, then service") << "dolphin" << false << "DOLPHIN" << false << false
                                               << toUser << true << true;
        QTest::newRow("user, then user") << "harvests" << true << "Harvests" << false << false
                                         << none << true << false;
    }
    void logInThroughTheWindow()
    {
        QFETCH(QString, before);
        QFETCH(bool, beforeUserOption);
        QFETCH(QString, password);
        QFETCH(bool, userOption);
        QFETCH(bool, serviceOption);
        QFETCH(QString, caption);
        QFETCH(bool, functions);
        QFETCH(bool, quit);
        WindowRig f;
        QVERIFY(f.open(false));
        for (const char* name : {"mnuParameters", "mnuTestMateriel", "mnuVdesParam"})
            f.window->setWired(name);
        if (!before.isEmpty()) {
            f.setOptions(beforeUserOption, true);
            f.logIn(before);
            f.window->showLogIn(false);
        }
        f.setOptions(userOption, serviceOption);
        QSignalSpy changed(f.station.get(), &Station::modeChanged);
        f.logIn(password);
        const bool service = password.toLower() == "dolphin";
        if (before.isEmpty())
            QCOMPARE(changed.count(), 1);
        QCOMPARE(f.get<QLabel>("LabelMode")->text(), service ? QString("Service mode") : QString("User mode"));
        if (!caption.isEmpty())
            QCOMPARE(f.window->action("mnuStartperatorMode")->text(), caption);
        QCOMPARE(f.window->action("mnuFunctions")->isEnabled(), functions);
        QCOMPARE(f.window->action("mnuQuit")->isEnabled(), quit);
        QCOMPARE(f.window->action("mnuParameterVB")->isEnabled(), service);
        QCOMPARE(f.get<QWidget>("QuitteProg")->isEnabled(), service);
        QCOMPARE(f.station->tables().mode, service ? OperatingMode::Service : OperatingMode::User);
        QCOMPARE(f.station->findChild<QTimer*>("Timer8")->isActive(), service);
        // Parameter writes and hardware tests stay with service mode whatever the option boxes say.
        QCOMPARE(f.window->action("mnuParameters")->isEnabled(), service && functions);
        QCOMPARE(f.window->action("mnuTestMateriel")->isEnabled(), service && functions);
        QCOMPARE(f.window->action("mnuVdesParam")->isEnabled(), functions);
        QVERIFY(!f.get<QWidget>("LoginBox")->isVisible());
        auto* picture10 = f.get<QLabel>("Picture10");
        QCOMPARE(picture10->isVisible(), service && serviceOption);
        QVERIFY(f.window->action("mnuEraseListe4")->isEnabled());
        // A control with nothing behind it stays disabled in every mode.
        QVERIFY(!f.window->isWired("mnuAD") && !enabled(f, "mnuAD"));
    }

    // Not logged in, then in user mode, then in service mode.
    void wrongPasswordChangesNothing()
    {
        WindowRig f;
        QVERIFY(f.open(false));
        f.setOptions(true, true);
        int refused = 0;
        for (const char* first : {"", "harvests", "dolphin"}) {
            if (*first)
                f.logIn(first);
            f.window->showLogIn(false);
            // Only the refusal beside the password box shows; no control changes.
            const auto controls = [&f] {
                return snapshot(f).filter(QRegularExpression("^(?!LoginError)"));
            };
            const QStringList before = controls();
            const OperatingMode mode = f.station->mode();
            const bool timer8 = f.station->findChild<QTimer*>("Timer8")->isActive();
            QSignalSpy warned(f.station.get(), &Station::warning);
            QSignalSpy changed(f.station.get(), &Station::modeChanged);
            for (const char* wrong : {"harvest", "dolphins", "", " harvests", "Sesame-42"}) {
                f.logIn(wrong);
                ++refused;
            }
            QCOMPARE(controls(), before);
            // Told beside the box and on the status line, journaled without the typed text.
            auto* error = f.get<QLabel>("LoginError");
            QVERIFY(error->isVisible());
            QCOMPARE(error->text(), QString("Wrong password: the mode is unchanged"));
            QCOMPARE(f.window->statusBar()->currentMessage(), error->text());
            const QByteArray history = readBytes(f.station->files().pathOf("\\Histo.txt"));
            QCOMPARE(history.count("Log-in refused: wrong password"), refused);
            QVERIFY(!history.contains("Sesame"));
            QCOMPARE(f.station->mode(), mode);
            QCOMPARE(f.station->findChild<QTimer*>("Timer8")->isActive(), timer8);
            QCOMPARE(warned.count(), 0);
            QCOMPARE(changed.count(), 0);
            QVERIFY(f.window->findChildren<QMessageBox*>().isEmpty());
        }
    }

    // The form ChangePassword from the Service menu: service mode only, refusals shown on the form.
    void serviceSetsAPasswordThroughTheForm()
    {
        WindowRig rig;
        QVERIFY(rig.open(false));
        Station& station = *rig.station;
        LogWindow& window = *rig.window;
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
        QVERIFY2(!records[0].toUpper().contains("ORCA"), records[0]);
        QCOMPARE(records[1], QByteArray("\"dolphin\"\r"));
        QVERIFY(!station.logIn("harvests"));
        QVERIFY(station.logIn("ORCA"));
        QCOMPARE(station.mode(), OperatingMode::User);
        QVERIFY(passwords::isHashed(station.settings().passwords[0]));
        // Each log-in, the end of service mode and the change are in the history, not the password.
        const QByteArray journal = test::readBytes(station.files().pathOf("\\Histo.txt"));
        QCOMPARE(journal.count("Logged in (service mode)"), 1);
        QCOMPARE(journal.count("Logged in (user mode): service mode ended"), 1);
        QCOMPARE(journal.count("The user password was changed"), 1);
        QVERIFY(!journal.toUpper().contains("ORCA"));

        // The same password again is salted afresh. Leaving service mode closes the form.
        QVERIFY(station.logIn("dolphin"));
        entry->trigger();
        type("orca", "orca");
        QVERIFY(test::readBytes(station.files().loginFile()).split('\n').at(0) != records[0]);
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

    // Rows marked wired must come wired from the window; the others are wired by the test first.
    void controlsFollowTheMode_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("notLoggedIn");
        QTest::addColumn<bool>("user");
        QTest::addColumn<bool>("service");
        QTest::addColumn<bool>("wired");
        for (const char* name : {"ComOperStartLE3", "CommHalOperator", "mnuVdesParam", "mnuRegulateActive"})
            QTest::newRow(name) << name << false << true << true << false;
        for (const char* name : {"mnuParameters", "mnuIOListData", "mnuRFStamptoPC", "mnuRFPCtoStamp", "mnuProtocolTrace",
                                 "mnuTestMateriel", "mnuCoeff", "mnuArdwUptime", "mnuEspion", "mnuQuit", "mnuParameterVB",
                                 "QuitteProg"})
            QTest::newRow(name) << name << false << false << true << false;
        for (const char* name : {"SelectedEngine", "OkStart"})
            QTest::newRow(name) << name << true << true << true << false;
        for (const char* name : {"ComOperStartRS232", "ActiveDesactiveRS232", "ConfigurePorts", "mnuhisto", "Label9",
                                 "PowerSetPoints", "mnuAlarmHalogen", "mnuAlarmPlateau", "mnuAlarmLFC", "mnuAlarmSummary"})
            QTest::newRow(name) << name << false << true << true << true;
    }
    void controlsFollowTheMode()
    {
        QFETCH(QString, name);
        QFETCH(bool, notLoggedIn);
        QFETCH(bool, user);
        QFETCH(bool, service);
        QFETCH(bool, wired);
        WindowRig f;
        QVERIFY(f.open(false));
        f.setOptions(true, true);
        if (wired) {
            QVERIFY(f.window->isWired(name));
        } else if (!f.window->isWired(name)) {
            QVERIFY(!enabled(f, name));
            f.window->setWired(name);
        }
        QCOMPARE(enabled(f, name), notLoggedIn);
        QVERIFY(explained(f, name));
        f.logIn("harvests");
        QCOMPARE(enabled(f, name), user);
        QVERIFY(explained(f, name));
        f.window->showLogIn(true);
        f.logIn("dolphin");
        QCOMPARE(enabled(f, name), service);
        QVERIFY(explained(f, name));
    }

    void serviceTimeOutFallsBackToUserMode_data()
    {
        QTest::addColumn<int>("limit");
        QTest::newRow("1") << 1;
        QTest::newRow("3") << 3;
    }
    void serviceTimeOutFallsBackToUserMode()
    {
        QFETCH(int, limit);
        WindowRig f;
        QVERIFY(f.open(false));
        SoftwareSettings s = f.station->software();
        s.serviceTimeOut = limit;
        s.userModeOption = false;
        f.station->setSoftwareSettings(s, false);
        f.logIn("DOLPHIN");
        auto* timer8 = f.station->findChild<QTimer*>("Timer8");
        int ticks = 0;
        int ticksAtFallBack = -1;
        connect(timer8, &QTimer::timeout, this, [&] { ++ticks; });
        connect(f.station.get(), &Station::modeChanged, this, [&] { ticksAtFallBack = ticks; });
        QSignalSpy changed(f.station.get(), &Station::modeChanged);
        timer8->setInterval(5);
        timer8->start();
        QVERIFY(changed.wait(kWaitMs));
        // The counter starts at 1 and the mode falls back once it has passed the limit.
        QCOMPARE(ticksAtFallBack, limit);
        QCOMPARE(f.station->serviceCounter(), 1);
        QCOMPARE(f.get<QLabel>("LabelMode")->text(), QString("User mode"));
        // Unlike a user log-in after service mode, the fall-back does not keep Quit and Functions.
        QVERIFY(!f.window->action("mnuQuit")->isEnabled());
        QVERIFY(!f.window->action("mnuFunctions")->isEnabled());
        QVERIFY(!f.get<QLabel>("Picture10")->isVisible());
        QVERIFY(!timer8->isActive());
        QCOMPARE(historyLines(*f.station, "Service mode timed out: back in user mode"), 1);
    }

    // Quit and the close button ask first, and No keeps the station running; QuitteProg ends it
    // without asking. The software settings saved before are what the next station starts with.
    void quitAsksAndNoKeepsItRunning_data()
    {
        QTest::addColumn<bool>("closeButton"); // then Yes to the close button, or else QuitteProg
        QTest::newRow("close button") << true;
        QTest::newRow("QuitteProg") << false;
    }
    void quitAsksAndNoKeepsItRunning()
    {
        QFETCH(bool, closeButton);
        WindowRig f;
        QVERIFY(f.open(false));
        f.logIn("dolphin");
        QVERIFY(f.window->action("mnuQuit")->isEnabled());
        f.window->action("mnuParameterVB")->trigger();
        auto* form = f.window->findChild<SoftwareSettingsForm*>("ParamLogicielVB");
        QVERIFY(form && form->isVisible());
        form->findChild<QCheckBox*>("CheckGroup_1")->setChecked(false);
        form->findChild<QCheckBox*>("CheckCurve_5")->setChecked(false);
        form->findChild<QCheckBox*>("OptionUser")->setChecked(true);
        form->findChild<QCheckBox*>("CheckCoefficients")->setChecked(false);
        form->findChild<QSpinBox*>("TextTimeOut")->setValue(7);
        form->findChild<QSpinBox*>("SpinValueSize")->setValue(22);
        QTest::mouseClick(form->findChild<QPushButton*>("Command1"), Qt::LeftButton);
        QVERIFY(!form->isVisible());
        QVERIFY(!f.station->software().groupCommands[1]);
        QVERIFY(f.station->software().userModeOption);
        QCOMPARE(f.station->software().serviceTimeOut, 7);
        QCOMPARE(readBytes(f.station->files().pathOf("\\CocheSelect.ini")), QByteArray("0\r\n"));
        QCOMPARE(f.get<QLabel>("LE2Motor")->font().pointSize(), 22); // the value size reaches the columns
        QCOMPARE(f.station->files().readValues("\\Display.ini"), QStringList{"22"});

        form = f.window->openSoftwareSettings(); // open while the station ends
        QVERIFY(form->isVisible());
        QSignalSpy finished(f.station.get(), &Station::finished);
        QSignalSpy asked(f.station.get(), &Station::question);

        f.window->action("mnuQuit")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(f.get<QMessageBox>("MessageQuestion") && f.get<QMessageBox>("MessageQuestion")->isVisible(), kWaitMs);
        QMessageBox* box = f.get<QMessageBox>("MessageQuestion");
        QVERIFY(box->button(QMessageBox::Yes) && box->button(QMessageBox::No));
        QVERIFY(!QApplication::activeModalWidget() || QApplication::activeModalWidget() == box);
        QTest::mouseClick(box->button(QMessageBox::No), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(f.window->findChildren<QMessageBox*>().isEmpty(), kWaitMs);
        QCOMPARE(finished.count(), 0);
        QVERIFY(f.window->isVisible());
        QVERIFY(form->isVisible());
        QVERIFY(f.station->displayTimer()->isActive());

        if (closeButton) {
            f.window->close();
            QVERIFY(f.window->isVisible());
            QTRY_VERIFY_WITH_TIMEOUT(f.get<QMessageBox>("MessageQuestion") && f.get<QMessageBox>("MessageQuestion")->isVisible(), kWaitMs);
            box = f.get<QMessageBox>("MessageQuestion");
            QTest::mouseClick(box->button(QMessageBox::Yes), Qt::LeftButton);
        } else {
            QTest::mouseClick(f.get<QPushButton>("QuitteProg"), Qt::LeftButton);
        }
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, kWaitMs);
        QCOMPARE(historyLines(*f.station, closeButton ? "Station ended (Quit): no engine running"
                                                      : "Station ended (Exit control): no engine running"),
                 1);
        QCOMPARE(asked.count(), closeButton ? 2 : 1);
        QVERIFY(!f.window->isVisible());
        QVERIFY(!form->isVisible());
        for (QTimer* t : f.station->findChildren<QTimer*>())
            QVERIFY2(!t->isActive(), qPrintable(t->objectName()));
        f.station->answer(asked.first().first().toInt(), true); // the first question was answered No
        QCOMPARE(finished.count(), 1);

        // A new station on the same folder starts with what was saved.
        const QString folder = f.station->files().folder();
        f.window.reset();
        f.station.reset();
        ManualClock clock;
        Station again(folder, {}, clock);
        QVERIFY(loadAndStart(again));
        QVERIFY(!again.software().groupCommands[1]);
        QVERIFY(!again.software().curveVisible[5]);
        QVERIFY(again.software().curveVisible[4]);
        QCOMPARE(again.software().serviceTimeOut, 7);
        QCOMPARE(again.settings().displayWithCoefficients, 0);
    }
};

TARVEK_TEST(LogWindowTest)
#include "tst_log_window.moc"
