#include "operation/alarm_summary.h"

#include <algorithm>

namespace tarvek {

QString AlarmEntry::mark() const
{
    if (!isAcknowledged())
        return QStringLiteral("UNACK");
    return holds() ? QStringLiteral("ack") : QStringLiteral("done");
}

AlarmSummary::AlarmSummary(History& history, const Clock& clock, QObject* parent)
    : QObject(parent), history_(history), clock_(clock)
{
}

int AlarmSummary::raise(int engine, AlarmSource source, const QString& text, int code)
{
    for (const AlarmEntry& e : entries_)
        if (e.holds() && e.engine == engine && e.source == source && e.code == code)
            return e.id;
    AlarmEntry e;
    e.id = nextId_++;
    e.engine = engine;
    e.source = source;
    e.code = code;
    e.text = text.trimmed().isEmpty() ? QStringLiteral("Fault %1").arg(code) : text.trimmed();
    e.raised = clock_.now();
    entries_.prepend(e);
    trim();
    emit changed();
    return e.id;
}

void AlarmSummary::clear(int engine, AlarmSource source, int code)
{
    bool any = false;
    for (AlarmEntry& e : entries_) {
        if (!e.holds() || e.engine != engine || e.source != source || (code >= 0 && e.code != code))
            continue;
        e.cleared = clock_.now();
        journal(QStringLiteral("Alarm cleared"), e);
        any = true;
    }
    if (any)
        emit changed();
}

void AlarmSummary::clearSource(AlarmSource source)
{
    for (int engine = 1; engine <= 6; ++engine)
        clear(engine, source);
}

bool AlarmSummary::acknowledge(int id)
{
    for (AlarmEntry& e : entries_) {
        if (e.id != id)
            continue;
        if (e.isAcknowledged())
            return false;
        e.acknowledged = clock_.now();
        journal(QStringLiteral("Alarm acknowledged"), e);
        emit changed();
        return true;
    }
    return false;
}

int AlarmSummary::acknowledgeAll()
{
    int count = 0;
    // Oldest first, so the history reads in the order the alarms came.
    for (auto it = entries_.rbegin(); it != entries_.rend(); ++it) {
        if (it->isAcknowledged())
            continue;
        it->acknowledged = clock_.now();
        journal(QStringLiteral("Alarm acknowledged"), *it);
        ++count;
    }
    if (count > 0)
        emit changed();
    return count;
}

bool AlarmSummary::holds(int engine, AlarmSource source) const
{
    for (const AlarmEntry& e : entries_)
        if (e.holds() && e.engine == engine && e.source == source)
            return true;
    return false;
}

bool AlarmSummary::holdsAnywhere(AlarmSource source) const
{
    for (const AlarmEntry& e : entries_)
        if (e.holds() && e.source == source)
            return true;
    return false;
}

int AlarmSummary::unacknowledgedCount() const
{
    return static_cast<int>(std::count_if(entries_.begin(), entries_.end(),
                                          [](const AlarmEntry& e) { return !e.isAcknowledged(); }));
}

int AlarmSummary::activeCount() const
{
    return static_cast<int>(std::count_if(entries_.begin(), entries_.end(), [](const AlarmEntry& e) { return e.holds(); }));
}

const AlarmEntry* AlarmSummary::newestUnacknowledged() const
{
    for (const AlarmEntry& e : entries_)
        if (!e.isAcknowledged())
            return &e;
    return nullptr;
}

QString AlarmSummary::timeText(const QDateTime& t) const
{
    return t.isValid() ? t.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) : QString();
}

void AlarmSummary::journal(const QString& step, const AlarmEntry& e)
{
    history_.append(e.source == AlarmSource::Fault ? QString::number(e.code) : QStringLiteral("0"),
                    QStringLiteral("%1  LE%2  %3").arg(step).arg(e.engine).arg(e.text));
}

void AlarmSummary::trim()
{
    // A station left alone for weeks must not grow without end; what is done goes first.
    for (auto i = entries_.size() - 1; entries_.size() > kMaxEntries && i >= 0; --i)
        if (entries_.at(i).isAcknowledged() && !entries_.at(i).holds())
            entries_.removeAt(i);
}

} // namespace tarvek
