#include "maintenance/start_spy.h"

#include <algorithm>

namespace tarvek {

namespace {
bool sequencePhase(int phase) { return phase >= 1 && phase <= 4; }

// From the first reply of `phase` to the first reply of the phase that followed it; -1 when the
// phase was not reported, `now` when it is the phase still running.
qint64 phaseTime(const StartTrace& t, int phase, const QDateTime& now, bool& current)
{
    current = false;
    for (std::size_t i = 0; i < t.path.size(); ++i) {
        if (t.path[i].first != phase)
            continue;
        if (i + 1 < t.path.size())
            return t.path[i].second.msecsTo(t.path[i + 1].second);
        current = t.state == SpyState::Following;
        return current ? t.path[i].second.msecsTo(now) : -1;
    }
    return -1;
}

QDateTime firstOf(const StartTrace& t, int phase)
{
    for (const auto& [p, at] : t.path)
        if (p == phase)
            return at;
    return {};
}

bool reportedAfter(const StartTrace& t, int phase)
{
    return std::any_of(t.path.begin(), t.path.end(), [phase](const auto& step) { return step.first > phase; });
}

qint64 between(const QDateTime& from, const QDateTime& to)
{
    return from.isValid() && to.isValid() ? from.msecsTo(to) : -1;
}
} // namespace

StartSpy::StartSpy(const Clock& clock, QObject* parent) : QObject(parent), clock_(clock)
{
    setObjectName(QStringLiteral("StartSpy"));
    const Registers& d = defaultRegisters();
    for (std::size_t k = 0; k < known_.size(); ++k) {
        known_[k] = {d[18], d[19], d[20]};
        traces_[k].z = known_[k];
    }
}

void StartSpy::begin(StartTrace& t)
{
    const auto k = static_cast<std::size_t>(&t - traces_.data());
    t = StartTrace{};
    t.z = known_[k];
    t.zFromRegisters = registersSeen_[k];
}

void StartSpy::startPressed(int engine)
{
    StartTrace& t = traces_.at(index(engine));
    begin(t);
    t.pressed = clock_.now();
    t.state = SpyState::Reading;
    emit changed(engine);
}

void StartSpy::startRequested(int engine)
{
    StartTrace& t = traces_.at(index(engine));
    if (t.state != SpyState::Reading)
        begin(t);
    // The read that came just before holds the registers this start runs on.
    t.z = known_[index(engine)];
    t.zFromRegisters = registersSeen_[index(engine)];
    t.requested = clock_.now();
    t.state = SpyState::Requested;
    emit changed(engine);
}

void StartSpy::startCancelled(int engine)
{
    StartTrace& t = traces_.at(index(engine));
    if (t.state != SpyState::Reading && t.state != SpyState::Requested)
        return;
    t.state = SpyState::Ended;
    t.endPhase = -1;
    emit changed(engine);
}

void StartSpy::registersKnown(int engine, int z1, int z2, int z3)
{
    if (engine < 1 || engine > kEngines)
        return;
    known_[index(engine)] = {z1, z2, z3};
    registersSeen_[index(engine)] = true;
    // Before any start the window shows what the next start will be judged against.
    StartTrace& t = traces_[index(engine)];
    if (t.state == SpyState::Idle || t.state == SpyState::Reading) {
        t.z = known_[index(engine)];
        t.zFromRegisters = true;
    }
}

void StartSpy::observe(int engine, int phase, int faultCode)
{
    if (engine < 1 || engine > kEngines)
        return;
    StartTrace& t = traces_[index(engine)];
    int& previous = phase_[index(engine)];
    const int before = previous;
    previous = phase;
    const bool active = t.state == SpyState::Reading || t.state == SpyState::Requested ||
                        t.state == SpyState::Following;
    if (!active && before == 0 && sequencePhase(phase))
        begin(t); // a start the station did not ask for: followed from what it reports
    else if (!active)
        return;
    t.faultCode = faultCode;
    if (t.lastPhase == phase && !t.path.empty())
        return;
    if (t.state == SpyState::Requested || t.state == SpyState::Reading) {
        if (phase == 0)
            return;
    }
    t.lastPhase = phase;
    t.path.emplace_back(phase, clock_.now());
    if (phase == 5)
        t.state = SpyState::Reached;
    else if (sequencePhase(phase))
        t.state = SpyState::Following;
    else {
        t.state = SpyState::Ended;
        t.endPhase = phase;
    }
    emit changed(engine);
}

std::vector<StartStep> StartSpy::steps(const StartTrace& t, const QDateTime& now)
{
    std::vector<StartStep> rows;
    const bool following = t.state == SpyState::Following;
    StartStep read{QStringLiteral("Parameter read before the start")};
    read.measuredMs = between(t.pressed, t.requested);
    if (read.measuredMs < 0)
        read.verdict = StepVerdict::Pending;
    if (read.measuredMs < 0 && t.state == SpyState::Reading)
        read = {read.name, -1, between(t.pressed, now), StepVerdict::Running};
    rows.push_back(read);

    StartStep toPhase1{QStringLiteral("Start sent until phase 1")};
    toPhase1.measuredMs = between(t.requested, firstOf(t, 1));
    if (toPhase1.measuredMs < 0)
        toPhase1.verdict = StepVerdict::Pending;
    if (toPhase1.measuredMs < 0 && t.state == SpyState::Requested)
        toPhase1 = {toPhase1.name, -1, between(t.requested, now), StepVerdict::Running};
    rows.push_back(toPhase1);

    static const std::array<const char*, 4> names{
        "Phase 1  z1 Generator Start Delay", "Phase 2  z2 Ramp-up Time", "Phase 3  z3 Lamp Start Time",
        "Phase 4  lamp warm-up"};
    for (int phase = 1; phase <= 4; ++phase) {
        StartStep s{QString::fromLatin1(names[static_cast<std::size_t>(phase - 1)])};
        if (phase <= 3)
            s.expectedMs = qint64(t.z[static_cast<std::size_t>(phase - 1)]) * kTimeUnitMs;
        bool current = false;
        s.measuredMs = phaseTime(t, phase, now, current);
        if (s.measuredMs < 0) {
            s.verdict = reportedAfter(t, phase) || t.state == SpyState::Ended ? StepVerdict::NotSeen
                                                                             : StepVerdict::Pending;
            if (t.state == SpyState::Idle && t.path.empty())
                s.verdict = StepVerdict::Pending;
        } else if (s.expectedMs < 0) {
            s.verdict = current ? StepVerdict::Running : StepVerdict::Info;
        } else {
            const qint64 tolerance = kToleranceMs + s.expectedMs / 10;
            const qint64 excess = s.measuredMs - s.expectedMs;
            if (excess > tolerance)
                s.verdict = StepVerdict::Slow; // a running step is slow as soon as it is late
            else if (current)
                s.verdict = StepVerdict::Running;
            else
                s.verdict = excess < -tolerance ? StepVerdict::Short : StepVerdict::Ok;
        }
        rows.push_back(s);
    }

    StartStep total{QStringLiteral("Phase 1 until phase 5 (z1+z2+z3, then the warm-up)")};
    total.expectedMs = qint64(t.z[0] + t.z[1] + t.z[2]) * kTimeUnitMs; // and the warm-up, which no register sets
    total.measuredMs = between(firstOf(t, 1), firstOf(t, 5));
    if (total.measuredMs < 0 && following)
        total = {total.name, total.expectedMs, between(t.path.front().second, now), StepVerdict::Running};
    rows.push_back(total);
    return rows;
}

int StartSpy::slowest(const std::vector<StartStep>& steps)
{
    int worst = -1;
    qint64 worstExcess = 0;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const StartStep& s = steps[i];
        if (s.verdict != StepVerdict::Slow)
            continue;
        const qint64 excess = s.measuredMs - s.expectedMs;
        if (worst < 0 || excess > worstExcess) {
            worst = static_cast<int>(i);
            worstExcess = excess;
        }
    }
    return worst;
}

QString StartSpy::verdictText(StepVerdict v)
{
    switch (v) {
    case StepVerdict::Pending: return {};
    case StepVerdict::Running: return QStringLiteral("running");
    case StepVerdict::Ok: return QStringLiteral("ok");
    case StepVerdict::Slow: return QStringLiteral("SLOW");
    case StepVerdict::Short: return QStringLiteral("short");
    case StepVerdict::NotSeen: return QStringLiteral("not seen");
    case StepVerdict::Info: return QStringLiteral("-");
    }
    return {};
}

QString StartSpy::seconds(qint64 ms)
{
    if (ms < 0)
        return {};
    return QStringLiteral("%1 s").arg(static_cast<double>(ms) / 1000.0, 0, 'f', 1);
}

QString StartSpy::stateText(const StartTrace& t, int engine)
{
    const QString le = QStringLiteral("LE%1: ").arg(engine);
    switch (t.state) {
    case SpyState::Idle: return le + QStringLiteral("waiting for a start");
    case SpyState::Reading: return le + QStringLiteral("reading the parameters before the start");
    case SpyState::Requested: return le + QStringLiteral("start sent, waiting for phase 1");
    case SpyState::Following: return le + QStringLiteral("start under way, phase %1").arg(t.lastPhase);
    case SpyState::Reached: {
        const qint64 ms = between(firstOf(t, 1), firstOf(t, 5));
        return le + (ms >= 0 ? QStringLiteral("phase 5 reached, %1 after phase 1").arg(seconds(ms))
                             : QStringLiteral("phase 5 reached"));
    }
    case SpyState::Ended:
        if (t.endPhase < 0)
            return le + QStringLiteral("the start was cancelled before it went out");
        return le + QStringLiteral("the start ended in phase %1, fault code %2").arg(t.endPhase).arg(t.faultCode);
    }
    return le;
}

} // namespace tarvek
