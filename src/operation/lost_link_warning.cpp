#include "operation/lost_link_warning.h"

namespace tarvek {

LostLinkWarning::LostLinkWarning(const Clock& clock, QObject* parent) : QObject(parent), clock_(clock) {}

QStringList LostLinkWarning::lines() const
{
    QStringList lines = heading();
    for (const auto& [engine, when] : lost_)
        lines << QStringLiteral("LE%1   %2").arg(engine).arg(when);
    return lines;
}

QList<int> LostLinkWarning::lostEngines() const
{
    QList<int> engines;
    for (const auto& entry : lost_)
        engines << entry.first;
    return engines;
}

void LostLinkWarning::lost(int engine)
{
    lost_[engine] = clock_.dateText() + QStringLiteral(" / ") + clock_.timeText();
    shown_ = true;
    emit show(engine, caption(), lines());
}

void LostLinkWarning::restored(int engine)
{
    if (lost_.erase(engine) == 0 || !shown_)
        return;
    if (lost_.empty()) {
        shown_ = false;
        emit close();
        return;
    }
    emit show(engine, caption(), lines());
}

void LostLinkWarning::dismissed()
{
    shown_ = false;
}

} // namespace tarvek
