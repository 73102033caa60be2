#pragma once
// The six port slots on QSerialPort and the frame cycle: a reply arrives, 30 ms later one frame answers it.
#include "protocol/codec.h"
#include "protocol/engine.h"
#include "protocol/reply_framer.h"
#include "protocol/trace_tap.h"
#include "serial/link_transport.h"
#include "serial/device_check.h"
#include "serial/precise_deadlines.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QSerialPort>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>

#include <array>
#include <functional>

namespace tarvek {

class WhenClear;
class SettingsFiles;
struct StationSettings;

// Intervals of the link's timers, in one place.
namespace link_timing {
inline constexpr int kSenderDelayMs = 30;       // Timer21..Timer26: reply to frame
inline constexpr int kIndicatorHoldMs = 1500;   // Timer30..Timer35: "yes" fades to "no" without traffic
inline constexpr int kCaptionRestoreMs = 3000;  // Timer62
inline constexpr int kReplySupervisionMs = 2000; // Timer44: no reply from any engine
inline constexpr int kReconnectMs = 1000;       // ReconnectLE1..6: a port lost on an error is tried again
// A line quiet this long ends the reply it holds, unless the bytes after it finish that reply.
// USB adapters hand bytes over in bursts up to 16 ms apart, and the event loop may add a few ms
// to that; the next reply starts at the earliest 30 ms (our sender) plus 18 ms (34 characters at
// 19200 baud) after the last one, so every reply begins after such a pause.
inline constexpr int kQuietLineMs = 32;
// ReplyDueLE1..6: an engine's reading is fresh while its last good status reply is younger than
// this. A FADEC answers each frame within one cycle of about 131 ms (83 ms of reply at 19200
// baud, our 30 ms, 18 ms of frame); a parameter read or write puts a register block in the place
// of one status reply, so two cycles (262 ms) may pass between readings in normal work. 500 ms is
// that, plus room for the event loop and a USB adapter's bursts, and still well under the 1 s
// after which a FADEC whose reply went unanswered repeats it: any reply that is really missing
// shows at once, long before the watchdog calls the link lost at 5 s.
inline constexpr int kReplyDueMs = 500;
} // namespace link_timing

class SerialLink : public QObject {
    Q_OBJECT
public:
    using DeviceResolver = std::function<QString(int comNumber)>;

    SerialLink(EngineTables& tables, StationSettings& settings, SettingsFiles& files,
               DeviceResolver resolver, QObject* parent = nullptr);
    ~SerialLink() override;

    // Slots are numbered 1..6 like the ports; slot k serves LE k, engine index k-1.
    QSerialPort* port(int slot) const;
    QTimer* sender(int slot) const;
    bool portOpen(int slot) const;       // PortOpenFlag
    bool enabled(int slot) const;        // PortEnabled is 1: the slot is meant to carry an engine
    int linkCountdown(int slot) const;   // LinkCountdown
    QString openError(int slot) const;   // why the last open failed, for a technician
    DeviceProblem openProblem(int slot) const; // and what kind of reason that is
    QString deviceName(int slot) const;  // the device the slot's COM number names
    QString openDevice(int slot) const;  // the device the open port was opened on, else empty
    QString portLabel(int slot) const;   // "COM1 - " .. "COM6 - " followed by the COM number
    bool connected() const { return connected_; }
    const EngineTables& tables() const { return tables_; }
    // Reply-to-frame delay inside the station, in microseconds, for the frames sent so far.
    struct Delays {
        quint64 count = 0;
        qint64 medianUs = 0;
        qint64 p99Us = 0;
        qint64 maxUs = 0;
    };
    Delays replyToFrameDelays(int slot) const;
    // How late the senders and the rests were told their time, and whose time it was: the
    // machine's late wake-ups or the station's own work (kept from watchDeadlines() on).
    void watchDeadlines();
    PreciseDeadlines::Lateness deadlineLateness() const;
    quint64 framesSent(int slot) const;
    quint64 repliesReceived(int slot) const;
    // Good status replies since the station started (see statusReading).
    quint64 statusReadings(int slot) const;
    // The engine's last reading is fresh: a good status reply came less than kReplyDueMs ago.
    // replyOverdue() tells the moment it is not.
    bool fresh(int slot) const;
    QTimer* replyDueTimer(int slot) const;
    // Parts of replies dropped because the line went quiet before they were whole.
    quint64 staleDrops(int slot) const;
    // The first byte received since the port opened, or -1 while nothing came.
    int firstByte(int slot) const;
    // A good reply came since the last Connect or saved configuration (or start-up).
    bool answered(int slot) const;
    // Since the port opened and before any good reply: a reply without the synchronisation value,
    // or a reply's worth of bytes that belong to no reply.
    bool noiseBeforeAnswer(int slot) const;
    // Bytes of a reply still arriving.
    qint64 pendingBytes(int slot) const;
    // The port closed on an error, or its device was missing when it was to open, and it is tried
    // again on its own while the link is connected.
    bool reconnecting(int slot) const;
    // The slot's device did not exist at the last try to open it.
    bool deviceMissing(int slot) const;
    QTimer* reconnectTimer(int slot) const;
    // Good replies (with the synchronisation value) handled since the last call; the watchdog
    // asks once per tick.
    int takeGoodRepliesSinceTick(int slot);
    // A dropped slot is left closed by the open walk until Connect or a saved configuration.
    void setDropped(int slot, bool dropped);
    bool dropped(int slot) const;

    // The boxes of the port configuration form: filled from the settings when the form loads,
    // read by Connect, and cleared by discovery for a slot that has not answered yet.
    struct FormState {
        std::array<QString, 6> numbers;
        std::array<bool, 6> enabled{};
    };
    FormState& form() { return form_; }
    void loadForm();
    // One warning per box holding a number above 14; only the upper bound is checked.
    static int portNumbersAboveLimit(const FormState& form);
    static QString portNumberWarning() { return QStringLiteral("Port numbers 1 to 14 (max) "); }
    // The device a COM number names.
    QString deviceFor(int comNumber) const { return resolver_ ? resolver_(comNumber) : QString(); }

    // Walks the slots 1..6, opening the enabled ones and closing the disabled ones.
    void openPorts();
    // The connect button: Connect when disconnected, Disconnect otherwise.
    void toggleConnection();
    void connectLink();
    void disconnectLink();
    // Marks the link connected or not without opening or closing anything (start-up opens ports).
    void setConnected(bool on);

    // Work that may wait a few milliseconds runs through here, so that no frame waits behind it.
    WhenClear& whenClear() { return *whenClear_; }
    // When the link is done with the thread, if it needs it within `aheadNs` (a deadline falls in
    // that time, or a reply is coming in whose end is to be seen as it arrives); 0 if it does not.
    qint64 busyUntilNs(qint64 nowNs, qint64 aheadNs) const;
    // The configuration form's save: rewrite the port settings from the form, then open ports.
    void saveConfiguration();
    // Stops every sender; the connect button and discovery do this.
    void stopSenders();
    // Closes one slot's port, as discovery does when it drops a port.
    void closeSlot(int slot);
    // Stops every timer of the link and closes the ports.
    void shutdown();
    // The protocol trace: called for every reply and frame while attached; nullptr detaches.
    void setTraceTap(TraceTap* tap) { tap_ = tap; }
    TraceTap* traceTap() const { return tap_; }
    // The recorder: called for every byte in and out while attached; nullptr detaches.
    void setByteTap(ByteTap* tap) { byteTap_ = tap; }
    // Replay: the links run on `transport` instead of the serial ports; set before the ports open.
    void setTransport(LinkTransport* transport) { transport_ = transport; }
    bool onTransport() const { return transport_ != nullptr; }
    // Bytes that came in on a slot, into its reply framer: what the port read, or a replay.
    void receive(int slot, std::string_view bytes);
    // The line went quiet after the bytes received so far.
    void lineQuiet(int slot);

signals:
    void linkIndicator(int slot, bool yes);              // Label30: green "yes" / "no"
    void connectionChanged(bool connected);
    void captionRestored();                              // Timer62: "Connect/Disconnect"
    void portOpened(int slot);
    void portOpenFailed(int slot, const QString& reason);
    void portClosed(int slot);
    // Every reply that was decoded, good or not, status or register block: the parameter
    // exchange and the read-outs need them all.
    void replyHandled(int slot, const tarvek::ReplyOutcome& outcome);
    // A good status reply: a reading of the engine. A register block (a reply of type 2) is never
    // one; whoever shows, records or judges readings listens here.
    void statusReading(int slot);
    // The slot's next status reply is overdue: its last reading is no longer fresh.
    void replyOverdue(int slot);
    // The device went away under an open port (unplugged, hung up), and came back.
    void portLost(int slot, const QString& device, const QString& reason);
    void portRestored(int slot, const QString& device);
    void portEvent(int slot, int entry);                 // an entry of the port-event table
    void frameSent(int slot, const QByteArray& frame);
    void statusText(const QString& text);
    void repliesStopped();                               // Timer44: no reply from any engine
    void configurationSaved();

private:
    // How a port is read, reply by reply. Listening: the next piece the line hands over wakes the
    // station. Resting: the port's read notifier is off until the reply can be whole (counted from
    // the frame that asks for it, or from its first piece), so the pieces wait in the kernel and
    // wake nobody. Following: a rest from the first piece ended before the reply was whole (a slow
    // or bursting line); what is missing is read as it comes, so its last byte is seen when it
    // arrives. A whole reply, or a quiet line, brings the port back to Listening.
    enum class Reading { Listening, Resting, Following };

    struct Slot {
        QSerialPort* port = nullptr;
        QTimer* sender = nullptr;    // Timer21..Timer26
        QTimer* indicator = nullptr; // Timer30..Timer35
        QTimer* reconnect = nullptr; // ReconnectLE1..ReconnectLE6
        QTimer* rest = nullptr;      // ReadLE1..ReadLE6: reading rests until a reply can be whole
        QTimer* due = nullptr;       // ReplyDueLE1..ReplyDueLE6: runs while the last reading is fresh
        QPointer<QSocketNotifier> notifier; // the port's read notifier, found once an opening
        ReplyFramer framer;          // bytes of a reply still arriving, or noise being skipped
        qint64 replySeenNs = 0;              // the reply the sender will answer
        Reading reading = Reading::Listening;
        Reading afterRest = Reading::Following; // what the port does once the rest has ended
        qint64 restFromNs = 0;               // when the rest began
        bool quietInRest = false;            // the line may have gone quiet during the last rest
        QElapsedTimer sinceBytes;            // the last bytes that came in
        qint64 heldInPort = 0;               // bytes left in the port's buffer at the last look
        quint64 staleDrops = 0;              // before the framer's last reset
        bool goodPending = false;
        std::array<quint32, 4096> delayHistogram{}; // 25 us bins up to about 102 ms
        quint64 delayCount = 0;
        qint64 delayMaxUs = 0;
        bool open = false;
        int countdown = 0;
        QString openError;
        QString openDevice;
        quint64 frames = 0;
        quint64 replies = 0;
        quint64 readings = 0;
        int goodSinceTick = 0;
        int firstByte = -1;
        bool dropped = false;
        bool answered = false;
        quint64 badBeforeAnswer = 0;
        bool lostOnError = false;
        bool missing = false;
        DeviceProblem problem = DeviceProblem::None; // why the last open failed
    };

    QSocketNotifier* readNotifier(Slot& s);
    void openSlot(int slot);
    void openOnTransport(int slot);
    // The slot whose open port is on that device (links followed), or 0.
    int slotHolding(const QString& device) const;
    void onReadyRead(int slot);
    void restUntilWhole(int slot, qint64 missing);
    void restAfterFrame(int slot, qint64 frameNs);
    void rest(int slot, qint64 fromNs, qint64 restNs, Reading after);
    void wakeReading(int slot);
    void stopResting(int slot);
    void onPortError(int slot, QSerialPort::SerialPortError error);
    void handleReply(int slot, std::string_view reply);
    void tryReconnect(int slot);
    void awaitMissingDevices();
    void resetAnswers();
    void onSenderTick(int slot);
    void startSender(int slot, qint64 fromNs);
    Slot& at(int slot);
    const Slot& at(int slot) const;
    void writeSettingsFromForm();

    EngineTables& tables_;
    StationSettings& settings_;
    SettingsFiles& files_;
    DeviceResolver resolver_;
    std::array<Slot, 6> slots_;
    FormState form_;
    QTimer* captionTimer_ = nullptr;     // Timer62
    QTimer* supervision_ = nullptr;      // Timer44
    PreciseDeadlines* deadlines_ = nullptr; // the senders' 30 ms, to the microsecond
    WhenClear* whenClear_ = nullptr;
    bool connected_ = false;
    TraceTap* tap_ = nullptr;
    ByteTap* byteTap_ = nullptr;
    LinkTransport* transport_ = nullptr;
};

// The entry of the port-event table for a QSerialPort error, or -1 when it has none.
int portEventEntry(QSerialPort::SerialPortError error);

} // namespace tarvek
