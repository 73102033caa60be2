#include "app/log_window.h"

#include "app/colours.h"
#include "app/messages_error.h"
#include "app/software_settings_form.h"

#include <cmath>

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

namespace tarvek {

namespace {
// Coefficient rows of "\Coefficients.ini".
enum CoefficientRow { RowLpc, RowLfc, RowVis, RowIr, RowRh, RowSbv, RowVcc, RowMat, RowSht, RowM, RowV1, RowV2 };

const QString kNoValue = QStringLiteral("---");
} // namespace

LogWindow::LogWindow(Station& station, QWidget* parent) : QMainWindow(parent), station_(station)
{
    setObjectName(QStringLiteral("Log"));
    // Every timer and port belongs to the main window: a search by name from `Log` finds them.
    if (!station_.parent()) {
        station_.setParent(this);
        hosted_ = &station_;
    }
    setWindowTitle(station_.title());
    buildMenus();
    buildCentral();
    statusBar()->setObjectName(QStringLiteral("StatusBar"));
    resize(twips(Station::kFormWidthTwips), twips(Station::kFormHeightTwips));

    connect(&station_, &Station::titleChanged, this, &QWidget::setWindowTitle);
    connect(&station_, &Station::formSizeRequested, this,
            [this](int w, int h) { resize(twips(w), twips(h)); });
    connect(&station_, &Station::selectedCaptionChanged, this, [this](const QString& caption) {
        selectedCaption_->setText(caption);
        const int engine = station_.tables().selectedEngine;
        selected_->setCurrentIndex(engine >= 1 && engine <= kEngines ? engine : 0);
    });
    connect(&station_, &Station::functionKeyMarkerChanged, functionKey_, &QLabel::setText);
    connect(&station_, &Station::statusText, this,
            [this](const QString& text) { statusBar()->showMessage(text, 10'000); });
    connect(&station_, &Station::modeChanged, this, &LogWindow::applyMode);
    connect(&station_, &Station::warning, this, &LogWindow::onWarning);
    connect(&station_, &Station::question, this, &LogWindow::onQuestion);
    connect(&station_, &Station::quitting, this, &LogWindow::onQuitting);
    connect(&station_, &Station::eventsCleared, list4_, &QListWidget::clear);
    connect(&station_, &Station::eventAppended, this, [this](const QString& line) {
        if (list4_->count() >= Station::kListLimit)
            delete list4_->takeItem(0);
        list4_->addItem(line);
        list4_->scrollToBottom();
    });
    connect(&station_, &Station::discoveryCleared, list3_, &QListWidget::clear);
    connect(&station_, &Station::discoveryAppended, this, [this](const QString& line) {
        if (list3_->count() >= Station::kListLimit)
            delete list3_->takeItem(0);
        list3_->addItem(line);
        list3_->scrollToBottom();
    });
    connect(&station_, &Station::portIndicatorChanged, this, [this](int engine, bool active) {
        QLabel* l = engines_.at(static_cast<std::size_t>(engine - 1)).link;
        l->setText(active ? QStringLiteral("yes") : QStringLiteral("no"));
        colours::paint(l, active ? colours::linkYes() : QColor());
    });
    connect(&station_, &Station::engineStatusChanged, this, &LogWindow::refreshEngine);
    connect(&station_, &Station::softwareSettingsChanged, this, &LogWindow::refreshDisplay);
    connect(&station_, &Station::powerSetPointsLoaded, this, &LogWindow::refreshDisplay);
    connect(&station_, &Station::startupFinished, this, [this] {
        refreshDisplay();
        if (station_.mode() == OperatingMode::NotLoggedIn)
            statusBar()->showMessage(QStringLiteral("Log in to operate the light engines"));
    });
    connect(station_.displayTimer(), &QTimer::timeout, this, &LogWindow::refreshDisplay);

    wireLink();
    wireHistory();
    wireOperation();
    wirePasswords();
    wireSetPoints();
    wireGraphs();
    applyMode();
    refreshDisplay();
    // Form load: the folders and the first caption; Timer1 runs the start-up once the loop turns.
    station_.load();
}

LogWindow::~LogWindow()
{
    // The window only hosts the station; whoever made it destroys it.
    if (hosted_ && hosted_->parent() == this)
        hosted_->setParent(nullptr);
}

QObject* LogWindow::control(const QString& name) const
{
    const auto it = rules_.find(name);
    if (it != rules_.end() && it->control)
        return it->control;
    return findChild<QObject*>(name);
}

QAction* LogWindow::action(const QString& name) const
{
    return qobject_cast<QAction*>(control(name));
}

void LogWindow::addControl(QObject* control, Access access, bool wired)
{
    rules_.insert(control->objectName(), Rule{control, access});
    if (wired)
        wired_.insert(control->objectName());
}

void LogWindow::setWired(const QString& name, bool wired)
{
    if (wired)
        wired_.insert(name);
    else
        wired_.remove(name);
    applyMode();
}

bool LogWindow::isAllowed(Access access) const
{
    const OperatingMode mode = station_.mode();
    const bool loggedIn = mode != OperatingMode::NotLoggedIn;
    switch (access) {
    case Access::Always: return true;
    case Access::Operator: return loggedIn;
    case Access::Service: return mode == OperatingMode::Service;
    case Access::Functions: return loggedIn && station_.functionsMenuAvailable();
    case Access::ServiceFunctions:
        return mode == OperatingMode::Service && station_.functionsMenuAvailable();
    case Access::Quit: return station_.quitAvailable();
    }
    return false;
}

void LogWindow::applyMode()
{
    for (auto it = rules_.cbegin(); it != rules_.cend(); ++it) {
        QObject* c = it->control;
        if (!c)
            continue;
        const bool enabled = wired_.contains(it.key()) && isAllowed(it->access);
        if (auto* a = qobject_cast<QAction*>(c))
            a->setEnabled(enabled);
        else if (auto* w = qobject_cast<QWidget*>(c))
            w->setEnabled(enabled);
    }
    action(QStringLiteral("mnuStartperatorMode"))->setText(station_.modeMenuCaption());

    const bool loggedIn = station_.mode() != OperatingMode::NotLoggedIn;
    loginBox_->setVisible(!loggedIn);
    if (loggedIn)
        statusBar()->clearMessage();
    if (station_.serviceMarkerShown()) {
        picture10_->setGeometry(twips(15600), twips(240), twips(495), twips(495));
        picture10_->show();
        picture10_->raise();
    } else {
        picture10_->hide();
    }
    QString modeText = QStringLiteral("Not logged in");
    if (station_.mode() == OperatingMode::User)
        modeText = QStringLiteral("User mode");
    else if (station_.mode() == OperatingMode::Service)
        modeText = QStringLiteral("Service mode");
    findChild<QLabel*>(QStringLiteral("LabelMode"))->setText(modeText);
}

void LogWindow::buildMenus()
{
    auto* bar = menuBar();
    bar->setObjectName(QStringLiteral("MenuBar"));
    const auto menu = [this, bar](const char* name, const QString& caption, Access access) {
        QMenu* m = bar->addMenu(caption);
        m->setObjectName(QString::fromLatin1(name));
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

QLabel* LogWindow::valueLabel(const QString& name)
{
    auto* l = new QLabel(kNoValue);
    l->setObjectName(name);
    l->setAlignment(Qt::AlignCenter);
    l->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    l->setMinimumWidth(80);
    QFont f = l->font();
    f.setBold(true);
    l->setFont(f);
    return l;
}

void LogWindow::buildCentral()
{
    auto* central = new QWidget(this);
    central->setObjectName(QStringLiteral("Central"));
    auto* outer = new QVBoxLayout(central);
    outer->setContentsMargins(6, 4, 6, 4);
    outer->setSpacing(4);

    // Top bar: engine choice, captions, mode, log-in box.
    auto* top = new QHBoxLayout;
    selectedCaption_ = new QLabel(QStringLiteral("Selected LE = "));
    selectedCaption_->setObjectName(QStringLiteral("LabelSelected"));
    QFont big = selectedCaption_->font();
    big.setBold(true);
    selectedCaption_->setFont(big);
    selected_ = new QComboBox;
    selected_->setObjectName(QStringLiteral("SelectedEngine"));
    selected_->addItem(QStringLiteral("?"));
    for (int n = 1; n <= kEngines; ++n)
        selected_->addItem(QStringLiteral("LE%1").arg(n));
    selected_->setToolTip(QStringLiteral("Engine that single-engine commands act on"));
    connect(selected_, &QComboBox::activated, this, [this](int index) {
        if (index > 0)
            station_.selectEngine(index);
        refreshDisplay();
    });
    addControl(selected_, Access::Always, true);
    functionKey_ = new QLabel;
    functionKey_->setObjectName(QStringLiteral("LabelFunctionKey"));
    functionKey_->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    functionKey_->setMinimumWidth(28);
    functionKey_->setAlignment(Qt::AlignCenter);
    auto* modeLabel = new QLabel;
    modeLabel->setObjectName(QStringLiteral("LabelMode"));
    modeLabel->setFont(big);
    top->addWidget(selectedCaption_);
    top->addWidget(selected_);
    top->addSpacing(8);
    top->addWidget(functionKey_);
    top->addSpacing(12);
    top->addWidget(modeLabel);
    top->addStretch(1);

    loginBox_ = new QWidget;
    loginBox_->setObjectName(QStringLiteral("LoginBox"));
    auto* login = new QHBoxLayout(loginBox_);
    login->setContentsMargins(0, 0, 0, 0);
    loginHint_ = new QLabel(QStringLiteral("Password:"));
    loginHint_->setObjectName(QStringLiteral("LoginHint"));
    text1_ = new QLineEdit;
    text1_->setObjectName(QStringLiteral("Text1"));
    text1_->setEchoMode(QLineEdit::Password);
    text1_->setMaximumWidth(140);
    okStart_ = new QPushButton(QStringLiteral("OK"));
    okStart_->setObjectName(QStringLiteral("OkStart"));
    login->addWidget(loginHint_);
    login->addWidget(text1_);
    login->addWidget(okStart_);
    connect(okStart_, &QPushButton::clicked, this, &LogWindow::onLogIn);
    connect(text1_, &QLineEdit::returnPressed, okStart_, &QPushButton::click);
    addControl(text1_, Access::Always, true);
    addControl(okStart_, Access::Always, true);
    top->addWidget(loginBox_);

    auto* quitteProg = new QPushButton(QStringLiteral("Exit"));
    quitteProg->setObjectName(QStringLiteral("QuitteProg"));
    quitteProg->setToolTip(QStringLiteral("Ends the program without asking"));
    connect(quitteProg, &QPushButton::clicked, &station_, &Station::quit);
    addControl(quitteProg, Access::Service, true);
    top->addWidget(quitteProg);
    outer->addLayout(top);

    // The engine columns: one row per quantity, one column per engine.
    auto* panels = new QFrame;
    panels->setObjectName(QStringLiteral("EnginePanels"));
    panels->setFrameStyle(QFrame::StyledPanel | QFrame::Raised);
    auto* grid = new QGridLayout(panels);
    grid->setContentsMargins(6, 4, 6, 4);
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(2);
    const QStringList rows = {QString(),          QStringLiteral("Link"),   QStringLiteral("Port"),
                              QStringLiteral("Phase"), QStringLiteral("Step"), QStringLiteral("Status"),
                              QString(),          QStringLiteral("Motor M"), QStringLiteral("Fan V1"),
                              QStringLiteral("Fan V2"), QString::fromUtf8("MAT \u00B0C"),
                              QString::fromUtf8("SHT \u00B0C"), QStringLiteral("LPC"), QStringLiteral("LFC"),
                              QStringLiteral("VIS"), QStringLiteral("IR"), QStringLiteral("RH"),
                              QStringLiteral("SBV"), QStringLiteral("VCC"), QStringLiteral("Power"),
                              QStringLiteral("Fault")};
    for (int r = 0; r < rows.size(); ++r) {
        auto* l = new QLabel(rows[r]);
        l->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        grid->addWidget(l, r, 0);
    }
    for (int i = 0; i < kEngines; ++i) {
        const int n = i + 1;
        const QString le = QStringLiteral("LE%1").arg(n);
        EngineWidgets& e = engines_[static_cast<std::size_t>(i)];
        int r = 0;
        e.title = new QLabel(le);
        e.title->setObjectName(le + QStringLiteral("Title"));
        e.title->setAlignment(Qt::AlignCenter);
        QFont tf = e.title->font();
        tf.setBold(true);
        tf.setPointSizeF(tf.pointSizeF() * 1.25);
        e.title->setFont(tf);
        grid->addWidget(e.title, r++, n);
        e.link = valueLabel(QStringLiteral("Label30_%1").arg(i));
        e.link->setText(QStringLiteral("no"));
        grid->addWidget(e.link, r++, n);
        e.port = valueLabel(le + QStringLiteral("Port"));
        e.port->setFont(font());
        grid->addWidget(e.port, r++, n);
        e.phase = valueLabel(le + QStringLiteral("Phase"));
        grid->addWidget(e.phase, r++, n);
        e.step = valueLabel(le + QStringLiteral("Step"));
        grid->addWidget(e.step, r++, n);
        e.status = valueLabel(le + QStringLiteral("Status"));
        e.status->setMinimumHeight(30);
        e.status->setFont(font());
        e.status->setWordWrap(true);
        colours::paint(e.status, colours::idle());
        grid->addWidget(e.status, r++, n);
        e.startStop = new QPushButton(QStringLiteral("START LE-%1").arg(n));
        e.startStop->setObjectName(QStringLiteral("ComOperStartLE%1").arg(n));
        addControl(e.startStop, Access::Operator);
        grid->addWidget(e.startStop, r++, n);
        const auto add = [&](QLabel*& field, const char* suffix) {
            field = valueLabel(le + QString::fromLatin1(suffix));
            grid->addWidget(field, r++, n);
        };
        add(e.motor, "Motor");
        add(e.fan1, "FanV1");
        add(e.fan2, "FanV2");
        add(e.mat, "Mat");
        add(e.sht, "Sht");
        add(e.lpc, "Lpc");
        add(e.lfc, "Lfc");
        add(e.vis, "Vis");
        add(e.ir, "Ir");
        add(e.rh, "Rh");
        add(e.sbv, "Sbv");
        add(e.vcc, "Vcc");
        add(e.power, "Power");
        add(e.fault, "Fault");
        e.fault->setWordWrap(true);
        e.fault->setFont(font());
        e.fault->setMinimumHeight(3 * fontMetrics().height() + 4);
        grid->setColumnStretch(n, 1);
    }
    // The engine columns and the trend graphs share the middle of the window, one page each.
    pages_ = new QTabWidget;
    pages_->setObjectName(QStringLiteral("Pages"));
    pages_->addTab(panels, QStringLiteral("Engines"));
    outer->addWidget(pages_, 1);

    // Commands that act on the link and on several engines.
    auto* commands = new QHBoxLayout;
    auto* rs232 = new QPushButton(QStringLiteral("START (RS232)"));
    rs232->setObjectName(QStringLiteral("ComOperStartRS232"));
    addControl(rs232, Access::Operator);
    auto* rs232Label = new QLabel(QStringLiteral("Connect/Disconnect"));
    rs232Label->setObjectName(QStringLiteral("ActiveDesactiveRS232"));
    rs232Label->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    rs232Label->setAlignment(Qt::AlignCenter);
    rs232Label->setMinimumWidth(130);
    rs232Label->setAutoFillBackground(true);
    auto* qth = new QPushButton(QStringLiteral("QTH-Start"));
    qth->setObjectName(QStringLiteral("CommHalOperator"));
    addControl(qth, Access::Operator);
    auto* startAll = new QPushButton(QStringLiteral("START All LE"));
    startAll->setObjectName(QStringLiteral("StartAllLE"));
    addControl(startAll, Access::Operator);
    auto* stopAll = new QPushButton(QStringLiteral("STOP All LE"));
    stopAll->setObjectName(QStringLiteral("StopAllLE"));
    addControl(stopAll, Access::Operator);
    auto* motorSpeed = new QPushButton(QStringLiteral("M speed ..."));
    motorSpeed->setObjectName(QStringLiteral("Label9"));
    motorSpeed->setToolTip(QStringLiteral("Motor M speed set-point of the selected engine"));
    addControl(motorSpeed, Access::Operator);
    auto* power = new QPushButton(QStringLiteral("PWe ..."));
    power->setObjectName(QStringLiteral("PowerSetPoints"));
    power->setToolTip(QStringLiteral("Power set-points, individual or group"));
    addControl(power, Access::Operator);
    auto* ports = new QPushButton(QStringLiteral("Ports ..."));
    ports->setObjectName(QStringLiteral("ConfigurePorts"));
    ports->setToolTip(QStringLiteral("COM number and device of each engine's port"));
    addControl(ports, Access::Operator);
    commands->addWidget(rs232);
    commands->addWidget(rs232Label);
    commands->addWidget(ports);
    commands->addSpacing(12);
    commands->addWidget(qth);
    commands->addSpacing(12);
    commands->addWidget(startAll);
    commands->addWidget(stopAll);
    commands->addStretch(1);
    commands->addWidget(motorSpeed);
    commands->addWidget(power);
    outer->addLayout(commands);

    // Event list and discovery list.
    auto* lists = new QSplitter(Qt::Horizontal);
    lists->setObjectName(QStringLiteral("Lists"));
    list4_ = new QListWidget;
    list4_->setObjectName(QStringLiteral("List4"));
    list4_->setToolTip(QStringLiteral("Events and faults"));
    list3_ = new QListWidget;
    list3_->setObjectName(QStringLiteral("List3"));
    list3_->setToolTip(QStringLiteral("Port discovery"));
    const auto titled = [](const QString& title, QWidget* list) {
        auto* box = new QGroupBox(title);
        auto* l = new QVBoxLayout(box);
        l->setContentsMargins(4, 2, 4, 4);
        l->addWidget(list);
        return box;
    };
    lists->addWidget(titled(QStringLiteral("Events and faults"), list4_));
    lists->addWidget(titled(QStringLiteral("Port discovery"), list3_));
    lists->setStretchFactor(0, 3);
    lists->setStretchFactor(1, 2);
    lists->setMinimumHeight(5 * fontMetrics().height());
    lists->setMaximumHeight(10 * fontMetrics().height());
    outer->addWidget(lists);

    setCentralWidget(central);

    // The service marker sits on the form itself at the place the log-in gives it.
    picture10_ = new QLabel(QStringLiteral("S"), this);
    picture10_->setObjectName(QStringLiteral("Picture10"));
    picture10_->setAlignment(Qt::AlignCenter);
    picture10_->setFrameStyle(QFrame::Box | QFrame::Plain);
    picture10_->setToolTip(QStringLiteral("Service mode"));
    picture10_->setFont(big);
    colours::paint(picture10_, colours::serviceMarker());
    picture10_->hide();
}

void LogWindow::showLogIn(bool service)
{
    loginHint_->setText(service ? QStringLiteral("Service password:") : QStringLiteral("Password:"));
    loginBox_->show();
    text1_->clear();
    text1_->setFocus();
}

void LogWindow::onLogIn()
{
    if (station_.logIn(text1_->text())) {
        text1_->clear();
        return;
    }
    // A wrong password changes nothing; the text is selected so it can be typed again.
    text1_->selectAll();
}

void LogWindow::updatePortLabels()
{
    const StationSettings& s = station_.settings();
    SerialLink& link = station_.link();
    for (int i = 0; i < kEngines; ++i) {
        const auto k = static_cast<std::size_t>(i);
        const bool enabled = SettingsFiles::toNumber(s.portEnabled[k]).value_or(0) == 1;
        QString text = link.portLabel(i + 1);
        if (!enabled)
            text += QStringLiteral(" off");
        engines_[k].port->setText(text);
        // Where the port leads and, for a technician, why it is not open.
        QString tip = link.deviceName(i + 1);
        if (link.portOpen(i + 1))
            tip += QStringLiteral(" (open)");
        else if (link.reconnecting(i + 1))
            tip += QStringLiteral("\nlost, opened again as soon as it is back: ") + link.openError(i + 1);
        else if (!link.openError(i + 1).isEmpty())
            tip += QStringLiteral("\nnot open: ") + link.openError(i + 1);
        engines_[k].port->setToolTip(tip);
    }
}

QString LogWindow::scaled(int index, int position, int coefficientRow, const char* unit) const
{
    const int raw = station_.tables().at(index).reported[static_cast<std::size_t>(position)];
    const StationSettings& s = station_.settings();
    QString text;
    if (s.displayWithCoefficients == 1) {
        const auto at = [&](int k) { return s.coefficients[static_cast<std::size_t>(3 * coefficientRow + k)]; };
        // The factor counts in units of the last shown decimal: "0, 4, 2" reads raw x 0.04.
        const int decimals = std::clamp(at(2), 0, 6);
        const double value = raw * static_cast<double>(at(1)) / std::pow(10.0, decimals) + at(0);
        text = QString::number(value, 'f', decimals);
    } else {
        text = QString::number(raw);
    }
    return text + QString::fromUtf8(unit);
}

void LogWindow::refreshEngine(int index)
{
    EngineWidgets& e = engines_.at(static_cast<std::size_t>(index));
    const LightEngineRecord& r = station_.tables().at(index);
    const bool live = r.everReported && !station_.linkLost[static_cast<std::size_t>(index)];
    const bool passive = station_.software().cooling == CoolingType::Passive;

    // A slot that is not enabled in the port configuration shows its heading greyed.
    e.title->setEnabled(
        SettingsFiles::toNumber(station_.settings().portEnabled[static_cast<std::size_t>(index)]).value_or(0) == 1);
    QFont tf = e.title->font();
    tf.setUnderline(station_.tables().isSelected(index));
    e.title->setFont(tf);

    e.status->setText(station_.engineStatusText(index));
    colours::paint(e.status, station_.engineStatusIdle(index) ? colours::idle() : QColor());
    e.power->setText(QString::number(r.PowerSetPoint * 10) + QStringLiteral(" We"));

    if (!live) {
        for (QLabel* l : {e.phase, e.step, e.motor, e.fan1, e.fan2, e.mat, e.sht, e.lpc, e.lfc, e.vis,
                          e.ir, e.rh, e.sbv, e.vcc, e.fault})
            l->setText(kNoValue);
        e.fault->setToolTip(QString());
        return;
    }
    e.phase->setText(QString::number(r.Phase));
    e.motor->setText(scaled(index, pos::TachoM, RowM, ""));
    e.fan1->setText(passive ? QStringLiteral("n/a") : scaled(index, pos::TachoV1, RowV1, ""));
    e.fan2->setText(passive ? QStringLiteral("n/a") : scaled(index, pos::TachoV2, RowV2, ""));
    e.mat->setText(scaled(index, pos::Mat, RowMat, ""));
    e.sht->setText(scaled(index, pos::Sht, RowSht, ""));
    e.lpc->setText(scaled(index, pos::Lpc, RowLpc, ""));
    e.lfc->setText(scaled(index, pos::Lfc, RowLfc, ""));
    e.vis->setText(scaled(index, pos::Vis, RowVis, ""));
    e.ir->setText(scaled(index, pos::Ir, RowIr, ""));
    e.rh->setText(scaled(index, pos::Rh, RowRh, ""));
    e.sbv->setText(scaled(index, pos::Sbv, RowSbv, " V"));
    e.vcc->setText(scaled(index, pos::Vcc, RowVcc, " V"));
    const int code = r.FaultCode;
    const QString fault = (code >= 0 && code < kFaultTableSize && !station_.faultTexts()[static_cast<std::size_t>(code)].isEmpty())
                              ? station_.faultTexts()[static_cast<std::size_t>(code)]
                              : QStringLiteral("Code %1").arg(code);
    e.fault->setText(fault.trimmed().isEmpty() ? QStringLiteral(" ") : fault);
    e.fault->setToolTip(QStringLiteral("Fault code %1").arg(code));
}

void LogWindow::refreshDisplay()
{
    if (freeze_ && freeze_->isChecked())
        return;
    updatePortLabels();
    for (int i = 0; i < kEngines; ++i)
        refreshEngine(i);
}

void LogWindow::onWarning(const QString& caption, const QString& text)
{
    auto* box = new QMessageBox(QMessageBox::Warning, caption, text, QMessageBox::Ok, this);
    box->setObjectName(QStringLiteral("MessageWarning"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

void LogWindow::onQuestion(int id, const QString& caption, const QString& text)
{
    auto* box = new QMessageBox(QMessageBox::NoIcon, caption, text, QMessageBox::Yes | QMessageBox::No, this);
    box->setObjectName(QStringLiteral("MessageQuestion"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setProperty("questionId", id);
    connect(box, &QMessageBox::finished, this, [this, box, id](int) {
        station_.answer(id, box->clickedButton() == box->button(QMessageBox::Yes));
    });
    if (text == QLatin1String(Station::kQuitQuestion))
        quitBox_ = box;
    box->open();
}

void LogWindow::onQuitting()
{
    closing_ = true;
    for (QTimer* t : findChildren<QTimer*>())
        t->stop();
    // Every other window of the program, one by one, then this one.
    const auto windows = QApplication::topLevelWidgets();
    for (QWidget* w : windows)
        if (w != this && w->isVisible())
            w->close();
    close();
}

void LogWindow::closeEvent(QCloseEvent* event)
{
    if (closing_) {
        event->accept();
        return;
    }
    // The window's close button asks like mnuQuit does; one question at a time.
    event->ignore();
    if (!quitBox_)
        station_.requestQuit();
}

SoftwareSettingsForm* LogWindow::openSoftwareSettings()
{
    if (!settingsForm_)
        settingsForm_ = new SoftwareSettingsForm(station_, this);
    settingsForm_->reload();
    settingsForm_->show();
    settingsForm_->raise();
    settingsForm_->activateWindow();
    return settingsForm_;
}

} // namespace tarvek
