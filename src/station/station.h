#pragma once
// The station: everything the main window shows and the subsystems share, without a widget.
//
// A test builds one on a temporary folder and a ManualClock and drives it without a screen; the
// main window observes it through its signals and calls its methods.
#include "station/link_state.h"
#include "station/trend_graphs.h"
#include "maintenance/io_readout.h"
#include "maintenance/parameter_editor.h"
#include "maintenance/parameter_list.h"
#include "maintenance/protocol_trace.h"
#include "maintenance/coefficients_editor.h"
#include "maintenance/hardware_tests.h"
#include "maintenance/parameter_list.h"
#include "maintenance/start_spy.h"
#include "maintenance/wear_counters.h"
#include "operation/alarm_state.h"
#include "operation/alarm_supervision.h"
#include "operation/engine_operation.h"
#include "operation/fault_logger.h"
#include "operation/fault_texts.h"
#include "operation/idle_logout.h"
#include "operation/group_operation.h"
#include "operation/lost_link_warning.h"
#include "operation/qth_lamps.h"
#include "operation/reply_alarms.h"
#include "operation/rest_countdown.h"
#include "operation/stop_alarm.h"
#include "protocol/engine.h"
#include "recording/clock.h"
#include "recording/data_logger.h"
#include "recording/history.h"
#include "serial/com_map.h"
#include "serial/link_supervision.h"
#include "serial/port_events.h"
#include "serial/serial_link.h"
#include "settings/settings_files.h"
#include "settings/screen_settings.h"
#include "settings/software_settings.h"
#include "settings/station_settings.h"
#include "setpoints/power_setpoints.h"
#include "setpoints/value_entry.h"

#include <QHash>
#include <QObject>
#include <QSize>
#include <QString>
#include <QTimer>

#include <array>
#include <optional>
#include <cstdint>
#include <functional>
#include <memory>

namespace tarvek {

// Timer intervals of the shell, in one place.
namespace shell_timing {
inline constexpr int kStartupMs = 50;            // Timer1: lets the window paint once before start-up
inline constexpr int kServiceTickMs = 60'000;    // Timer8: one tick a minute, so the limit is in minutes
inline constexpr int kServiceNoticeMs = 1'000;   // Timer9: the remaining service time in the status bar
inline constexpr int kDisplayMs = 200;           // Timer12: main display refresh (and link watchdog)
} // namespace shell_timing

class Station : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kVersion = " 1.08G";
    static constexpr int kFormWidthTwips = 12900;
    static constexpr int kFormHeightTwips = 10920;
    static constexpr const char* kQuitCaption = " Warning!";
    static constexpr const char* kQuitQuestion = "Are you sure you want to exit the program!";
    static constexpr int kListLimit = 2000; // lines kept in List4 and List3

    // loginFile empty: the station folder's Name.inc (see SettingsFiles).
    Station(const QString& folder, const QString& loginFile, Clock& clock, QObject* parent = nullptr);
    ~Station() override;

    SettingsFiles& files() { return files_; }
    StationSettings& settings() { return settings_; }
    EngineTables& tables() { return tables_; }
    const EngineTables& tables() const { return tables_; }
    const SoftwareSettings& software() const { return software_; }
    Clock& clock() { return clock_; }
    SerialLink& link() { return *link_; }
    // Periodic work that may wait a few milliseconds (graph columns, logger rows, plant messages)
    // runs through here: at once, or just after what the link needs the thread for; never once
    // `context` is gone.
    void runWhenClear(QObject* context, std::function<void()> work);
    PortDiscovery& portDiscovery() { return *portDiscovery_; }
    LinkWatchdog& watchdog() { return *watchdog_; }
    History& history() { return *history_; }
    // Operating the engines: start and stop, START/STOP All, QTH lamps, rest, faults, stop alarm.
    EngineOperation& engineOperation() { return *engineOperation_; }
    const EngineOperation& engineOperation() const { return *engineOperation_; }
    GroupOperation& groupOperation() { return *groupOperation_; }
    QthLamps& qthLamps() { return *qthLamps_; }
    RestCountdown& restCountdown() { return *rest_; }
    FaultLogger& faultLogger() { return *faultLogger_; }
    StopAlarm& stopAlarm() { return *stopAlarm_; }
    // The SHT, LFC and QTH alarms with their limits, and the alarm list every alarm source feeds.
    AlarmSupervision& alarmSupervision() { return *alarmSupervision_; }
    // The one lost-link box and the engines it lists.
    LostLinkWarning& lostLinks() { return *lostLinks_; }
    // Power and motor-speed set-points, and the checked value entry they share with the parameters.
    PowerSetPoints& powerSetPoints() { return *powerSetPoints_; }
    ValueEntry& valueEntry() { return *valueEntry_; }
    // The data logger: Timer42, its choices and one file per ticked engine.
    DataLogger& dataLogger() { return *dataLogger_; }
    // The six trend graphs' timers, time scale, sweeps and screenshots.
    TrendGraphs& trendGraphs() { return *trendGraphs_; }
    // The service windows' logic: display coefficients, wear counters, start spy, hardware tests.
    CoefficientsEditor& coefficients() { return *coefficients_; }
    WearCounters& wearCounters() { return *wearCounters_; }
    StartSpy& startSpy() { return *startSpy_; }
    HardwareTests& hardwareTests() { return *hardwareTests_; }
    // The parameter list of ValeurDesParam, as the last start filled it.
    const ParameterList& parameterList() const { return parameters_; }
    // The FADEC parameter form's registers and exchanges, the raw read-out, the protocol trace.
    ParameterEditor& parameterEditor() { return *parameterEditor_; }
    IoReadOut& ioReadOut() { return *ioReadOut_; }
    ProtocolTrace& protocolTrace() { return *protocolTrace_; }
    ComMap& comMap() { return comMap_; }
    // Devices named on the command line ("3=/dev/ttyUSB0"), over "\ComDevices.ini"; returns the
    // malformed ones.
    QStringList setComOverrides(const QStringList& overrides) { return comMap_.applyOverrides(overrides); }

    QString version() const { return version_; }
    QString title() const;
    OperatingMode mode() const { return tables_.mode; }
    // What a log-in made available: the Service menu, Quit and the service marker Picture10.
    bool functionsMenuAvailable() const { return functionsAvailable_; }
    bool quitAvailable() const { return quitAvailable_; }
    bool serviceMarkerShown() const { return serviceMarker_; }
    QString modeMenuCaption() const { return modeMenuCaption_; }
    QString selectedCaption() const { return selectedCaption_; }
    QString functionKeyMarker() const { return functionKey_; }
    int serviceCounter() const { return serviceCounter_; }
    bool loaded() const { return loaded_; }
    bool startedUp() const { return startedUp_; }
    // Timer12: the display refreshes on its ticks and the link watchdog counts them.
    QTimer* displayTimer() const { return timer12_; }

    const std::array<QString, kFaultTableSize>& faultTexts() const { return faultTexts_; }
    // The table text of a code; throws std::out_of_range above 65 like the table does.
    QString faultText(int code) const;
    const std::array<QString, kPortEventCount>& portEventTexts() const { return portEventTexts_; }

    // Per engine index 0..5: the text of the engine's status picture ("Status = 16" at start-up,
    // "Rest 42 sec." during a rest countdown...).
    QString engineStatusText(int index) const { return statusTexts_.at(static_cast<std::size_t>(index)); }
    void setEngineStatusText(int index, const QString& text);
    // The status picture is silver while the engine is at rest (or silent) and no wait or rest
    // countdown shows in it.
    bool engineStatusIdle(int index) const;
    // Per engine LE1..LE6: the port activity indicator Label30 ("yes" / "no").
    bool portIndicator(int engine) const { return portIndicators_.at(static_cast<std::size_t>(engine - 1)); }
    void setPortIndicator(int engine, bool active);

    // Per engine LE1..LE6: what the station knows of its link; linkStateChanged() tells of a change.
    // Yes means fresh: a good status reply came within link_timing::kReplyDueMs. Whatever shows,
    // records or publishes an engine's values as live asks this, and nothing else.
    LinkState linkState(int engine) const { return linkStates_.at(static_cast<std::size_t>(engine - 1)); }
    // The engine answered on this link, which is still open, neither lost nor closed, but its next
    // status reply is overdue: its last values are known and no longer live.
    bool stale(int engine) const;
    // Engines whose open link reports phase 1..6.
    QList<int> runningEngines() const;
    // The connect button: opens the links, or closes them, asking first while engines run.
    void requestLinkToggle();

    // Per engine index 0..5, set by the link supervision: the engine's values are shown as "---".
    std::array<bool, kEngines> linkLost{};
    AlarmState alarms;
    // The second message table: 21 texts per engine, " " each and "Arret LE" for code 0.
    std::array<std::array<QString, kFaultCodesFilled>, kEngines> engineMessages{};

    // Form load: makes the "\Img" and "\Datalogger" folders, sets "Selected LE = " and arms
    // Timer1, whose first tick runs the start-up. Runs once.
    void load();

    // Checks a password against the log-in file; false (and nothing changed) when it matches neither.
    // A refused attempt is told (logInRefused, the status line) and journaled, never the typed text;
    // a damaged log-in file opens neither mode and says why, once in the history.
    bool logIn(const QString& password);
    // What a matching password does for user or service mode. Without a password only for the
    // pictures the program takes just before it ends (--screenshot-mode).
    void enterMode(OperatingMode mode);
    // Back to "not logged in"; `why` goes to the status line and the history. False when no one was.
    bool logOut(const QString& why = QString());

    // The operator screen's choices ("\Screen.ini"): alarm sound, user mode's idle log-out.
    const ScreenSettings& screen() const { return screen_; }
    bool setScreenSettings(const ScreenSettings& s);
    // Keyboard or mouse input reached the station's windows: the idle time starts again.
    void noteInput() { idleLogout_->noteInput(); }
    IdleLogout& idleLogout() { return *idleLogout_; }

    // Service mode only: sets record 0 (user) or 1 (service) of the log-in file, stored hashed.
    // Returns why the password was refused, or empty once it is saved.
    QString changePassword(int record, const QString& password, const QString& again);

    // The choice of engine on the main window, 1..6.
    void selectEngine(int engine);

    // Replaces the software settings; saves "\ParamLogStart.ini" when asked to.
    bool setSoftwareSettings(const SoftwareSettings& s, bool save = true);

    // Asks a yes/no question through question(); the answer comes back through answer().
    int ask(const QString& caption, const QString& text, std::function<void(bool yes)> onAnswer);
    void warn(const QString& caption, const QString& text) { emit warning(caption, text); }
    void showStatus(const QString& text) { emit statusText(text); }

    // The event list List4 and the discovery list List3 of the main window.
    void appendEvent(const QString& line);
    void clearEvents();
    QStringList events() const { return events_; }
    void appendDiscovery(const QString& line);
    void clearDiscovery();
    QStringList discovery() const { return discovery_; }

public slots:
    void answer(int questionId, bool yes);
    // mnuQuit: asks first.
    void requestQuit();
    // QuitteProg, and a "yes" to the quit question: stops every timer and ends the program.
    // `road` names the way it ended ("Quit", "Exit control", "SIGTERM") in the history line that
    // lists the engines left running.
    void quit(const QString& road = QString());

signals:
    void warning(const QString& caption, const QString& text);
    void question(int id, const QString& caption, const QString& text);
    void statusText(const QString& text);
    void titleChanged(const QString& title);
    void formSizeRequested(int widthTwips, int heightTwips);
    // After a successful log-in and after the service time-out: run the control initialisation.
    void modeChanged(int mode);
    void logInRefused(const QString& text);
    void screenSettingsChanged();
    void selectedCaptionChanged(const QString& caption);
    void functionKeyMarkerChanged(const QString& marker);
    void eventAppended(const QString& line);
    void eventsCleared();
    void discoveryAppended(const QString& line);
    void discoveryCleared();
    void engineStatusChanged(int index);
    void portIndicatorChanged(int engine, bool active);
    void linkStateChanged(int engine, tarvek::LinkState state);
    void softwareSettingsChanged();
    void powerSetPointsLoaded();
    // Start-up step 8: the enabled COM ports are being opened and the polling timers start.
    void portsRequested();
    // An engine stopped answering (shown once per loss) or answers again: the BoiteDialogue box
    // with every engine lost now, shown or brought up to date in place.
    void linkLossWarning(int engine, const QString& caption, const QStringList& lines);
    // No engine is lost any more: the box closes itself.
    void linkLossWarningClosed();
    // An alarm menu's caption: "*" while the alarm holds on some engine.
    void alarmCaptionChanged(const QString& menu, const QString& caption);
    void startupFinished();
    // Quitting: every timer of the station has stopped; windows close themselves on this.
    void quitting();
    // The last thing the station says; main() ends the event loop on it.
    void finished();

private:
    // The effects of a matching user password, then of a matching service password.
    // Opens a mode; loggedInFrom, for a log-in, is the mode it leaves (the history says so).
    void grantMode(bool user, bool service, std::optional<OperatingMode> loggedInFrom = std::nullopt);
    void startUp();
    void openLink();
    void watchdogTick();
    void reportLoss(int engine);
    // What the operator must know about a file: on the status line and in List4.
    void announce(const QString& text);
    void reportRestored(int engine);
    // One List4 line and one history line for a port that went away or came back.
    void journalLink(const QString& text);
    LinkState computeLinkState(int engine) const;
    void updateLinkStates();
    void closeLinks();
    void buildOperation();
    void buildLogger();
    void buildService();
    void prepareStartAll();
    void serviceTick();
    void serviceNotice();
    void enterUserMode();
    void refuseLogIn();
    // A refused action named on the status line with its engine and what to do, beside the box.
    void tellNotAtRest(const QString& purpose);
    void tellQthPortsClosed();

    Clock& clock_;
    SettingsFiles files_;
    StationSettings settings_;
    EngineTables tables_;
    SoftwareSettings software_;
    ComMap comMap_;
    SerialLink* link_ = nullptr;
    PortDiscovery* portDiscovery_ = nullptr;
    LinkWatchdog* watchdog_ = nullptr;
    History* history_ = nullptr;
    ParameterList parameters_;
    std::unique_ptr<OperationContext> operation_;
    EngineOperation* engineOperation_ = nullptr;
    GroupOperation* groupOperation_ = nullptr;
    QthLamps* qthLamps_ = nullptr;
    RestCountdown* rest_ = nullptr;
    FaultLogger* faultLogger_ = nullptr;
    StopAlarm* stopAlarm_ = nullptr;
    IdleLogout* idleLogout_ = nullptr;
    ScreenSettings screen_;
    AlarmSupervision* alarmSupervision_ = nullptr;
    LostLinkWarning* lostLinks_ = nullptr;
    PowerSetPoints* powerSetPoints_ = nullptr;
    ValueEntry* valueEntry_ = nullptr;
    TrendGraphs* trendGraphs_ = nullptr;
    DataLogger* dataLogger_ = nullptr;
    ParameterEditor* parameterEditor_ = nullptr;
    IoReadOut* ioReadOut_ = nullptr;
    ProtocolTrace* protocolTrace_ = nullptr;
    CoefficientsEditor* coefficients_ = nullptr;
    WearCounters* wearCounters_ = nullptr;
    StartSpy* startSpy_ = nullptr;
    HardwareTests* hardwareTests_ = nullptr;

    QString version_;
    QString modeMenuCaption_ = QStringLiteral("Start in Mode (Password)");
    QString selectedCaption_;
    QString functionKey_;
    bool functionsAvailable_ = false;
    bool quitAvailable_ = false;
    bool serviceMarker_ = false;
    bool loginDamageTold_ = false; // the damaged log-in file is in the history once a spell
    bool loaded_ = false;
    bool startedUp_ = false;
    bool quitting_ = false;
    int serviceCounter_ = 1;

    std::array<QString, kFaultTableSize> faultTexts_{};
    std::array<QString, kPortEventCount> portEventTexts_{};
    std::array<QString, kEngines> statusTexts_{};
    std::array<QString, kEngines> statusBeforeWait_{};
    std::array<bool, kEngines> portIndicators_{};
    std::array<LinkState, kEngines> linkStates_{};
    bool closedByOperator_ = false;
    QStringList events_;
    QStringList discovery_;

    QTimer* timer1_;  // start-up, one shot
    QTimer* timer8_;  // service-mode time-out
    QTimer* timer9_;  // service time notice, one shot
    QTimer* timer12_; // main display and link watchdog

    int nextQuestion_ = 1;
    QHash<int, std::function<void(bool)>> pending_;
};

} // namespace tarvek
