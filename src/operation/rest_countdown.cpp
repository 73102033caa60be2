#include "operation/rest_countdown.h"

#include "recording/named_timer.h"

namespace tarvek {

RestCountdown::RestCountdown(QObject* parent) : QObject(parent)
{
    setObjectName(QStringLiteral("RestCountdown"));
    RestSeconds.fill(operation_timing::kRestSeconds);
    for (int n = 1; n <= 6; ++n) {
        QTimer* t = namedTimer(this, QStringLiteral("Timer%1").arg(35 + n), operation_timing::kRestTickMs, false);
        connect(t, &QTimer::timeout, this, [this, n] { tick(n); });
        timers_[static_cast<std::size_t>(n - 1)] = t;
    }
}

void RestCountdown::begin(int engine)
{
    RestSeconds.at(static_cast<std::size_t>(engine - 1)) = operation_timing::kRestSeconds;
    emit engineStatus(engine, text(operation_timing::kRestSeconds));
    timer(engine)->start();
}

void RestCountdown::cancel(int engine)
{
    if (!running(engine))
        return;
    timer(engine)->stop();
    RestSeconds.at(static_cast<std::size_t>(engine - 1)) = operation_timing::kRestSeconds;
}

void RestCountdown::tick(int engine)
{
    auto& seconds = RestSeconds.at(static_cast<std::size_t>(engine - 1));
    if (seconds != 0) {
        --seconds;
        if (seconds != 0) {
            emit engineStatus(engine, text(seconds));
            return;
        }
    }
    seconds = operation_timing::kRestSeconds;
    timer(engine)->stop();
    emit engineStatus(engine, QString());
    emit finished(engine);
}

} // namespace tarvek
