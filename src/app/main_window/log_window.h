#pragma once
// The main window `Log`: the main status display, the event lists, the log-in box and the menu.
//
// Every control carries its objectName. Engine n (1..6, engine index n-1) has one column of the
// status display; its widgets are:
//   Label30_<n-1>     link indicator: "yes" on light green while the port carries replies, "no"
//   LE<n>Title        column heading "LE<n>", bold and underlined for the selected engine
//   LE<n>Port         the slot's port: "COM<number> - ", "off" appended when the slot is disabled
//   LE<n>Phase        phase 0..7 reported by the FADEC
//   LE<n>Step         start-sequence step (filled by the start-sequence display; "---" until then)
//   LE<n>Status       the status picture: the station's status text, silver while idle
//   ComOperStartLE<n> start/stop button, "START LE-<n>"
//   LE<n>Motor, LE<n>FanV1, LE<n>FanV2   tachometers of M, V1, V2
//   LE<n>Mat, LE<n>Sht                   temperatures in °C
//   LE<n>Lpc, LE<n>Lfc, LE<n>Vis, LE<n>Ir, LE<n>Rh, LE<n>Sbv, LE<n>Vcc   sensor values
//   LE<n>Power        power set-point times 10 followed by " We"
//   LE<n>Fault        the text of the engine's fault code
// Reported values show "---" until the engine first answers, while its link is lost, and from the
// closing of its port (STOP (RS232), a device gone) until it answers again.
// A shown value is raw x factor / 10^decimals + offset, with the row's decimals, from "\Coefficients.ini" when
// "\CocheSelect.ini" holds 1 (rows LPC, LFC, VIS, IR, RH, SBV, VCC, MAT, SHT, M, V1, V2), else raw.
//
// Beside the columns: SelectedEngine (choice of engine), LabelSelected ("Selected LE = ..."),
// LabelFunctionKey ("F1"), LoginBox with Text1, OkStart and LoginError (a refused password),
// Picture10 (service marker), AlarmBanner (above the columns, see alarm_banner.h),
// QuitteProg, ComOperStartRS232 with ActiveDesactiveRS232, CommHalOperator, StartAllLE,
// StopAllLE, Label9 (motor speed entry), PowerSetPoints (power set-point form), List4 (events),
// List3 (port discovery).
//
// A control whose behaviour belongs to another part of the station is present and disabled until
// that part calls setWired(); from then on the mode rules below decide whether it is enabled.
#include "station/station.h"

#include <QHash>
#include <QMainWindow>
#include <QDialog>
#include <QPointer>

#include <array>

class QAction;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QMenu;
class QMessageBox;
class QPushButton;
class QTimer;
class QWidget;

namespace tarvek {

class AlarmBanner;
class ChangePasswordForm;
class PageTabs;
class CoefficientsForm;
class EspionStartForm;
class TestsMaterielForm;
class UsuresForm;
class ConfigurationRS232;
class DataloggerForm;
class FadecParameters;
class FenQuestion;
class GraphiqueScreen;
class HistoWindow;
class MessagesError;
class ProtocolTraceWindow;
class PW6Sliders;
class Saisie;
class QuestionRouter;
class SoftwareSettingsForm;
class ValeurDesParam;

// Who may use a control, decided by the control initialisation for each mode.
enum class Access {
    Always,           // also before any log-in: the display, the log-in box, the engine choice
    Operator,         // user and service mode: start/stop, QTH lamps, link, alarms, recording
    Service,          // service mode: software settings, the direct quit
    Functions,        // read-only entries of the Service menu, when a log-in made the menu available
    ServiceFunctions, // entries that write the controller's parameters or run hardware tests
    Quit,             // mnuQuit, made available by a service-mode log-in
};

class LogWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit LogWindow(Station& station, QWidget* parent = nullptr);
    ~LogWindow() override;

    Station& station() { return station_; }
    // The control (QWidget or QAction) of that objectName, or nullptr.
    QObject* control(const QString& name) const;
    QAction* action(const QString& name) const;

    // Declares that a control now has its behaviour; the current mode's rules apply to it at once.
    void setWired(const QString& name, bool wired = true);
    bool isWired(const QString& name) const { return wired_.contains(name); }
    bool isAllowed(Access access) const;

    // Opens (or raises) the software settings form ParamLogicielVB.
    SoftwareSettingsForm* openSoftwareSettings();
    // Opens (or raises) the form ChangePassword, its entries empty.
    ChangePasswordForm* openChangePassword();
    // Opens (or raises) the port configuration form ConfigurationRS232.
    ConfigurationRS232* openPortConfiguration();
    // Opens (or raises) the history window Histo.
    HistoWindow* openHistory();
    // Opens (or raises) the fault code window MessagesError.
    MessagesError* openMessagesError();
    // Opens (or raises) the power set-point form PW6Sliders, showing the stored set-points.
    PW6Sliders* openPowerSetPoints();
    // Label9: opens Saisie for the motor speed of the selected engine; nullptr when none is selected.
    Saisie* openMotorSpeedEntry();
    // The value entry form, made on first use.
    Saisie* saisie();
    // Opens (or raises) the screenshot viewer GraphiqueScreen, its list read again.
    GraphiqueScreen* openGraphiqueScreen();
    // Opens (or raises) the data logger's set-up form Datalogger.
    DataloggerForm* openDatalogger();
    // Opens (or raises) FadecParameters; nullptr when the selected LE is not in phase 0.
    FadecParameters* openFadecParameters();
    // Opens (or raises) ValeurDesParam on what the engines sent, or on what the station sent.
    ValeurDesParam* openValeurDesParam(bool stampToPc);
    // Opens (or raises) the protocol trace; it captures while it is open.
    ProtocolTraceWindow* openProtocolTrace();
    // The service windows (service mode): Coefficients, Usures, EspionStart (following the
    // selected engine) and TestsMateriel (on the selected engine; nullptr when it is not at rest).
    CoefficientsForm* openCoefficients();
    UsuresForm* openUsures();
    EspionStartForm* openEspionStart();
    TestsMaterielForm* openTestsMateriel();
    // The page of the engine columns and the page of the trend graphs.
    PageTabs* pages() const { return pages_; }
    QuestionRouter& questions() { return *router_; }
    // The warning box shown when an engine stops answering (BoiteDialogue), or nullptr.
    QDialog* lossBox() const { return lossBox_; }
    // Opens (or raises) Halogen, SHTPC, ControlLfcAlarm, AlarmSummary or BoiteDialogue (the engines
    // lost now); nullptr for another name.
    QWidget* openAlarmForm(const QString& name);
    AlarmBanner* alarmBanner() const { return banner_; }

    static constexpr int kSmallestValueSize = 8;
    // Text cursors stop blinking after this long without a key or a click, as desktops have them
    // do, and blink again at the next one: a station left at its log-in all day no longer repaints
    // the field and the menu bar twice a second for a cursor nobody watches.
    static constexpr int kCursorBlinkMs = 10'000;
    // The point size the live values have now.
    int valuePointSize() const { return valueSize_; }

    // Converts a length in twips to logical pixels (15 twips a pixel at the 96-dpi reference).
    static int twips(int t) { return t / 15; }

public slots:
    // The control initialisation for a mode: enables, disables, shows and hides main-screen controls.
    void applyMode();
    void refreshDisplay();
    void showLogIn(bool service);

    // Starts at the documented size, grown to show every row, kept within the screen's free area.
    void fitToScreen(int widthTwips, int heightTwips);
    // Reads "\Display.ini" and gives the engine columns' values their size, or the largest
    // below it at which every row shows without scrolling (not below kSmallestValueSize).
    void applyValueSize();

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildMenus();
    void buildCentral();
    // What a value cell shows while there is no live value.
    inline static const QString kNoValue = QStringLiteral("---");
    QLabel* valueLabel(const QString& name);
    void setValueFonts(int pointSize);
    void fitValues();
    void addControl(QObject* control, Access access, bool wired = false);
    // Why a control of that access cannot act in the current mode, for its tooltip.
    QString whyNot(Access access) const;
    void onLogIn();
    void onQuestion(int id, const QString& caption, const QString& text);
    void onWarning(const QString& caption, const QString& text);
    void onQuitting();
    void refreshEngine(int index);
    QString scaled(int index, int position, int coefficientRow, const char* unit) const;
    void updatePortLabels();
    // The engine column's link cell: "yes"/"no" from the activity indicator, "lost", "closed".
    void showLink(int index);
    void wireLink();
    void wireHistory();
    void wireOperation();
    void wirePasswords();
    void wireSetPoints();
    void wireGraphs();
    void wireLogger();
    void wireAlarms();
    void wireParameters();
    void wireService();
    void wireKeys();
    void scrollPages();
    void showLoss(const QString& caption, const QStringList& lines);

    Station& station_;
    struct Rule {
        QPointer<QObject> control;
        Access access;
    };
    QHash<QString, Rule> rules_;
    QSet<QString> wired_;

    QMenu* functionsMenu_ = nullptr;
    QAction* freeze_ = nullptr;
    QComboBox* selected_ = nullptr;
    QLabel* selectedCaption_ = nullptr;
    QLabel* functionKey_ = nullptr;
    QWidget* loginBox_ = nullptr;
    QLabel* loginHint_ = nullptr;
    QLabel* loginError_ = nullptr;
    AlarmBanner* banner_ = nullptr;
    QLineEdit* text1_ = nullptr;
    QPushButton* okStart_ = nullptr;
    QLabel* picture10_ = nullptr;
    QListWidget* list4_ = nullptr;
    QListWidget* list3_ = nullptr;
    PageTabs* pages_ = nullptr;

    struct EngineWidgets {
        QLabel* title = nullptr;
        QLabel* link = nullptr; // Label30
        QLabel* port = nullptr;
        QLabel* phase = nullptr;
        QLabel* step = nullptr;
        QLabel* status = nullptr;
        QPushButton* startStop = nullptr;
        QLabel* motor = nullptr;
        QLabel* fan1 = nullptr;
        QLabel* fan2 = nullptr;
        QLabel* mat = nullptr;
        QLabel* sht = nullptr;
        QLabel* lpc = nullptr;
        QLabel* lfc = nullptr;
        QLabel* vis = nullptr;
        QLabel* ir = nullptr;
        QLabel* rh = nullptr;
        QLabel* sbv = nullptr;
        QLabel* vcc = nullptr;
        QLabel* power = nullptr;
        QLabel* fault = nullptr;
    };
    std::array<EngineWidgets, kEngines> engines_{};
    // Per engine: its port closed (link stopped, device gone) since its last good reply.
    std::array<bool, kEngines> portClosed_{};
    // Per engine: its values are shown in the stale look (its next reply is overdue).
    std::array<bool, kEngines> staleShown_{};

    QPointer<Station> hosted_; // the station, while it hangs under this window for lookups by name
    QPointer<SoftwareSettingsForm> settingsForm_;
    QPointer<ConfigurationRS232> portsForm_;
    QPointer<ChangePasswordForm> passwordForm_;
    QPointer<HistoWindow> histo_;
    QPointer<MessagesError> messagesError_;
    QPointer<PW6Sliders> sliders_;
    QPointer<Saisie> saisie_;
    QPointer<GraphiqueScreen> graphique_;
    QPointer<DataloggerForm> datalogger_;
    QPointer<QMessageBox> okTransfert_;
    QPointer<FadecParameters> fadecParameters_;
    QPointer<ValeurDesParam> valeurDesParam_;
    QPointer<ProtocolTraceWindow> trace_;
    QPointer<CoefficientsForm> coefficientsForm_;
    QPointer<UsuresForm> usures_;
    QPointer<EspionStartForm> espion_;
    QPointer<TestsMaterielForm> testsMateriel_;
    QPointer<QDialog> lossBox_;
    QuestionRouter* router_ = nullptr;
    FenQuestion* fenQuestion_ = nullptr;
    QPointer<QMessageBox> quitBox_;
    bool closing_ = false;
    QTimer* fitTimer_ = nullptr;   // TimerFitValues
    QTimer* cursorRest_ = nullptr; // TimerCursorRest: the text cursors stop blinking when it ends
    bool contentChanged_ = false;  // a cell asked for another size since the last fit
    int preferredValueSize_ = 0;   // "\Display.ini"
    int valueSize_ = 0;            // as fitted
    QSize fittedRoom_;
};

} // namespace tarvek
