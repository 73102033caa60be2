#pragma once
// Every alarm and fault the station raises, as an operator's alarm list: each alarm is raised,
// acknowledged and cleared, with the time of each step from the station's clock. The list is
// newest first; an alarm not yet acknowledged is marked in words, so the mark survives a
// black-and-white printout or a colour-blind operator.
//
// Raising and clearing are the sources' business (they also write their own history lines);
// acknowledging and clearing are journaled here, one history line each:
//   "Alarm acknowledged  LE3  <text>"      "Alarm cleared  LE3  <text>"
#include "recording/clock.h"
#include "recording/history.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>

namespace tarvek {

enum class AlarmSource { Sht, Lfc, Qth, StopAlarm, Fault, LinkLost };

struct AlarmEntry {
    int id = 0;
    int engine = 0; // 1..6
    AlarmSource source = AlarmSource::Fault;
    int code = 0;   // the fault code for a fault, 0 otherwise
    QString text;
    QDateTime raised;
    QDateTime acknowledged; // invalid until acknowledged
    QDateTime cleared;      // invalid while the alarm holds

    bool isAcknowledged() const { return acknowledged.isValid(); }
    bool holds() const { return !cleared.isValid(); }
    // The mark of the summary's first column: what the operator must still do, in words.
    QString mark() const;
};

class AlarmSummary : public QObject {
    Q_OBJECT
public:
    static constexpr int kMaxEntries = 500; // the oldest acknowledged and cleared alarms go first

    AlarmSummary(History& history, const Clock& clock, QObject* parent = nullptr);

    // An alarm begins; an alarm of the same engine, source and code that still holds is kept as it
    // is (raising is idempotent). Returns the alarm's id.
    int raise(int engine, AlarmSource source, const QString& text, int code = 0);
    // The alarm of that engine, source and code (any code when code < 0) ends.
    void clear(int engine, AlarmSource source, int code = -1);
    // Ends every alarm of a source, on every engine (START All clears the alarm windows' alarms).
    void clearSource(AlarmSource source);
    bool acknowledge(int id);
    int acknowledgeAll();

    const QList<AlarmEntry>& entries() const { return entries_; }
    bool holds(int engine, AlarmSource source) const;
    bool holdsAnywhere(AlarmSource source) const;
    int unacknowledgedCount() const;
    // Alarms that still hold, acknowledged or not.
    int activeCount() const;
    // The newest alarm not yet acknowledged (what the banner shows), or nullptr.
    const AlarmEntry* newestUnacknowledged() const;
    QString timeText(const QDateTime& t) const;

signals:
    void changed();

private:
    void journal(const QString& step, const AlarmEntry& e);
    void trim();

    History& history_;
    const Clock& clock_;
    QList<AlarmEntry> entries_; // newest first
    int nextId_ = 1;
};

} // namespace tarvek
