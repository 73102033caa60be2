#pragma once
// The power set-point of each engine (tens of We, 30..130) and the motor speed of the selected
// engine: what the operator confirms is stored at once, kept in "\ConsignePW.ini" and journaled;
// the frame sender carries the power at position 4 in phase 5 only and the motor speed always.
#include "protocol/engine.h"
#include "setpoints/value_entry.h"

#include <QObject>
#include <QString>

#include <array>
#include <cstdint>
#include <optional>

namespace tarvek {

class History;
class SettingsFiles;

class PowerSetPoints : public QObject {
    Q_OBJECT
public:
    static constexpr int kMin = 30;  // 300 We
    static constexpr int kMax = 130; // 1300 We
    static QString fileName() { return QStringLiteral("\\ConsignePW.ini"); }

    PowerSetPoints(EngineTables& tables, SettingsFiles& files, History& history, QObject* parent = nullptr);

    static int clamp(int tens);
    // " We" text of the main window for a set-point in tens of We.
    static QString weText(int tens) { return QString::number(tens * 10) + QStringLiteral(" We"); }

    // Per engine 1..6: the set-point as last written to the file (the second table).
    int filed(int engine) const { return filed_.at(static_cast<std::size_t>(engine - 1)); }
    int setPoint(int engine) const { return tables_.at(engine - 1).PowerSetPoint; }
    // The single motor speed last entered, in rpm; 0 until one was accepted.
    int motorSpeedRpm() const { return MotorSpeedRpm; }

    // Start-up: the values read from the file, kept within range, into both tables.
    void restore(const std::array<int, kEngines>& tens);
    // PWValide: each engine's shown value, clamped, into both tables and the file (six lines,
    // replaced whole); one history line per engine whose set-point changed. False when the
    // file could not be written (the set-points are stored and sent all the same).
    bool confirm(const std::array<int, kEngines>& shown);

    // Label9: the entry of the motor speed of the selected engine, or nothing (and a status
    // text) while no engine is selected.
    std::optional<EntryRequest> motorSpeedEntry();
    // An accepted motor speed: rpm / 30 into MotorSpeedSetPoint of the selected engine; the
    // history names what is sent.
    void applyMotorSpeed(int rpm);
    // What the unit of 30 rpm makes of a typed speed: "3500 rpm is sent as 116 x 30 = 3480 rpm";
    // empty for a whole number of units or a text that is no speed 1000..4000.
    static QString motorSpeedNote(const QString& text);

signals:
    void changed();
    void statusText(const QString& text);

private:
    EngineTables& tables_;
    SettingsFiles& files_;
    History& history_;
    std::array<std::uint8_t, kEngines> filed_{};
    std::int16_t MotorSpeedRpm = 0;
};

} // namespace tarvek
