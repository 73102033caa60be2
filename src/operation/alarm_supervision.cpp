#include "operation/alarm_supervision.h"

namespace tarvek {

namespace {
constexpr int kRunningPhase = 5;
constexpr int kFaultNone = 0, kFaultStopActivated = 18, kFaultNothingToSay = 20;

std::size_t markSlot(AlarmSource source)
{
    return source == AlarmSource::Sht ? 0 : source == AlarmSource::Lfc ? 1 : 2;
}
std::size_t at(int engine) { return static_cast<std::size_t>(engine - 1); }
// A code that tells of something wrong; 0, 18 and 20 are an engine at rest, cooling or running.
bool isFault(int code) { return code != kFaultNone && code != kFaultStopActivated && code != kFaultNothingToSay; }
} // namespace

QString AlarmLimits::problem() const
{
    if (shtSetPoint < 0 || shtSetPoint > AlarmSupervision::kMaxShtSetPoint)
        return QStringLiteral("The SHT set-point must be 0 to %1 °C").arg(AlarmSupervision::kMaxShtSetPoint);
    if (lfcSliderTop < 1 || lfcSliderTop > AlarmSupervision::kMaxLfc)
        return QStringLiteral("The LFC slider top must be 1 to %1").arg(AlarmSupervision::kMaxLfc);
    if (lfcLow < 0 || lfcLow > lfcSliderTop)
        return QStringLiteral("The LFC low limit must be 0 to %1").arg(lfcSliderTop);
    return {};
}

AlarmSupervision::AlarmSupervision(OperationContext& context, StationSettings& settings, SettingsFiles& files,
                                   AlarmState& bytes, FaultText faultText, QObject* parent)
    : QObject(parent), ctx_(context), settings_(settings), files_(files), bytes_(bytes),
      faultText_(std::move(faultText)), summary_(new AlarmSummary(context.history, context.clock, this))
{
}

AlarmLimits AlarmSupervision::limits() const
{
    AlarmLimits l;
    l.shtSetPoint = settings_.shtSetPoint;
    l.shtJudged = settings_.shtAlarmFlags[0] != 0;
    l.lfcSliderTop = settings_.lfcSlider[0];
    l.lfcLow = settings_.lfcSlider[1];
    for (std::size_t i = 0; i < kEngines; ++i) {
        l.shtArmed[i] = settings_.shtAlarmFlags[1 + i] == 0;
        l.lfcArmed[i] = settings_.lfcSlider[2 + i] == 0;
        l.qthArmed[i] = settings_.qthAlarmFlags[i] != 0;
    }
    return l;
}

QString AlarmSupervision::saveLimits(const AlarmLimits& l)
{
    if (ctx_.tables.mode != OperatingMode::Service)
        return QStringLiteral("Limits are changed in SERVICE mode only");
    if (const QString why = l.problem(); !why.isEmpty())
        return why;
    settings_.shtSetPoint = l.shtSetPoint;
    settings_.shtAlarmFlags[0] = l.shtJudged ? 1 : 0;
    settings_.lfcSlider[0] = l.lfcSliderTop;
    settings_.lfcSlider[1] = l.lfcLow;
    for (std::size_t i = 0; i < kEngines; ++i) {
        settings_.shtAlarmFlags[1 + i] = l.shtArmed[i] ? 0 : 1;
        settings_.lfcSlider[2 + i] = l.lfcArmed[i] ? 0 : 1;
        settings_.qthAlarmFlags[i] = l.qthArmed[i] ? 1 : 0;
    }
    const bool written = files_.writeNumbers(QStringLiteral("\\SHTConsigne.ini"), std::span<const int>(&settings_.shtSetPoint, 1)) &&
                         files_.writeNumbers(QStringLiteral("\\SHTPCStatusHal.ini"), settings_.shtAlarmFlags) &&
                         files_.writeNumbers(QStringLiteral("\\ConsSliderLCF.ini"), settings_.lfcSlider) &&
                         files_.writeNumbers(QStringLiteral("\\StatusHalogen.ini"), settings_.qthAlarmFlags);
    emit changed();
    return written ? QString() : QStringLiteral("The alarm limits could not be written");
}

QString AlarmSupervision::menuOf(AlarmSource source)
{
    switch (source) {
    case AlarmSource::Sht: return QStringLiteral("mnuAlarmPlateau");
    case AlarmSource::Lfc: return QStringLiteral("mnuAlarmLFC");
    case AlarmSource::Qth: return QStringLiteral("mnuAlarmHalogen");
    default: return QStringLiteral("mnuStopAlarm");
    }
}

QString AlarmSupervision::caption(AlarmSource source) const
{
    const bool marked = marked_.at(markSlot(source));
    switch (source) {
    case AlarmSource::Sht:
        return marked ? QStringLiteral("SHT (FADEC and PC) *") : QStringLiteral(" SHT (FADEC and PC)");
    case AlarmSource::Lfc: return marked ? QStringLiteral("LFC *") : QStringLiteral(" LFC");
    default: return marked ? QStringLiteral("QTH-Lamps *") : QStringLiteral(" QTH-Lamps");
    }
}

void AlarmSupervision::applyArming()
{
    const AlarmLimits l = limits();
    replyAlarms_.setLimits(l.shtSetPoint, l.lfcLow);
    for (int i = 0; i < kEngines; ++i) {
        replyAlarms_.setArmed(i, ReplyAlarm::Sht, l.shtJudged && l.shtArmed[static_cast<std::size_t>(i)]);
        replyAlarms_.setArmed(i, ReplyAlarm::Lfc, l.lfcArmed[static_cast<std::size_t>(i)]);
    }
}

void AlarmSupervision::onReply(int engine)
{
    applyArming(); // read on every reply: a limit changed elsewhere takes effect at once
    judgeSht(engine);
    judgeQth(engine, ctx_.clock.now());
    judgeFault(engine);
    if (summary_->holds(engine, AlarmSource::StopAlarm) && ctx_.record(engine).Phase != kRunningPhase)
        summary_->clear(engine, AlarmSource::StopAlarm);
}

void AlarmSupervision::judgeSht(int engine)
{
    const LightEngineRecord& r = ctx_.record(engine);
    const AlarmLimits l = limits();
    for (const AlarmChange& change : replyAlarms_.judge(engine - 1, r)) {
        const bool sht = change.alarm == ReplyAlarm::Sht;
        const AlarmSource source = sht ? AlarmSource::Sht : AlarmSource::Lfc;
        if (!change.holds) {
            end(engine, source);
            continue;
        }
        const QString line = operation_texts::designation(engine) +
                             (sht ? QStringLiteral("  Alarm SHT (FADEC) ") : QStringLiteral("  Alarm LFC "));
        const QString text = sht ? QStringLiteral("SHT %1 °C above %2 °C").arg(r.reported[pos::Sht]).arg(l.shtSetPoint)
                                 : QStringLiteral("LFC level %1 below %2").arg(r.reported[pos::Lfc]).arg(l.lfcLow);
        raise(engine, source, line, text);
    }
}

void AlarmSupervision::judgeQth(int engine, const QDateTime& now)
{
    const LightEngineRecord& r = ctx_.record(engine);
    QDateTime& since = qthMismatchSince_.at(at(engine));
    const int feedback = r.reported[pos::QthRelay];
    const bool armed = limits().qthArmed.at(at(engine));
    if (!armed || feedback == r.QthCommand) {
        since = {};
        end(engine, AlarmSource::Qth);
        return;
    }
    if (!since.isValid())
        since = now;
    if (since.msecsTo(now) < kQthSettleMs || summary_->holds(engine, AlarmSource::Qth))
        return;
    const auto state = [](int v) { return v ? QStringLiteral("on") : QStringLiteral("off"); };
    raise(engine, AlarmSource::Qth, operation_texts::designation(engine) + QStringLiteral("  Alarm QTH-Lamps "),
          QStringLiteral("QTH relay reads %1, %2 commanded").arg(state(feedback), state(r.QthCommand)));
}

void AlarmSupervision::judgeFault(int engine)
{
    const LightEngineRecord& r = ctx_.record(engine);
    const int code = r.FaultCode;
    // Codes other than this one have ended; the fault logger keeps the history of each.
    for (const AlarmEntry& e : summary_->entries())
        if (e.holds() && e.engine == engine && e.source == AlarmSource::Fault && e.code != code) {
            summary_->clear(engine, AlarmSource::Fault, e.code);
            break; // entries changed under the loop; the next reply clears any other
        }
    // An engine at rest is not judged, as the fault logger does not log it.
    if (isFault(code) && r.Phase != 0)
        summary_->raise(engine, AlarmSource::Fault, QStringLiteral("%1 (code %2)").arg(faultText_(code).trimmed()).arg(code), code);
}

void AlarmSupervision::linkLost(int engine)
{
    summary_->raise(engine, AlarmSource::LinkLost, QStringLiteral("No communication with machine System!"));
}

void AlarmSupervision::linkRestored(int engine)
{
    summary_->clear(engine, AlarmSource::LinkLost);
}

void AlarmSupervision::stopAlarmRaised(int engine)
{
    summary_->raise(engine, AlarmSource::StopAlarm, QStringLiteral("Stop Alarm (Actived): still running after a stop"));
}

void AlarmSupervision::resetForStartAll()
{
    replyAlarms_.reset();
    qthMismatchSince_ = {};
    for (AlarmSource s : {AlarmSource::Sht, AlarmSource::Lfc, AlarmSource::Qth, AlarmSource::StopAlarm})
        summary_->clearSource(s);
    bytes_.qthAlarmActive = 0;
    bytes_.lfcAlarmActive = 0;
    bytes_.shtAlarmActive = 0;
    marked_ = {};
    emit captionChanged(menuOf(AlarmSource::Qth), QStringLiteral("QTH-Lamps "));
    emit captionChanged(menuOf(AlarmSource::Sht), QStringLiteral("SHT (FADEC and PC) "));
    emit captionChanged(menuOf(AlarmSource::Lfc), QStringLiteral("LFC "));
    emit changed();
}

void AlarmSupervision::raise(int engine, AlarmSource source, const QString& line, const QString& text)
{
    if (summary_->holds(engine, source))
        return;
    emit eventLine(line);
    ctx_.history.append(QStringLiteral("0"), line);
    summary_->raise(engine, source, text);
    updateCaption(source);
}

void AlarmSupervision::end(int engine, AlarmSource source)
{
    if (!summary_->holds(engine, source))
        return;
    summary_->clear(engine, source);
    updateCaption(source);
}

void AlarmSupervision::updateCaption(AlarmSource source)
{
    const bool held = summary_->holdsAnywhere(source);
    std::uint8_t& active = source == AlarmSource::Sht   ? bytes_.shtAlarmActive
                           : source == AlarmSource::Lfc ? bytes_.lfcAlarmActive
                                                        : bytes_.qthAlarmActive;
    active = static_cast<std::uint8_t>(held);
    bool& marked = marked_.at(markSlot(source));
    if (marked != held) {
        marked = held;
        emit captionChanged(menuOf(source), caption(source));
    }
    emit changed();
}

} // namespace tarvek
