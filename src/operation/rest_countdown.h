#pragma once
// The rest countdown of each engine (Timer36..Timer41 for LE1..LE6): once an engine that ran is
// back in phase 0, its status picture counts "Rest 60 sec." down to silver.
#include <QObject>
#include <QString>
#include <QTimer>

#include <array>
#include <cstdint>

namespace tarvek {

namespace operation_timing {
inline constexpr int kRestTickMs = 1000; // one tick a second, as the "sec." says
inline constexpr int kRestSeconds = 60;
} // namespace operation_timing

class RestCountdown : public QObject {
    Q_OBJECT
public:
    explicit RestCountdown(QObject* parent = nullptr);

    static QString text(int seconds) { return QStringLiteral("Rest %1 sec.").arg(seconds); }
    int restSeconds(int engine) const { return RestSeconds.at(static_cast<std::size_t>(engine - 1)); }
    bool running(int engine) const { return timer(engine)->isActive(); }
    QTimer* timer(int engine) const { return timers_.at(static_cast<std::size_t>(engine - 1)); }

public slots:
    void begin(int engine);
    // A new start ends the rest early: the picture is the start's.
    void cancel(int engine);
    void tick(int engine);

signals:
    // The status picture: "Rest n sec." while the rest runs; empty and silver when it ends.
    void engineStatus(int engine, const QString& text);
    void finished(int engine);

private:
    std::array<std::uint8_t, 6> RestSeconds{};
    std::array<QTimer*, 6> timers_{};
};

} // namespace tarvek
