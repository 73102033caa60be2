#include "app/main_window/log_window.h"

#include "app/common/colours.h"
#include "app/common/question_window.h"
#include "app/alarms/messages_error.h"
#include "app/main_window/page_tabs.h"
#include "station/engine_rows.h"
#include "app/settings/software_settings_form.h"

#include <array>
#include <cmath>
#include <functional>

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
#include <QResizeEvent>
#include <QScrollArea>
#include <QStyle>
#include <QSplitter>
#include <QStatusBar>
#include <QTimer>
#include <QVBoxLayout>

namespace tarvek {

namespace {

struct ValueRow {
    const char* caption; // with the unit the value is shown in
    const char* tip;
};
// One caption a row of the engine columns, in the order the columns add their widgets; the value
// rows from kFirstValueRow take their caption and unit from the station's list of rows.
constexpr std::array<ValueRow, 21> kValueRows{{
    {"", ""},
    {"Link", "yes: the station answers this engine's replies"},
    {"Port", "COM number of the engine's port"},
    {"Phase", "Phase 0..7 reported by the FADEC (0 at rest, 5 running)"},
    {"Step", "Step of the start sequence"},
    {"Status", "What the station is doing with the engine"},
    {"", ""},
    {"", "Motor M speed in units of 30 rpm (100 = 3000 rpm)"},
    {"", "Tachometer of fan V1"},
    {"", "Tachometer of fan V2"},
    {"", "MAT temperature (DS1621 thermometer)"},
    {"", "SHT temperature (DS1621 thermometer)"},
    {"", "LPC light sensor, arbitrary units"},
    {"", "LFC light sensor"},
    {"", "VIS sensor: visible light"},
    {"", "IR sensor: infrared light"},
    {"", "Relative humidity"},
    {"", "Setup battery voltage"},
    {"", "Supply voltage"},
    {"Power  We", "Power set-point in We: electric watts fed to the magnetron"},
    {"Fault", "The FADEC's fault code and its text"},
}};
constexpr int kFirstValueRow = 7;
constexpr const char* kUnitsLegend =
    "We = electric watts fed to the magnetron    AU = arbitrary units    --- = no live value (link stopped or "
    "lost, no reply yet)";
// A scroll area that asks for room for its whole content: the window opens showing every row
// when the screen has room, and scrolls only when it has not.
// It tells when its room changes, so the values can take the size that fits it, and when its
// content asks for another size (a cell framed for a lost link, a status on two lines).
class EngineScroll : public QScrollArea {
public:
    std::function<void()> resized;
    std::function<void()> contentChanged;
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == widget() && event->type() == QEvent::LayoutRequest && contentChanged)
            contentChanged();
        return QScrollArea::eventFilter(watched, event);
    }
    QSize sizeHint() const override
    {
        const int f = 2 * frameWidth();
        const int bar = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
        return widget() ? widget()->sizeHint() + QSize(f + bar, f) : QScrollArea::sizeHint();
    }

protected:
    void resizeEvent(QResizeEvent* event) override
    {
        QScrollArea::resizeEvent(event);
        if (resized)
            resized();
    }
};
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
    fitTimer_ = new QTimer(this);
    fitTimer_->setObjectName(QStringLiteral("TimerFitValues"));
    fitTimer_->setSingleShot(true);
    fitTimer_->setInterval(0); // once the resizes of one layout pass are over
    connect(fitTimer_, &QTimer::timeout, this, &LogWindow::fitValues);
    buildMenus();
    buildCentral();
    statusBar()->setObjectName(QStringLiteral("StatusBar"));
    applyValueSize();

    connect(&station_, &Station::titleChanged, this, &QWidget::setWindowTitle);
    connect(&station_, &Station::formSizeRequested, this,
            [this](int w, int h) { fitToScreen(w, h); });
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
        list4_->item(list4_->count() - 1)->setToolTip(line);
        list4_->scrollToBottom();
    });
    connect(&station_, &Station::discoveryCleared, list3_, &QListWidget::clear);
    connect(&station_, &Station::discoveryAppended, this, [this](const QString& line) {
        if (list3_->count() >= Station::kListLimit)
            delete list3_->takeItem(0);
        list3_->addItem(line);
        list3_->scrollToBottom();
    });
    connect(&station_, &Station::portIndicatorChanged, this, [this](int engine, bool) { showLink(engine - 1); });
    connect(&station_, &Station::linkStateChanged, this, [this](int engine) { refreshEngine(engine - 1); });
    connect(&station_, &Station::engineStatusChanged, this, &LogWindow::refreshEngine);
    connect(&station_, &Station::alarmCaptionChanged, this, [this](const QString&, const QString&) {
        // The alarm entries carry a "*" while their alarm holds.
        QStringList held;
        for (const char* name : {"mnuAlarmHalogen", "mnuAlarmPlateau", "mnuAlarmLFC", "mnuStopAlarm"})
            if (QAction* a = action(QString::fromLatin1(name)); a && a->text().trimmed().endsWith(QLatin1Char('*')))
                held << a->text().trimmed().chopped(1).trimmed();
        auto* indicator = findChild<QLabel*>(QStringLiteral("AlarmIndicator"));
        indicator->setText(QStringLiteral("\u26A0 ALARM: ") + held.join(QStringLiteral(", ")));
        indicator->setVisible(!held.isEmpty());
    }, Qt::QueuedConnection); // after the entries have their new captions
    connect(&station_, &Station::softwareSettingsChanged, this, &LogWindow::applyValueSize);
    connect(&station_, &Station::softwareSettingsChanged, this, &LogWindow::refreshDisplay);
    // Values of a port closed since its last good reply are not live, whatever the watchdog says.
    connect(&station_.link(), &SerialLink::portClosed, this, [this](int slot) {
        portClosed_.at(static_cast<std::size_t>(slot - 1)) = true;
        refreshEngine(slot - 1);
    });
    connect(&station_.link(), &SerialLink::replyHandled, this, [this](int slot, const ReplyOutcome& outcome) {
        if (outcome.good)
            portClosed_.at(static_cast<std::size_t>(slot - 1)) = false;
    });
    connect(&station_, &Station::powerSetPointsLoaded, this, &LogWindow::refreshDisplay);
    connect(&station_, &Station::startupFinished, this, [this] {
        refreshDisplay();
        if (station_.mode() == OperatingMode::NotLoggedIn)
            statusBar()->showMessage(QStringLiteral("Log in to operate the light engines"));
    });
    connect(station_.displayTimer(), &QTimer::timeout, this, &LogWindow::refreshDisplay);
    connect(pages_, &PageTabs::currentChanged, this, &LogWindow::refreshDisplay);

    wireLink();
    wireHistory();
    wireOperation();
    wirePasswords();
    wireSetPoints();
    wireGraphs();
    wireLogger();
    wireAlarms();
    wireParameters();
    wireService();
    wireKeys();
    scrollPages();
    fitToScreen(Station::kFormWidthTwips, Station::kFormHeightTwips);
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
    // The service marker (495 twips square) shows in the top bar, inside the window at any size.
    picture10_ = new QLabel(QStringLiteral("S"));
    picture10_->setObjectName(QStringLiteral("Picture10"));
    picture10_->setAlignment(Qt::AlignCenter);
    picture10_->setFrameStyle(QFrame::Box | QFrame::Plain);
    picture10_->setToolTip(QStringLiteral("Service mode"));
    picture10_->setFont(big);
    picture10_->setFixedSize(twips(495), twips(495));
    colours::paint(picture10_, colours::serviceMarker());
    picture10_->hide();
    top->addWidget(picture10_);
    // An alarm in force, named in words on the alert colour; hidden while none is.
    auto* alarm = new QLabel;
    alarm->setObjectName(QStringLiteral("AlarmIndicator"));
    alarm->setFont(big);
    alarm->setContentsMargins(6, 0, 6, 0);
    colours::attention(alarm, colours::alert());
    alarm->hide();
    top->addWidget(alarm);
    // The data logger while it writes: how often and how many engines.
    auto* logger = new QLabel;
    logger->setObjectName(QStringLiteral("LoggerMark"));
    logger->setFont(big);
    logger->setContentsMargins(6, 0, 6, 0);
    logger->setFrameStyle(QFrame::Box | QFrame::Plain);
    logger->hide();
    top->addWidget(logger);
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
    loginError_ = new QLabel;
    loginError_->setObjectName(QStringLiteral("LoginError"));
    loginError_->setFont(big);
    loginError_->setContentsMargins(4, 0, 4, 0);
    colours::attention(loginError_, colours::fault());
    loginError_->hide();
    login->addWidget(loginError_);
    connect(&station_, &Station::logInRefused, this, [this](const QString& text) {
        loginError_->setText(text);
        loginError_->setToolTip(text);
        loginError_->show();
    });
    connect(text1_, &QLineEdit::textEdited, loginError_, &QWidget::hide);
    connect(okStart_, &QPushButton::clicked, this, &LogWindow::onLogIn);
    connect(text1_, &QLineEdit::returnPressed, okStart_, &QPushButton::click);
    addControl(text1_, Access::Always, true);
    addControl(okStart_, Access::Always, true);
    // The log-in box and Exit sit at the right of the menu bar, which has room to spare, so the
    // top bar keeps its width for the alarm banner.
    auto* corner = new QWidget;
    corner->setObjectName(QStringLiteral("MenuCorner"));
    auto* cornerRow = new QHBoxLayout(corner);
    cornerRow->setContentsMargins(0, 1, 4, 1);
    cornerRow->addStretch(1);
    cornerRow->addWidget(loginBox_);
    auto* quitteProg = new QPushButton(QStringLiteral("Exit"));
    quitteProg->setObjectName(QStringLiteral("QuitteProg"));
    quitteProg->setToolTip(QStringLiteral("Ends the program without asking"));
    connect(quitteProg, &QPushButton::clicked, &station_, [this] { station_.quit(QStringLiteral("Exit control")); });
    addControl(quitteProg, Access::Service, true);
    cornerRow->addWidget(quitteProg);
    menuBar()->setCornerWidget(corner, Qt::TopRightCorner);
    outer->addLayout(top);

    // The engine columns: one row per quantity, one column per engine.
    auto* panels = new QFrame;
    panels->setObjectName(QStringLiteral("EnginePanels"));
    panels->setFrameStyle(QFrame::StyledPanel | QFrame::Raised);
    auto* grid = new QGridLayout(panels);
    grid->setContentsMargins(6, 4, 6, 4);
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(2);
    for (int r = 0; r < static_cast<int>(kValueRows.size()); ++r) {
        const auto& row = kValueRows[static_cast<std::size_t>(r)];
        const int value = r - kFirstValueRow;
        auto* l = new QLabel(value >= 0 && value < kEngineRows
                                 ? engineRowName(value) + QStringLiteral("  ") + engineRowUnit(value)
                                 : QString::fromUtf8(row.caption));
        l->setObjectName(QStringLiteral("RowCaption%1").arg(r));
        l->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        l->setToolTip(QString::fromUtf8(row.tip));
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
        grid->setColumnStretch(n, 1);
    }
    auto* legend = new QLabel(QString::fromUtf8(kUnitsLegend));
    legend->setObjectName(QStringLiteral("UnitsLegend"));
    legend->setWordWrap(true);
    grid->addWidget(legend, static_cast<int>(kValueRows.size()), 0, 1, kEngines + 1);
    // On a small or scaled screen the columns scroll; the lists and buttons stay in view.
    auto* scroll = new EngineScroll;
    scroll->setObjectName(QStringLiteral("EngineScroll"));
    scroll->resized = [this] { fitTimer_->start(); };
    scroll->contentChanged = [this] {
        contentChanged_ = true;
        fitTimer_->start();
    };
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(panels);
    // The engine columns and the trend graphs share the middle of the window, one page each.
    pages_ = new PageTabs;
    pages_->setObjectName(QStringLiteral("Pages"));
    pages_->addTab(scroll, QStringLiteral("E&ngines")); // Alt+E opens the Service menu
    auto* body = new QSplitter(Qt::Horizontal);
    body->setObjectName(QStringLiteral("Body"));
    body->setChildrenCollapsible(false);
    body->addWidget(pages_);
    outer->addWidget(body, 1);

    // Commands that act on the link and on several engines.
    auto* commands = new QHBoxLayout;
    auto* rs232 = new QPushButton(QStringLiteral("START (RS232)"));
    rs232->setObjectName(QStringLiteral("ComOperStartRS232"));
    addControl(rs232, Access::Operator);
    auto* rs232Label = new QLabel(QStringLiteral("Connect/Disconnect"));
    rs232Label->setObjectName(QStringLiteral("ActiveDesactiveRS232"));
    rs232Label->setToolTip(QStringLiteral("What the button beside it does: connect or disconnect the six links"));
    rs232->setToolTip(QStringLiteral("Opens the six links (START) or closes them (STOP)"));
    addControl(rs232Label, Access::Operator, true); // greyed with its button
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

    // Event list and discovery list, beside the engine columns where a wide screen has room.
    auto* lists = new QSplitter(Qt::Vertical);
    lists->setObjectName(QStringLiteral("Lists"));
    list4_ = new QListWidget;
    list4_->setObjectName(QStringLiteral("List4"));
    // A line wider than the list wraps, so the engine at its end is never cut off.
    list4_->setWordWrap(true);
    list4_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list4_->setTextElideMode(Qt::ElideNone);
    list4_->setResizeMode(QListView::Adjust);
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
    lists->setChildrenCollapsible(false);
    lists->setMinimumWidth(24 * fontMetrics().averageCharWidth());
    body->addWidget(lists);
    body->setStretchFactor(0, 3);
    body->setStretchFactor(1, 1);

    setCentralWidget(central);

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
    // A register write is asked in the shared question window; its text names the engine and
    // every change, so it is unique while it is asked.
    if (ParameterEditor::isWriteQuestion(text)) {
        const auto answered = [this, id, text](bool yes) {
            router_->removeHandler(text);
            station_.answer(id, yes);
        };
        router_->setHandler(text, this, [answered] { answered(true); }, [answered] { answered(false); });
        router_->ask(caption, text);
        return;
    }
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
