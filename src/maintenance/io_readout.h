#pragma once
// The raw read-out of ValeurDesParam: per engine, the 32 positions of the last block received
// from the FADEC (Stamp to PC) or of the last frame sent to it (PC to Stamp), one line each.
//
// LireLP1..LireLP6 choose which engines are shown; Timer1 then refreshes their lines from the
// engine records while the form is open, so the view follows the link.
#include "protocol/engine.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>

class QTimer;

namespace tarvek {

namespace readout_timing {
inline constexpr int kRefreshMs = 500; // Timer1
} // namespace readout_timing

class IoReadOut : public QObject {
    Q_OBJECT
public:
    using PortOpen = std::function<bool(int engine)>;
    enum class Direction { StampToPc, PcToStamp };
    static constexpr int kShownEntries = 33; // indices 0..32

    IoReadOut(const EngineTables& tables, PortOpen portOpen, QObject* parent = nullptr);

    // The 32 captions of the positions, blanks kept.
    static const std::array<QString, kReplyFields>& labels();
    // "03     5": the index in two digits, three blanks, the value right-aligned in three.
    static QString line(int index, int value);

    void setDirection(Direction d);
    Direction direction() const { return direction_; }
    static QString directionCaption(Direction d);

    // LireLPn: checks the engine's port, warns when it is closed; shows the engine otherwise.
    bool read(int engine);
    bool shown(int engine) const { return shown_.at(static_cast<std::size_t>(engine - 1)); }
    int lastEngine() const { return last_; }
    // The lines of an engine in the chosen direction.
    QStringList lines(int engine) const;

    // The form opens and closes: Timer1 runs only while it is open.
    void setOpen(bool open);
    QTimer* timer1() const { return timer1_; }

signals:
    void warning(const QString& caption, const QString& text);
    // Timer1 and every read: the lines of the shown engines are due again.
    void refresh();
    void selectedChanged(int engine);

private:
    const EngineTables& tables_;
    PortOpen portOpen_;
    Direction direction_ = Direction::StampToPc;
    std::array<bool, kEngines> shown_{};
    int last_ = 0;
    QTimer* timer1_;
};

} // namespace tarvek
