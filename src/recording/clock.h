#pragma once
// The one source of time for the station, so history lines, log rows and countdowns can be tested.
#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>

namespace tarvek {

class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
    // The same moment as milliseconds since 1970 UTC, for spans counted on every reply: a local
    // time's conversion to it costs some thirty times the reading of the system's clock.
    virtual qint64 msecsSinceEpoch() const { return now().toMSecsSinceEpoch(); }
    // Time of day and short date in the system's formats.
    virtual QString timeText() const
    {
        static const QString format = [] {
            QString f = QLocale::system().timeFormat(QLocale::LongFormat);
            f.remove(QRegularExpression(QStringLiteral("\\s*t+"))); // no time-zone name
            return f.trimmed();
        }();
        return QLocale::system().toString(now().time(), format);
    }
    virtual QString dateText() const { return QLocale::system().toString(now().date(), QLocale::ShortFormat); }
};

class SystemClock final : public Clock {
public:
    // The local time costs a time-zone conversion; what is asked within one millisecond (the six
    // graphs' columns, the replies read in one go) shares it.
    QDateTime now() const override
    {
        thread_local qint64 ms = -1;
        thread_local QDateTime local;
        if (const qint64 m = QDateTime::currentMSecsSinceEpoch(); m != ms) {
            local = QDateTime::fromMSecsSinceEpoch(m);
            ms = m;
        }
        return local;
    }
    qint64 msecsSinceEpoch() const override { return QDateTime::currentMSecsSinceEpoch(); }
};

// A clock that only moves when told to.
class ManualClock final : public Clock {
public:
    explicit ManualClock(QDateTime start = QDateTime(QDate(2026, 11, 23), QTime(9, 30, 0)))
        : now_(std::move(start)) {}
    QDateTime now() const override { return now_; }
    void set(const QDateTime& t) { now_ = t; }
    void advanceSeconds(qint64 s) { now_ = now_.addSecs(s); }
    void advanceMs(qint64 ms) { now_ = now_.addMSecs(ms); }

private:
    QDateTime now_;
};

} // namespace tarvek
