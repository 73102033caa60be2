#pragma once
// What the port configuration form decides, without the form: six rows of COM number, switch and
// device; which saves are refused; and each slot's state in words: "open", "present", "missing",
// "refused" (by the system, or for a reason of its own), or "off".
//
// A save writes the devices to "\ComDevices.ini" (line n for COMn, empty for the default
// /dev/ttyS(n-1)) and the numbers and switches to "\ParamComx.ini" as it always was, then opens
// the ports as the link's own save does: a port already open keeps its device until the next
// Connect. A COM number that the command line maps (--com) keeps that device for this run, and
// its line in the file is left as it is.
#include <QObject>
#include <QString>

#include <array>

namespace tarvek {

class ComMap;
class SerialLink;
class SettingsFiles;
struct DeviceVerdict;

class PortSetup : public QObject {
    Q_OBJECT
public:
    struct Row {
        QString number;  // the COM number as typed
        bool enabled = false;
        QString device;  // empty: the COM number's default
    };
    using Rows = std::array<Row, 6>;
    enum class Kind { Off, Open, Present, Missing, Refused };
    struct State {
        Kind kind = Kind::Off;
        QString text;
    };

    PortSetup(SerialLink& link, ComMap& map, SettingsFiles& files, QObject* parent = nullptr);

    // The rows as the link's form state and the device map hold them now.
    Rows rows() const;
    // The device a COM number names now; empty outside 1..14.
    QString deviceFor(const QString& number) const;
    // The default device of a COM number, /dev/ttyS(n-1).
    static QString defaultDevice(const QString& number);
    // Whether the command line maps that COM number for this run.
    bool overridden(const QString& number) const;
    // A COM number for a slot that has none: the slot's own number when no other row uses it,
    // else the first free one.
    static QString freeNumber(const Rows& rows, int slot);

    // Why those rows cannot be saved, or empty: one device for two engines (named both), two
    // engines on one COM number, a device name no system has.
    static QString refusal(const Rows& rows, const ComMap& map);
    // Saves and opens the ports; refused (and told through refused()) changes nothing.
    bool save(const Rows& rows);
    // A device's verdict in the words of a state: `present` when it has no problem, else
    // "missing: ...", "refused by the system: ..." (permission) or "refused: ...".
    static State describe(const DeviceVerdict& verdict, const QString& present);
    // The state of slot 1..6 for its row as the form shows it.
    State state(int slot, const Row& row) const;

signals:
    void refused(const QString& text);

private:
    // The device a row names: its own, else its COM number's default.
    QString rowDevice(const Row& row) const;

    SerialLink& link_;
    ComMap& map_;
    SettingsFiles& files_;
};

} // namespace tarvek
