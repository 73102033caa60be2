#pragma once
// The wear counters behind the form Usures: per engine the starts, the running time and the lamp
// time, counted from the status replies and kept in "\Usures.ini", a file of their own.
//
// What counts, from the phase each good status reply reports:
//   a start     the phase goes from 0 to a phase of the start sequence or run (1..5): the
//               magnetron was asked to ignite, whether or not the start then succeeded
//   running     the time from a reply in any phase but 0 to the next reply (motor and fans turn)
//   lamp on     the time from a reply in phase 3, 4 or 5 to the next reply (lamp lit)
// A gap of more than kMaxGapMs between two replies (a lost link, a clock set back) adds nothing:
// the counters never guess.
//
// "\Usures.ini" holds 18 plain lines, three per engine LE1..LE6: starts, running seconds, lamp
// seconds. It is replaced atomically after every start, at the end of every run and at least
// every kSaveMs while an engine runs, so a crash loses at most that much time and never the file.
#include "recording/clock.h"

#include <QObject>
#include <QTimer>

#include <array>
#include <cstdint>

namespace tarvek {

class SettingsFiles;

struct WearCount {
    qint64 starts = 0;
    qint64 runningMs = 0;
    qint64 lampMs = 0;
    bool operator==(const WearCount&) const = default;
};

class WearCounters : public QObject {
    Q_OBJECT
public:
    static constexpr int kEngines = 6;
    static constexpr qint64 kMaxGapMs = 10'000;
    static constexpr int kSaveMs = 60'000; // TimerUsures
    static QString fileName() { return QStringLiteral("\\Usures.ini"); }

    WearCounters(SettingsFiles& files, const Clock& clock, QObject* parent = nullptr);

    // Reads the file, creating it with zeros when missing; starts the save timer.
    void load();
    // Writes the file now when something changed since the last write; true when it is on disk.
    bool save();

    // Engine 1..6.
    WearCount count(int engine) const { return counts_.at(static_cast<std::size_t>(engine - 1)); }
    // A good status reply of engine 1..6 reported this phase, now.
    void observe(int engine, int phase);
    // A lamp was replaced: its lamp time starts again from zero (saved at once).
    bool resetLamp(int engine);

    static bool running(int phase) { return phase != 0; }
    static bool lampOn(int phase) { return phase >= 3 && phase <= 5; }
    // "123 h 05 min".
    static QString hoursText(qint64 ms);

    QTimer* saveTimer() const { return timer_; }

signals:
    void changed(int engine);
    void saved();
    void warning(const QString& caption, const QString& text);

private:
    struct Last {
        int phase = -1; // nothing seen yet
        qint64 atMs = 0; // since 1970 UTC
    };
    SettingsFiles& files_;
    const Clock& clock_;
    std::array<WearCount, kEngines> counts_{};
    std::array<Last, kEngines> last_{};
    bool dirty_ = false;
    bool warned_ = false;
    QTimer* timer_;
};

} // namespace tarvek
