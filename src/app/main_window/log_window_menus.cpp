// The main window's menu bar: every entry with its documented name and who may use it.
#include "app/main_window/log_window.h"

#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>

#include <array>

namespace tarvek {

void LogWindow::buildMenus()
{
    auto* bar = menuBar();
    bar->setObjectName(QStringLiteral("MenuBar"));
    const auto menu = [this, bar](const char* name, const QString& caption, Access access) {
        QMenu* m = bar->addMenu(caption);
        m->setObjectName(QString::fromLatin1(name));
        m->setToolTipsVisible(true); // a greyed entry says why
        m->menuAction()->setObjectName(QString::fromLatin1(name));
        addControl(m->menuAction(), access, true);
        return m;
    };
    const auto entry = [this](QMenu* m, const char* name, const QString& caption, Access access,
                              bool wired = false) {
        QAction* a = m->addAction(caption);
        a->setObjectName(QString::fromLatin1(name));
        addControl(a, access, wired);
        return a;
    };

    QMenu* station = menu("mnuStation", QStringLiteral("Station"), Access::Always);
    QAction* logIn = entry(station, "mnuStartperatorMode", QStringLiteral("Start in Mode (Password)"),
                           Access::Always, true);
    QAction* service = entry(station, "mnuStartServMode", QStringLiteral("Start in SERVICE Mode"),
                             Access::Always, true);
    QAction* logOut = entry(station, "mnuLogOut", QStringLiteral("Log Out"), Access::Operator, true);
    logOut->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_L));
    connect(logOut, &QAction::triggered, &station_, [this] { station_.logOut(); });
    station->addSeparator();
    QAction* params = entry(station, "mnuParameterVB", QStringLiteral("Software Settings"),
                            Access::Service, true);
    station->addSeparator();
    QAction* quit = entry(station, "mnuQuit", QStringLiteral("Quit"), Access::Quit, true);
    connect(logIn, &QAction::triggered, this, [this] {
        showLogIn(station_.mode() == OperatingMode::User);
    });
    connect(service, &QAction::triggered, this, [this] { showLogIn(true); });
    connect(params, &QAction::triggered, this, [this] { openSoftwareSettings(); });
    connect(quit, &QAction::triggered, &station_, &Station::requestQuit);

    QMenu* alarm = menu("mnuAlarm", QStringLiteral("Alarms"), Access::Operator);
    entry(alarm, "mnuAlarmHalogen", QStringLiteral("QTH-Lamps"), Access::Operator);
    entry(alarm, "mnuAlarmPlateau", QStringLiteral("SHT (FADEC and PC)"), Access::Operator);
    entry(alarm, "mnuAlarmLFC", QStringLiteral("LFC"), Access::Operator);
    entry(alarm, "mnuStopAlarm", QStringLiteral("Stop Alarm"), Access::Operator);
    entry(alarm, "mnuAD", QStringLiteral("Unselect All"), Access::Operator);
    alarm->addSeparator();
    entry(alarm, "mnuHalogen", QStringLiteral("QTH Alarm Control"), Access::Operator);
    entry(alarm, "mnuSHTFenetre", QStringLiteral("SHT Alarm Control (PC)"), Access::Operator);
    entry(alarm, "mnuLfcControlAlarm", QStringLiteral("LFC Alarm Control "), Access::Operator);

    QMenu* recording = menu("mnuRecording", QStringLiteral("Recording"), Access::Operator);
    entry(recording, "mnuCreateDataLogger", QStringLiteral("Create Datalogger"), Access::Operator);
    entry(recording, "mnuOffDataLogger", QStringLiteral("OFF Datalogger"), Access::Operator);
    recording->addSeparator();
    entry(recording, "mnuhisto", QStringLiteral("Activity Logging"), Access::Operator);
    entry(recording, "mnuCodeError", QStringLiteral("FADEC Error Codes"), Access::Operator);
    QAction* erase = entry(recording, "mnuEraseListe4", QStringLiteral("Erase (List error)"),
                           Access::Operator, true);
    connect(erase, &QAction::triggered, &station_, &Station::clearEvents);

    QMenu* graphs = menu("mnuFonctions", QStringLiteral("Functions"), Access::Operator);
    auto* scale = new QActionGroup(this);
    const std::array<std::pair<const char*, const char*>, 5> scales{{
        {"mnu50", "50    ms/pixel Time"},
        {"mnu100", "100  ms/pixel Time"},
        {"mnu200", "200  ms/pixel Time"},
        {"mnu400", "400  ms/pixel Time"},
        {"mnu800", "800  ms/pixel Time"},
    }};
    for (const auto& [name, caption] : scales) {
        QAction* a = entry(graphs, name, QString::fromLatin1(caption), Access::Operator);
        a->setCheckable(true);
        a->setChecked(QByteArray(name) == "mnu200");
        scale->addAction(a);
    }
    graphs->addSeparator();
    entry(graphs, "mnuScroll", QStringLiteral("Scroll"), Access::Operator)->setCheckable(true);
    entry(graphs, "mnuAutoSaveScreen", QStringLiteral("Auto-Save (Out of screen)"), Access::Operator)
        ->setCheckable(true);
    entry(graphs, "mnuClearScreen", QStringLiteral("Clear Screen"), Access::Operator);
    graphs->addSeparator();
    freeze_ = entry(graphs, "mnuRegulateActive", QStringLiteral("Freeze"), Access::Operator, true);
    freeze_->setCheckable(true);
    connect(freeze_, &QAction::toggled, this, [this](bool on) {
        statusBar()->showMessage(on ? QStringLiteral("Display frozen") : QStringLiteral("Display live"),
                                 5'000);
        refreshDisplay();
    });

    functionsMenu_ = menu("mnuFunctions", QStringLiteral("Service"), Access::Functions);
    entry(functionsMenu_, "mnuParameters", QStringLiteral("FADEC Parameters"), Access::ServiceFunctions);
    entry(functionsMenu_, "mnuVdesParam", QStringLiteral("Read LE Settings"), Access::Functions);
    entry(functionsMenu_, "mnuIOListData", QStringLiteral("Read FADEC I/O"), Access::Functions);
    entry(functionsMenu_, "mnuRFStamptoPC", QStringLiteral("Read Fadec IO - Stamp to PC"), Access::Functions);
    entry(functionsMenu_, "mnuRFPCtoStamp", QStringLiteral("Read Fadec IO - PC to Stamp"),
          Access::ServiceFunctions);
    functionsMenu_->addSeparator();
    entry(functionsMenu_, "mnuTestMateriel", QStringLiteral("Hardward Tests"), Access::ServiceFunctions);
    entry(functionsMenu_, "mnuCoeff", QStringLiteral("LE Data"), Access::Functions);
    entry(functionsMenu_, "mnuArdwUptime", QStringLiteral("Hardware Uptime"), Access::Functions);
    entry(functionsMenu_, "mnuEspion", QStringLiteral("Debugger Stamp"), Access::Functions);
}

} // namespace tarvek
