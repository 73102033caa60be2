#include "maintenance/wear_counters.h"

#include "recording/named_timer.h"
#include "settings/settings_files.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace tarvek {

WearCounters::WearCounters(SettingsFiles& files, const Clock& clock, QObject* parent)
    : QObject(parent), files_(files), clock_(clock)
{
    setObjectName(QStringLiteral("WearCounters"));
    timer_ = namedTimer(this, QStringLiteral("TimerUsures"), kSaveMs, false);
    connect(timer_, &QTimer::timeout, this, &WearCounters::save);
}

void WearCounters::load()
{
    if (!QFileInfo::exists(files_.pathOf(fileName()))) {
        dirty_ = true; // a new station: the file appears with zeros
        save();
    }
    // Counters that cannot be read are the one case where starting from zero is wrong for a machine
    // that has run: the file is kept aside and the operator told in a box, not just a line.
    QString why = files_.damage(fileName());
    if (why.isEmpty() && QFileInfo(files_.pathOf(fileName())).size() == 0)
        why = QStringLiteral("is empty");
    if (!why.isEmpty()) {
        const QString aside = files_.repair(fileName(), why);
        emit warning(QStringLiteral(" Warning!"),
                     QStringLiteral("The wear counters cannot be read: %1 %2. %3The counters start again from zero.")
                         .arg(QDir::toNativeSeparators(files_.pathOf(fileName())), why,
                              aside.isEmpty() ? QString()
                                              : QStringLiteral("The file is kept as %1 for the machine's records. ")
                                                    .arg(QDir::toNativeSeparators(aside))));
    }
    std::array<int, 3 * kEngines> values{};
    files_.readNumbers(fileName(), values);
    for (std::size_t k = 0; k < counts_.size(); ++k) {
        counts_[k].starts = std::max(0, values[3 * k]);
        counts_[k].runningMs = std::max(0, values[3 * k + 1]) * qint64(1000);
        counts_[k].lampMs = std::max(0, values[3 * k + 2]) * qint64(1000);
    }
    timer_->start();
}

bool WearCounters::save()
{
    if (!dirty_)
        return true;
    QStringList lines;
    for (const WearCount& c : counts_)
        lines << QString::number(c.starts) << QString::number(c.runningMs / 1000) << QString::number(c.lampMs / 1000);
    if (!files_.writeValues(fileName(), lines, LineFormat::Plain)) {
        // Once per failure spell: the counters go on in memory and the next save tries again.
        if (!warned_)
            emit warning(QStringLiteral(" Warning!"), QStringLiteral("Cannot write ") +
                                                          QDir::toNativeSeparators(files_.pathOf(fileName())) +
                                                          QStringLiteral(": the wear counters are kept until it can be"));
        warned_ = true;
        return false;
    }
    warned_ = false;
    dirty_ = false;
    emit saved();
    return true;
}

void WearCounters::observe(int engine, int phase)
{
    if (engine < 1 || engine > kEngines)
        return;
    const auto k = static_cast<std::size_t>(engine - 1);
    Last& last = last_[k];
    WearCount& c = counts_[k];
    const qint64 nowMs = clock_.msecsSinceEpoch();
    bool changedNow = false;
    bool saveNow = false;
    if (last.phase >= 0) {
        const qint64 gap = nowMs - last.atMs;
        if (gap > 0 && gap <= kMaxGapMs) {
            if (running(last.phase)) {
                c.runningMs += gap;
                changedNow = true;
            }
            if (lampOn(last.phase))
                c.lampMs += gap;
        }
        if (last.phase == 0 && phase >= 1 && phase <= 5) {
            ++c.starts;
            changedNow = saveNow = true;
        }
        // The end of a run is a good moment to have its hours on disk.
        if (running(last.phase) && phase == 0)
            saveNow = true;
    }
    last.phase = phase;
    last.atMs = nowMs;
    if (changedNow) {
        dirty_ = true;
        emit changed(engine);
    }
    if (saveNow)
        save();
}

bool WearCounters::resetLamp(int engine)
{
    if (engine < 1 || engine > kEngines)
        return false;
    counts_[static_cast<std::size_t>(engine - 1)].lampMs = 0;
    dirty_ = true;
    emit changed(engine);
    return save();
}

QString WearCounters::hoursText(qint64 ms)
{
    const qint64 minutes = ms / 60'000;
    return QStringLiteral("%1 h %2 min").arg(minutes / 60).arg(minutes % 60, 2, 10, QLatin1Char('0'));
}

} // namespace tarvek
