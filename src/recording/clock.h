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
    // Time of day and short date in the system's formats.
    virtual QString timeText() const
    {
        QString format = QLocale::system().timeFormat(QLocale::LongFormat);
        format.remove(QRegularExpression(QStringLiteral("\\s*t+"))); // no time-zone name
        return QLocale::system().toString(now().time(), format.trimmed());
    }
    virtual QString dateText() const { return QLocale::system().toString(now().date(), QLocale::ShortFormat); }
};

class SystemClock final : public Clock {
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
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
