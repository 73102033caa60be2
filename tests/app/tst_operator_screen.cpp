// The main window as an operator meets it: it fits a small screen in every mode, log-out by hand
// and when idle, Escape closes forms, and the keyboard.
#include "app/service/change_password_form.h"
#include "app/settings/configuration_rs232.h"
#include "app/recording/graphique_screen.h"
#include "app/recording/histo_window.h"
#include "app/main_window/log_window.h"
#include "app/alarms/messages_error.h"
#include "app/setpoints/pw6_sliders.h"
#include "app/settings/software_settings_form.h"
#include "settings/display_settings.h"
#include "test_registry.h"
#include "test_support.h"
#include "window_rig.h"

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSet>
#include <QStatusBar>
#include <QStyleHints>

#include <functional>

using namespace tarvek;

namespace {
constexpr int kWaitMs = 30'000;
} // namespace

class OperatorScreenTest : public QObject {
    Q_OBJECT
private slots:
    // 1366x768, 1280x800 and 1920x1080 at 1.5 (1280x720 logical), each less a title bar (30) and a
    // panel (48), in every mode, with an engine lost and the longest alarm text waiting: the engine
    // columns have no scroll bar and no row is cut; the banner's text is whole, or cut with the
    // whole of it in its tooltip; the summary is one key away. On 1366x768 at 1.5 and at the
    // window's minimum size the columns scroll to each of theirs. Every control lies inside the
    // window at every size.
    void oneScreenInEveryMode()
    {
        WindowRig rig;
        QVERIFY(rig.open(true));
        LogWindow* w = rig.window.get();
        rig.setOptions(false, true); // service mode shows its marker in the top bar
        for (int n = 1; n <= 6; ++n)
            QTRY_VERIFY_WITH_TIMEOUT(!allDashes(rig, n), kWaitMs);
        auto* scroll = rig.get<QScrollArea>("EngineScroll");
        const QList<QSize> screens{{1366, 768 - 30 - 48}, {1280, 800 - 30 - 48}, {1280, 720 - 30 - 48},
                                   {1366 * 2 / 3, (768 - 48 - 45) * 2 / 3}};
        // A cell that grows once the values have their size (a column framed for a late reply, a
        // status on two lines) makes room for itself: the columns never scroll for it.
        rig.window->resize(screens[0]);
        QTRY_COMPARE_WITH_TIMEOUT(rig.window->size(), screens[0], kWaitMs);
        QTest::qWait(50);
        rig.engines.model(2).sendBlocks(200);
        QVERIFY(rig.engines.model(6).startLocally());
        QTRY_COMPARE_WITH_TIMEOUT(rig.get<QLabel>("Label30_1")->text(), QString("late"), kWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(rig.get<QLabel>("LE6Status")->text().contains("not started here"), kWaitMs);
        QTest::qWait(50); // the cells grow, then the values make room: on a slow machine it takes longer
        QTRY_VERIFY_WITH_TIMEOUT(!scroll->verticalScrollBar()->isVisible() && !scroll->horizontalScrollBar()->isVisible(), kWaitMs);
        rig.engines.model(4).setSilent(true);
        QTRY_COMPARE_WITH_TIMEOUT(rig.get<QLabel>("Label30_3")->text(), QString("lost"), kWaitMs);
        if (QDialog* box = w->lossBox())
            box->close();
        // The longest alarm text there is: a fault of a running engine.
        QVERIFY(rig.engines.model(3).startLocally());
        rig.engines.model(3).setFaultCode(17);
        auto* banner = rig.get<QLabel>("AlarmBannerText");
        QTRY_VERIFY_WITH_TIMEOUT(banner->text().contains("Overflow - Enabling security (z1+z2+z3) (code 17)"), kWaitMs);
        const auto isControl = [w](QWidget* c) {
            return (qobject_cast<QAbstractButton*>(c) || qobject_cast<QLineEdit*>(c) || qobject_cast<QComboBox*>(c) ||
                    qobject_cast<QListWidget*>(c)) && c->isVisibleTo(w) && !c->objectName().isEmpty();
        };
        QList<int> sizes; // of the values, at each screen
        for (const char* mode : {"", "harvests", "dolphin"}) {
            if (*mode) {
                w->showLogIn(true);
                rig.logIn(mode);
            }
            // The window's least size moves with what it shows (a status on two lines): taken as it
            // is when the window is made that small, and followed while it settles.
            const auto least = [w] { return w->minimumSizeHint().expandedTo(w->minimumSize()); };
            const QSize minimum = least();
            QVERIFY2(minimum.width() <= screens[3].width() && minimum.height() <= screens[3].height(),
                     qPrintable(QStringLiteral("minimum %1x%2").arg(minimum.width()).arg(minimum.height())));
            sizes.clear();
            for (const QSize& screen : screens + QList<QSize>{QSize()}) {
                const QSize size = screen.isEmpty() ? least() : screen;
                const QString where = QString("%1x%2 %3").arg(size.width()).arg(size.height()).arg(mode);
                const bool fits = sizes.size() < 3; // the three screens the columns fit whole
                w->resize(size);
                QTRY_COMPARE_WITH_TIMEOUT(w->size(), screen.isEmpty() ? least() : size, kWaitMs);
                // The values take their size once the resizes settle, and a value that changes meanwhile
                // may need another fit: looked at until they are settled.
                QTest::qWait(50);
                QTRY_VERIFY2_WITH_TIMEOUT(
                    !fits || (!scroll->verticalScrollBar()->isVisible() && !scroll->horizontalScrollBar()->isVisible()),
                    qPrintable(where), kWaitMs);
                const auto cutCell = [&]() -> QString { // the first cell the view does not show whole
                    const QRect view = scroll->viewport()->rect();
                    for (QWidget* cell : scroll->widget()->findChildren<QWidget*>()) {
                        if (!cell->isVisible() || (!fits && !isControl(cell)))
                            continue;
                        if (!fits)
                            scroll->ensureWidgetVisible(cell, 0, 0);
                        if (!view.contains(QRect(cell->mapTo(scroll->viewport(), QPoint()), cell->size())))
                            return cell->objectName();
                    }
                    return {};
                };
                QString cut;
                QTRY_VERIFY2_WITH_TIMEOUT((cut = cutCell()).isEmpty(), qPrintable(where + " " + cut), kWaitMs);
                int controls = 0;
                for (QWidget* c : w->findChildren<QWidget*>()) {
                    if (!isControl(c) || scroll->widget()->isAncestorOf(c))
                        continue;
                    QVERIFY2(w->rect().contains(QRect(c->mapTo(w, QPoint()), c->size())), qPrintable(where + " " + c->objectName()));
                    ++controls;
                }
                QVERIFY(controls >= 5); // buttons, lists, the engine choice: not an empty search
                const bool whole = banner->fontMetrics().horizontalAdvance(banner->text()) <= banner->contentsRect().width();
                QVERIFY2(whole || banner->toolTip().contains(banner->text()), qPrintable(where));
                QVERIFY(w->rect().contains(QRect(banner->mapTo(w, QPoint()), banner->size())));
                sizes << w->valuePointSize();
            }
        }
        QCOMPARE(rig.station->mode(), OperatingMode::Service);
        auto* marker = rig.get<QLabel>("Picture10");
        QVERIFY(marker->isVisible());
        QVERIFY(w->rect().contains(QRect(marker->mapTo(w, QPoint()), marker->size())));
        // The smallest screen takes smaller values; back on the larger one they grow again.
        QVERIFY2(sizes[2] < sizes[0] && sizes[0] <= DisplaySettings::kDefaultPointSize, qPrintable(QString::number(sizes[2])));
        w->resize(screens[0]);
        QTRY_COMPARE_WITH_TIMEOUT(w->valuePointSize(), sizes[0], kWaitMs);
        w->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w));
        QTest::keyClick(w, Qt::Key_F10);
        QTRY_VERIFY_WITH_TIMEOUT(w->findChild<QWidget*>("AlarmSummary") && w->findChild<QWidget*>("AlarmSummary")->isVisible(),
                                 kWaitMs);
        // Last, so that it changes no size the steps above ask for: sized as the station sizes it,
        // the window and its frame fit the screen it is on.
        w->fitToScreen(Station::kFormWidthTwips, Station::kFormHeightTwips);
        QCoreApplication::processEvents();
        QVERIFY(w->screen()->availableGeometry().contains(QRect(QPoint(), w->frameGeometry().size())));
    }

    // Every menu and every entry whose caption stays put has its own underlined letter; Ctrl+n
    // selects engine n. Escape closes each form, the dialogs and the plain windows alike; the main
    // window stays. Log Out is one step; an idle user mode, whose keys tell the operator is there,
    // logs itself out once service mode asks for it.
    void keyboardAndLogOut()
    {
        WindowRig rig;
        QVERIFY(rig.start(false));
        LogWindow* w = rig.window.get();
        const auto mnemonic = [](const QString& text) {
            const qsizetype at = text.indexOf(QLatin1Char('&'));
            return at >= 0 && at + 1 < text.size() ? text.at(at + 1).toUpper() : QChar();
        };
        QTRY_VERIFY_WITH_TIMEOUT(!mnemonic(w->action("mnuStation")->text()).isNull(), kWaitMs);
        QSet<QChar> titles;
        for (QAction* title : w->menuBar()->actions()) {
            QVERIFY2(!mnemonic(title->text()).isNull(), qPrintable(title->text()));
            titles.insert(mnemonic(title->text()));
            QMenu* menu = title->menu();
            emit menu->aboutToShow();
            QSet<QChar> entries;
            int named = 0;
            for (QAction* a : menu->actions()) {
                if (a->isSeparator() || a->text() == w->station().modeMenuCaption() ||
                    a->objectName().startsWith("mnuAlarm") || a->objectName() == "mnuStopAlarm")
                    continue;
                QVERIFY2(!mnemonic(a->text()).isNull(), qPrintable(a->text()));
                entries.insert(mnemonic(a->text()));
                ++named;
            }
            QCOMPARE(entries.size(), named);
        }
        QCOMPARE(titles.size(), w->menuBar()->actions().size());
        QCOMPARE(w->action("mnuStartperatorMode")->text(), w->station().modeMenuCaption());

        w->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w));
        for (int n : {3, 6, 1}) {
            QTest::keyClick(w, Qt::Key(Qt::Key_0 + n), Qt::ControlModifier);
            QCOMPARE(int(w->station().tables().selectedEngine), n);
        }

        const std::pair<const char*, std::function<QWidget*()>> forms[] = {
            {"ParamLogicielVB", [w] { return w->openSoftwareSettings(); }},
            {"MessagesError", [w] { return w->openMessagesError(); }},
            {"ChangePassword", [w] { return w->openChangePassword(); }},
            {"ConfigurationRS232", [w] { return w->openPortConfiguration(); }},
            {"Histo", [w] {
                 w->action("mnuhisto")->trigger();
                 return w->findChild<QWidget*>("Histo");
             }},
            {"GraphiqueScreen", [w] { return w->openGraphiqueScreen(); }},
            {"PW6Sliders", [w] { return w->openPowerSetPoints(); }}};
        for (const auto& [name, open] : forms) {
            QPointer<QWidget> form = open();
            QVERIFY2(form && form->isVisible(), name);
            form->activateWindow();
            QWidget* target = form->focusWidget() ? form->focusWidget() : form.data();
            QTest::keyClick(target, Qt::Key_Escape);
            QTRY_VERIFY2_WITH_TIMEOUT(!form || !form->isVisible(), name, kWaitMs);
            QVERIFY(w->isVisible());
        }

        rig.window->action("mnuLogOut")->trigger();
        QCOMPARE(rig.station->mode(), OperatingMode::NotLoggedIn);
        QVERIFY(rig.get<QWidget>("LoginBox")->isVisible());
        QVERIFY(!rig.get<QPushButton>("StartAllLE")->isEnabled());

        ScreenSettings screen = rig.station->screen();
        screen.userLogoutMinutes = 2;
        QVERIFY(rig.station->setScreenSettings(screen));
        QCOMPARE(rig.station->files().readValues("\\Screen.ini"), (QStringList{"1", "2"}));
        rig.setOptions(true, true);
        rig.logIn("harvests");
        rig.clock.advanceSeconds(100);
        QTest::keyClick(rig.window.get(), Qt::Key_Shift); // the operator is there
        rig.clock.advanceSeconds(100);
        rig.station->idleLogout().check();
        QCOMPARE(rig.station->mode(), OperatingMode::User);
        rig.clock.advanceSeconds(30);
        rig.station->idleLogout().check();
        QCOMPARE(rig.station->mode(), OperatingMode::NotLoggedIn);
        QVERIFY(rig.window->statusBar()->currentMessage().startsWith("User mode logged out after 2 min"));

        // Nobody types: the text cursors rest, and the next key has them blink again.
        auto* rest = rig.window->findChild<QTimer*>("TimerCursorRest");
        QVERIFY(rest && rest->isActive() && rest->interval() == LogWindow::kCursorBlinkMs);
        const int blink = QGuiApplication::styleHints()->cursorFlashTime();
        QVERIFY(blink > 0);
        rest->start(1);
        QTRY_COMPARE_WITH_TIMEOUT(QGuiApplication::styleHints()->cursorFlashTime(), 0, kWaitMs);
        QTest::keyClick(rig.window.get(), Qt::Key_Shift);
        QCOMPARE(QGuiApplication::styleHints()->cursorFlashTime(), blink);
        QVERIFY(rest->isActive());
    }
};

TARVEK_TEST(OperatorScreenTest)
#include "tst_operator_screen.moc"
