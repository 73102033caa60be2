#include "station/station.h"

#include "recording/named_timer.h"
#include "serial/when_clear.h"
#include "settings/display_coefficients.h"

#include <QDir>

#include <algorithm>

#include <stdexcept>

namespace tarvek {

Station::Station(const QString& folder, const QString& loginFile, Clock& clock, QObject* parent)
    : QObject(parent), clock_(clock), files_(folder, loginFile)
{
    setObjectName(QStringLiteral("Station"));
    files_.setParent(this);
    files_.setClock(&clock_);
    timer1_ = namedTimer(this, QStringLiteral("Timer1"), shell_timing::kStartupMs, true);
    timer8_ = namedTimer(this, QStringLiteral("Timer8"), shell_timing::kServiceTickMs, false);
    timer9_ = namedTimer(this, QStringLiteral("Timer9"), shell_timing::kServiceNoticeMs, true);
    timer12_ = namedTimer(this, QStringLiteral("Timer12"), shell_timing::kDisplayMs, false);
    connect(timer1_, &QTimer::timeout, this, &Station::startUp);
    connect(timer12_, &QTimer::timeout, this, &Station::watchdogTick);

    history_ = new History(files_, clock_, this);
    idleLogout_ = new IdleLogout(clock_, this);
    connect(idleLogout_, &IdleLogout::timedOut, this, [this] {
        logOut(QStringLiteral("User mode logged out after %1 min without input").arg(screen_.userLogoutMinutes));
    });
    connect(this, &Station::modeChanged, idleLogout_,
            [this](int mode) { idleLogout_->setWatching(mode == static_cast<int>(OperatingMode::User)); });
    link_ = new SerialLink(tables_, settings_, files_, [this](int com) { return comMap_.deviceFor(com); }, this);
    portDiscovery_ = new PortDiscovery(*link_, this);
    watchdog_ = new LinkWatchdog(
        *link_, [this](int slot) { return software_.linkSupervision.at(static_cast<std::size_t>(slot - 1)); }, this);
    connect(link_, &SerialLink::linkIndicator, this, &Station::setPortIndicator);
    connect(link_, &SerialLink::statusText, this, &Station::showStatus);
    connect(link_, &SerialLink::portEvent, this, [this](int slot, int entry) {
        appendEvent(QStringLiteral("%1 / %2  COM%3 - %4")
                        .arg(clock_.dateText(), clock_.timeText())
                        .arg(slot)
                        .arg(portEventTexts_.at(static_cast<std::size_t>(entry))));
    });
    connect(portDiscovery_, &PortDiscovery::linesChanged, this, [this](const QStringList& lines) {
        clearDiscovery();
        for (const QString& line : lines)
            appendDiscovery(line);
    });
    connect(watchdog_, &LinkWatchdog::lossDetected, this, &Station::reportLoss);
    connect(watchdog_, &LinkWatchdog::linkRestored, this, &Station::reportRestored);
    for (auto changed : {&SerialLink::portOpened, &SerialLink::portClosed})
        connect(link_, changed, this, &Station::updateLinkStates);
    connect(link_, &SerialLink::connectionChanged, this, &Station::updateLinkStates);
    connect(link_, &SerialLink::portLost, this, &Station::updateLinkStates);
    connect(link_, &SerialLink::replyOverdue, this, &Station::updateLinkStates);
    connect(link_, &SerialLink::statusReading, this, [this](int slot) {
        if (linkState(slot) != LinkState::Yes)
            updateLinkStates();
    });
    // A settings file that cannot be written, or a value that is not a number: once, on the status
    // line and in List4; the station goes on with the values it holds.
    connect(&files_, &SettingsFiles::problem, this, &Station::announce);
    // A history line the disk refuses is held until it takes it: told once each way.
    connect(history_, &History::problem, this, &Station::announce);
    connect(history_, &History::recovered, this, &Station::announce);
    // Discovery confirms the ports again whenever they are (re)opened by the operator.
    connect(link_, &SerialLink::connectionChanged, this, [this](bool on) {
        if (on)
            portDiscovery_->start();
        else
            portDiscovery_->stop();
    });
    connect(link_, &SerialLink::configurationSaved, portDiscovery_, &PortDiscovery::start);
    connect(link_, &SerialLink::portOpened, portDiscovery_, &PortDiscovery::confirmWhenOpened);
    connect(link_, &SerialLink::portLost, this, [this](int slot, const QString& device, const QString& reason) {
        journalLink(QStringLiteral("Port lost LE%1 (%2): %3").arg(slot).arg(device, reason));
    });
    connect(link_, &SerialLink::portRestored, this, [this](int slot, const QString& device) {
        journalLink(QStringLiteral("Port back LE%1 (%2)").arg(slot).arg(device));
    });
    connect(timer8_, &QTimer::timeout, this, &Station::serviceTick);
    connect(timer9_, &QTimer::timeout, this, &Station::serviceNotice);
    buildOperation();

    powerSetPoints_ = new PowerSetPoints(tables_, files_, *history_, this);
    valueEntry_ = new ValueEntry(this);
    connect(powerSetPoints_, &PowerSetPoints::statusText, this, &Station::showStatus);
    const auto portOpen = [this](int engine) { return link_->portOpen(engine); };
    parameterEditor_ = new ParameterEditor(tables_, files_, portOpen, this);
    connect(parameterEditor_, &ParameterEditor::warning, this, [this](const QString& caption, const QString& text) {
        warn(caption, text);
        if (text == parameter_texts::kNotInPhase0)
            tellNotAtRest(QStringLiteral("to change its parameters"));
    });
    connect(parameterEditor_, &ParameterEditor::question, this, [this](int token, const QString& caption, const QString& text) {
        ask(caption, text, [this, token](bool yes) { parameterEditor_->answer(token, yes); });
    });
    connect(parameterEditor_, &ParameterEditor::journal, this,
            [this](const QString& text) { history_->append(QStringLiteral("0"), text); });
    connect(link_, &SerialLink::frameSent, parameterEditor_, &ParameterEditor::onFrameSent);
    connect(link_, &SerialLink::replyHandled, parameterEditor_, &ParameterEditor::onReply);
    ioReadOut_ = new IoReadOut(tables_, portOpen, this);
    connect(ioReadOut_, &IoReadOut::warning, this, &Station::warn);
    protocolTrace_ = new ProtocolTrace(clock_, [this](TraceTap* tap) { link_->setTraceTap(tap); }, this);
    trendGraphs_ = new TrendGraphs(
        tables_, QDir(files_.folder()).filePath(QStringLiteral("Img")),
        {[this](int i) { return linkState(i + 1) == LinkState::Yes; },
         [this](int i) { return software_.curveVisible.at(static_cast<std::size_t>(i)); },
         [this] { return clock_.now(); },
         [this](std::function<void()> work) { runWhenClear(trendGraphs_, std::move(work)); }},
        this);
    connect(trendGraphs_, &TrendGraphs::saveFailed, this, &Station::announce);
    buildLogger();
    buildService();
}

void Station::runWhenClear(QObject* context, std::function<void()> work)
{
    link_->whenClear().run(context, std::move(work));
}

void Station::buildLogger()
{
    // The logger writes what the main window shows as live: the last reading while it is fresh,
    // empty before any and from the moment a reply is overdue, so a gap shows in the file as one.
    dataLogger_ = new DataLogger(files_, clock_, [this](int i, LoggerColumn column) {
        static constexpr std::array<std::pair<int, int>, kLoggerColumns> kSource{{
            {pos::Lpc, coefficients::Lpc}, {pos::Lfc, coefficients::Lfc}, {pos::Vis, coefficients::Vis}, {pos::Ir, coefficients::Ir},
            {pos::Rh, coefficients::Rh}, {pos::Power, -1}, {pos::Sht, coefficients::Sht}, {pos::Mat, coefficients::Mat}}};
        const LightEngineRecord& r = tables_.at(i);
        const auto [position, row] = kSource.at(static_cast<std::size_t>(column));
        if (!r.everReported || linkState(i + 1) != LinkState::Yes)
            return QString();
        if (row < 0)
            return QString();
        return displayValue(settings_, r.reported.at(static_cast<std::size_t>(position)), row);
    }, this);
    dataLogger_->setRunWhenClear([this](std::function<void()> work) { runWhenClear(dataLogger_, std::move(work)); });
    connect(dataLogger_, &DataLogger::warning, this, &Station::warn);
    connect(dataLogger_, &DataLogger::statusText, this, &Station::showStatus);
    // A file that cannot be written: once on the status line and in List4, and once when it is back.
    connect(dataLogger_, &DataLogger::problem, this, &Station::announce);
    connect(dataLogger_, &DataLogger::recovered, this, &Station::announce);
}

void Station::buildService()
{
    coefficients_ = new CoefficientsEditor(files_, settings_, this);
    connect(coefficients_, &CoefficientsEditor::warning, this, &Station::warn);
    connect(coefficients_, &CoefficientsEditor::saved, this,
            [this](const QString& what) { history_->append(QStringLiteral("0"), what); });
    wearCounters_ = new WearCounters(files_, clock_, this);
    connect(wearCounters_, &WearCounters::warning, this, &Station::warn);
    startSpy_ = new StartSpy(clock_, this);
    hardwareTests_ = new HardwareTests(
        tables_, *history_, clock_,
        {[this](int engine) { return link_->portOpen(engine); },
         [this](int engine) { return engineOperation_->waiting(engine); }},
        this);
    connect(hardwareTests_, &HardwareTests::warning, this, [this](const QString& caption, const QString& text) {
        warn(caption, text);
        if (text == HardwareTests::phaseRefusal())
            tellNotAtRest(QStringLiteral("to test its hardware"));
    });
    connect(engineOperation_, &EngineOperation::startBegun, startSpy_, &StartSpy::startPressed);
    // A start goes out once its read is in: the registers it runs on are in the image now.
    connect(engineOperation_, &EngineOperation::started, this, [this](int engine) {
        const auto& image = tables_.at(engine - 1).ParameterImage;
        startSpy_->registersKnown(engine, image[18], image[19], image[20]);
        startSpy_->startRequested(engine);
    });
    connect(engineOperation_, &EngineOperation::startCancelled, startSpy_, &StartSpy::startCancelled);
    connect(engineOperation_, &EngineOperation::startBegun, this, [this](int engine) {
        if (hardwareTests_->running() && hardwareTests_->current().engine == engine)
            hardwareTests_->abort(QStringLiteral("a start of LE%1 was asked for").arg(engine));
    });
    connect(link_, &SerialLink::frameSent, hardwareTests_, &HardwareTests::onFrameSent);
    connect(link_, &SerialLink::replyHandled, this, [this](int slot, const ReplyOutcome& outcome) {
        const LightEngineRecord& r = tables_.at(slot - 1);
        // The start spy compares with the registers this engine's controller last gave.
        if (outcome.parametersRead)
            startSpy_->registersKnown(slot, r.ParameterImage[18], r.ParameterImage[19], r.ParameterImage[20]);
        hardwareTests_->onReply(slot, outcome.good, outcome.replyType);
    });
    connect(link_, &SerialLink::statusReading, this, [this](int slot) {
        const LightEngineRecord& r = tables_.at(slot - 1);
        wearCounters_->observe(slot, r.Phase);
        startSpy_->observe(slot, r.Phase, r.FaultCode);
    });
    // The counters' last minutes reach the disk before the program ends.
    connect(this, &Station::quitting, wearCounters_, &WearCounters::save);
}

void Station::buildOperation()
{
    operation_.reset(new OperationContext{tables_, *history_, clock_, software_,
                                          [this](int engine) { return link_->portOpen(engine); }});
    OperationContext& ctx = *operation_;
    engineOperation_ = new EngineOperation(ctx, parameters_, this);
    qthLamps_ = new QthLamps(ctx, files_, settings_, this);
    groupOperation_ = new GroupOperation(ctx, *engineOperation_, *qthLamps_, this);
    rest_ = new RestCountdown(this);
    faultLogger_ = new FaultLogger(ctx, faultTexts_, engineMessages, this);
    stopAlarm_ = new StopAlarm(ctx, alarms, this);
    alarmSupervision_ = new AlarmSupervision(ctx, settings_, files_, alarms,
                                             [this](int code) { return faultLogger_->text(code); }, this);
    lostLinks_ = new LostLinkWarning(clock_, this);
    connect(lostLinks_, &LostLinkWarning::show, this, &Station::linkLossWarning);
    connect(lostLinks_, &LostLinkWarning::close, this, &Station::linkLossWarningClosed);
    connect(alarmSupervision_, &AlarmSupervision::captionChanged, this, &Station::alarmCaptionChanged);
    connect(stopAlarm_, &StopAlarm::raisedOn, alarmSupervision_, &AlarmSupervision::stopAlarmRaised);

    connect(engineOperation_, &EngineOperation::warning, this, &Station::warn);
    connect(qthLamps_, &QthLamps::warning, this, [this](const QString& caption, const QString& text) {
        warn(caption, text);
        tellQthPortsClosed();
    });
    connect(engineOperation_, &EngineOperation::statusText, this, &Station::showStatus);
    connect(engineOperation_, &EngineOperation::engineStatus, this, [this](int engine, const QString& text) {
        const auto i = static_cast<std::size_t>(engine - 1);
        statusBeforeWait_[i] = statusTexts_[i];
        setEngineStatusText(engine - 1, text);
    });
    connect(engineOperation_, &EngineOperation::engineStatusRestored, this, [this](int engine) {
        setEngineStatusText(engine - 1, statusBeforeWait_[static_cast<std::size_t>(engine - 1)]);
    });
    connect(engineOperation_, &EngineOperation::stopSent, qthLamps_, &QthLamps::stopFollowUp);
    connect(engineOperation_, &EngineOperation::startBegun, rest_, &RestCountdown::cancel);
    connect(engineOperation_, &EngineOperation::runEnded, rest_, &RestCountdown::begin);
    connect(engineOperation_, &EngineOperation::runEnded, faultLogger_, &FaultLogger::clearFlags);
    connect(rest_, &RestCountdown::engineStatus, this,
            [this](int engine, const QString& text) { setEngineStatusText(engine - 1, text); });
    connect(link_, &SerialLink::replyHandled, engineOperation_, &EngineOperation::onReply);
    // Faults and alarms are judged on readings only, never on a register block.
    connect(link_, &SerialLink::statusReading, this, [this](int slot) {
        faultLogger_->log(slot, tables_.at(slot - 1).FaultCode);
        alarmSupervision_->onReply(slot);
    });

    connect(engineOperation_, &EngineOperation::question, this, [this](int engine, const QString& caption, const QString& text) {
        ask(caption, text, [this, engine](bool yes) {
            if (yes)
                engineOperation_->stopFoundRunning(engine);
        });
    });
    connect(groupOperation_, &GroupOperation::question, this, [this](const QString& caption, const QString& text) {
        ask(caption, text, [this, text](bool yes) { groupOperation_->answer(text, yes); });
    });
    connect(groupOperation_, &GroupOperation::startAllPrepared, this, &Station::prepareStartAll);
    const auto listed = [this](const QString& line) { appendEvent(line); };
    connect(groupOperation_, &GroupOperation::eventLine, this, listed);
    connect(faultLogger_, &FaultLogger::eventLine, this, listed);
    connect(stopAlarm_, &StopAlarm::eventLine, this, listed);
    connect(alarmSupervision_, &AlarmSupervision::eventLine, this, listed);
    connect(stopAlarm_, &StopAlarm::captionChanged, this,
            [this](const QString& caption) { emit alarmCaptionChanged(QStringLiteral("mnuStopAlarm"), caption); });
    connect(stopAlarm_, &StopAlarm::offAllRequested, groupOperation_, &GroupOperation::startOffAll);
}

void Station::prepareStartAll()
{
    faultLogger_->clearForStartAll();
    alarmSupervision_->resetForStartAll();
    stopAlarm_->reset();
    emit alarmCaptionChanged(QStringLiteral("mnuStopAlarm"), stopAlarm_->caption());
}

bool Station::engineStatusIdle(int index) const
{
    const int engine = index + 1;
    if (rest_->running(engine) || engineOperation_->waiting(engine))
        return false;
    return !tables_.at(index).everReported || linkLost.at(static_cast<std::size_t>(index)) ||
           tables_.at(index).Phase == 0;
}

Station::~Station()
{
    link_->setTraceTap(nullptr); // the trace may outlive the link among the children
}

QString Station::title() const
{
    // The version is a constant: the title shows it even before the start-up step has run.
    return QStringLiteral("  Tarvek Light Engine Control (RS232)         (PC version ") +
           QString::fromLatin1(kVersion) + QStringLiteral(")");
}

QString Station::faultText(int code) const
{
    if (code < 0 || code >= kFaultTableSize)
        throw std::out_of_range("fault code outside the table");
    return faultTexts_[static_cast<std::size_t>(code)];
}

void Station::setEngineStatusText(int index, const QString& text)
{
    statusTexts_.at(static_cast<std::size_t>(index)) = text;
    emit engineStatusChanged(index);
}

void Station::setPortIndicator(int engine, bool active)
{
    auto& slot = portIndicators_.at(static_cast<std::size_t>(engine - 1));
    if (slot == active)
        return;
    slot = active;
    emit portIndicatorChanged(engine, active);
}

void Station::load()
{
    if (loaded_)
        return;
    loaded_ = true;
    const QDir folder(files_.folder());
    for (const char* sub : {"Img", "Datalogger"}) {
        const QString name = QString::fromLatin1(sub);
        if (!folder.exists(name) && !folder.mkpath(name))
            emit warning(QStringLiteral(" Warning!"), QStringLiteral("Cannot create the folder ") +
                                                          folder.filePath(name));
    }
    selectedCaption_ = QStringLiteral("Selected LE = ");
    emit selectedCaptionChanged(selectedCaption_);
    timer1_->start();
}

void Station::startUp()
{
    // 1. Version; the Service menu is in the menu bar from here on, usable after a log-in.
    version_ = QString::fromLatin1(kVersion);

    // 2. The alarm supervision's bytes.
    alarms = AlarmState{};

    // 3. Title and size of the main window.
    emit titleChanged(title());
    emit formSizeRequested(kFormWidthTwips, kFormHeightTwips);

    // 4. Event list cleared; port-event and fault texts loaded.
    clearEvents();
    portEventTexts_ = portEventTextTable();
    faultTexts_ = faultTextTable();
    for (auto& messages : engineMessages) {
        messages.fill(QStringLiteral(" "));
        messages[kFaultStopped] = QStringLiteral("Arret LE");
    }

    // 5. Every settings file, read or created in the order of the index, then the station's own
    // files: the software settings and the COM-number-to-device map.
    settings_.loadAll(files_);
    coefficients_->reload();
    wearCounters_->load();
    software_.load(files_);
    // Port settings that name no port are told, line by line; those ports stay off.
    for (const QString& fault : comMap_.load(files_) + ComMap::portSettingFaults(settings_.portNumbers, settings_.portEnabled))
        announce(fault);
    screen_.load(files_);
    idleLogout_->setMinutes(screen_.userLogoutMinutes);
    link_->loadForm();
    emit softwareSettingsChanged();
    emit screenSettingsChanged();

    // 6. Captions and the power set-points.
    selectedCaption_ = QStringLiteral("Selected LE = ?");
    emit selectedCaptionChanged(selectedCaption_);
    functionKey_ = QStringLiteral("F1");
    emit functionKeyMarkerChanged(functionKey_);
    powerSetPoints_->restore(settings_.powerSetPoints);
    emit powerSetPointsLoaded();
    dataLogger_->restore(settings_.loggerSteps, settings_.loggerFileType);

    // 7. The engine records' initial values.
    for (int i = 0; i < kEngines; ++i) {
        tables_.at(i).ModeCode = 0;
        setEngineStatusText(i, QStringLiteral("Status = 16"));
    }

    // 8. The enabled ports open and discovery confirms them; then the polling timers run.
    emit portsRequested();
    openLink();
    qthLamps_->restore();
    timer12_->start();
    trendGraphs_->start();
    // A logger the station did not turn off goes on; its first rows show the engines not yet heard.
    if (dataLogger_->resumeIfRunning())
        journalLink(QStringLiteral("Datalogger resumed: %1").arg(QDir::toNativeSeparators(dataLogger_->fileFor(1)).replace(QStringLiteral("_LE1"), QStringLiteral("_LE*"))));

    startedUp_ = true;
    emit startupFinished();
}

void Station::openLink()
{
    link_->openPorts();
    // Ports meant to be open at start-up are connected: the button offers to disconnect them, and
    // a device that is not there yet is waited for.
    bool anyMeant = false;
    for (int k = 1; k <= kEngines; ++k)
        anyMeant = anyMeant || link_->portOpen(k) || link_->deviceMissing(k);
    link_->setConnected(anyMeant);
}

void Station::watchdogTick()
{
    watchdog_->tick();
    for (int k = 1; k <= kEngines; ++k)
        linkLost[static_cast<std::size_t>(k - 1)] = watchdog_->linkLost(k);
    updateLinkStates();
}

void Station::announce(const QString& text)
{
    emit statusText(text);
    appendEvent(QStringLiteral("%1 / %2  %3").arg(clock_.dateText(), clock_.timeText(), text));
}

void Station::journalLink(const QString& text)
{
    appendEvent(operation_texts::eventStamp(clock_) + QStringLiteral("  ") + text);
    history_->append(QStringLiteral("0"), text);
}

void Station::reportLoss(int engine)
{
    const QString text = QStringLiteral("No communication with machine System!  LE%1").arg(engine);
    appendEvent(operation_texts::eventStamp(clock_) + QStringLiteral("  ") + text);
    history_->append(QStringLiteral("0"), text);
    alarmSupervision_->linkLost(engine);
    lostLinks_->lost(engine);
}

void Station::reportRestored(int engine)
{
    const QString text = QStringLiteral("Communication restored with machine System!  LE%1").arg(engine);
    appendEvent(operation_texts::eventStamp(clock_) + QStringLiteral("  ") + text);
    history_->append(QStringLiteral("0"), text);
    alarmSupervision_->linkRestored(engine);
    lostLinks_->restored(engine);
}

void Station::selectEngine(int engine)
{
    if (engine < 1 || engine > kEngines)
        return;
    tables_.selectedEngine = static_cast<std::int16_t>(engine);
    parameterEditor_->selectionChanged();
    selectedCaption_ = QStringLiteral("Selected LE = ") + QString::number(engine);
    emit selectedCaptionChanged(selectedCaption_);
}

bool Station::setSoftwareSettings(const SoftwareSettings& s, bool save)
{
    software_ = s;
    software_.serviceTimeOut =
        std::clamp(software_.serviceTimeOut, SoftwareSettings::kMinTimeOut, SoftwareSettings::kMaxTimeOut);
    const bool ok = !save || software_.save(files_);
    if (!ok)
        emit warning(QStringLiteral(" Warning!"),
                     QStringLiteral("Cannot write ") + files_.pathOf(SoftwareSettings::kFileName));
    emit softwareSettingsChanged();
    return ok;
}

int Station::ask(const QString& caption, const QString& text, std::function<void(bool)> onAnswer)
{
    const int id = nextQuestion_++;
    pending_.insert(id, std::move(onAnswer));
    emit question(id, caption, text);
    return id;
}

void Station::answer(int questionId, bool yes)
{
    const auto handler = pending_.take(questionId);
    if (handler)
        handler(yes);
}

void Station::requestQuit()
{
    ask(QString::fromLatin1(kQuitCaption), QString::fromLatin1(kQuitQuestion), [this](bool yes) {
        if (yes)
            quit(QStringLiteral("Quit"));
    });
}

void Station::quit(const QString& road)
{
    if (quitting_)
        return;
    quitting_ = true;
    // The last line of a run says how it ended and which engines were left running.
    QStringList running;
    for (int k : runningEngines())
        running << QStringLiteral("LE%1").arg(k);
    history_->append(QStringLiteral("0"), QStringLiteral("Station ended%1: %2")
                                              .arg(road.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(road),
                                                   running.isEmpty() ? QStringLiteral("no engine running")
                                                                     : QStringLiteral("running ") + running.join(QStringLiteral(", "))));
    // Every timer the station or its subsystems own, the polling timers included.
    const auto timers = findChildren<QTimer*>();
    for (QTimer* t : timers)
        t->stop();
    link_->shutdown();
    history_->flush(); // a last try for lines the disk refused so far
    pending_.clear();
    emit quitting();
    emit finished();
}

void Station::appendEvent(const QString& line)
{
    // A station runs all day: the oldest lines go once the list is long.
    if (events_.size() >= kListLimit)
        events_.removeFirst();
    events_ << line;
    emit eventAppended(line);
}

void Station::clearEvents()
{
    events_.clear();
    emit eventsCleared();
}

void Station::appendDiscovery(const QString& line)
{
    if (discovery_.size() >= kListLimit)
        discovery_.removeFirst();
    discovery_ << line;
    emit discoveryAppended(line);
}

void Station::clearDiscovery()
{
    discovery_.clear();
    emit discoveryCleared();
}

} // namespace tarvek
