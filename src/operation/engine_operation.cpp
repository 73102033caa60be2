#include "operation/engine_operation.h"

#include "recording/named_timer.h"

#include <utility>

namespace tarvek {

using namespace operation_texts;

EngineOperation::EngineOperation(OperationContext& context, ParameterList& parameters, QObject* parent)
    : QObject(parent), ctx_(context), parameters_(parameters)
{
    setObjectName(QStringLiteral("EngineOperation"));
    timer5_ = namedTimer(this, QStringLiteral("Timer5"), operation_timing::kStartDisplayMs, true);
    timer61_ = namedTimer(this, QStringLiteral("Timer61"), operation_timing::kButtonRefreshMs, false);
    connect(timer5_, &QTimer::timeout, this, [this] { emit startPageRequested(6); });
    connect(timer61_, &QTimer::timeout, this, [this] {
        for (int n = 1; n <= kEngines; ++n)
            emit buttonState(n, startedByUser(n));
    });
    timer61_->start();
}

QString EngineOperation::caption(int engine, bool started)
{
    return (started ? QStringLiteral("STOP LE-%1") : QStringLiteral("START LE-%1")).arg(engine);
}

void EngineOperation::setStarted(int engine, bool on)
{
    const bool was = startedByUser(engine);
    StartedByUser[index(engine)] = on ? 1 : 0;
    if (!on)
        stopping_[index(engine)] = true;
    emit buttonState(engine, on);
    if (was != on)
        emit startedByUserChanged(engine, on);
}

void EngineOperation::press(int engine)
{
    if (engine < 1 || engine > kEngines)
        return;
    RightClickMark = 0;
    if (startedByUser(engine)) {
        stop(engine);
        return;
    }
    if (!ctx_.portOpen(engine)) {
        emit warning(kWarningCaption, kPortNotEnabled);
        return;
    }
    if (found_[index(engine)]) {
        emit question(engine, kWarningCaption,
                      QStringLiteral("LE%1 is running without a start from this station. Stop LE%1?").arg(engine));
        return;
    }
    // An engine already in its start sequence or running is not started again, and would not
    // answer the parameter read a start begins with.
    if (const int phase = ctx_.record(engine).Phase; phase != 0) {
        emit warning(kWarningCaption,
                     QStringLiteral("LE%1 cannot start now: it reports phase %2, a start needs phase 0").arg(engine).arg(phase));
        return;
    }
    beginStart(engine);
}

void EngineOperation::stop(int engine)
{
    // The button shows stopped even when the stop cannot be sent.
    setStarted(engine, false);
    cancelRead(engine);
    if (!ctx_.portOpen(engine)) {
        emit warning(kWarningCaption, kPortUnactivated);
        emit statusText(QStringLiteral("LE%1: its port is not open, the stop was not sent: connect it with START (RS232) or check Ports ...").arg(engine));
        return;
    }
    ctx_.record(engine).RunCommand = 2;
    // Whichever engine stops, it is the first engine's byte that is cleared.
    StartAux[0] = 0;
    emit stopSent(engine);
    ctx_.history.append(QStringLiteral("0"),
                        QStringLiteral("  OFF LE %1").arg(engine) + timeStamp(ctx_.clock));
}

void EngineOperation::stopFoundRunning(int engine)
{
    if (!found_[index(engine)])
        return;
    if (!ctx_.portOpen(engine)) {
        emit warning(kWarningCaption, kPortUnactivated);
        return;
    }
    stopping_[index(engine)] = true;
    found_[index(engine)] = false;
    ctx_.record(engine).RunCommand = 2;
    StartAux[0] = 0;
    emit foundRunningChanged(engine, false);
    emit stopSent(engine);
    ctx_.history.append(QStringLiteral("0"),
                        QStringLiteral("  OFF LE %1").arg(engine) + timeStamp(ctx_.clock));
}

void EngineOperation::stopFromGroup(int engine)
{
    setStarted(engine, false);
    cancelRead(engine);
    ctx_.record(engine).RunCommand = 2;
}

void EngineOperation::beginStart(int engine)
{
    setStarted(engine, true);
    emit startBegun(engine);
    reads_[index(engine)] = StartRead::Asked;
    ctx_.record(engine).parameterReadRequest = true;
    emit engineStatus(engine, QStringLiteral("Waiting for LE%1 parameters").arg(engine));
    emit statusText(QStringLiteral("LE%1: reading its parameters before the start").arg(engine));
}

void EngineOperation::cancelRead(int engine)
{
    if (reads_[index(engine)] != StartRead::Asked)
        return;
    reads_[index(engine)] = StartRead::Cancelled;
    // A request that has not gone out yet is withdrawn; a block that still comes is not a start.
    ctx_.record(engine).parameterReadRequest = false;
    emit engineStatusRestored(engine);
    emit startCancelled(engine);
    reads_[index(engine)] = StartRead::Idle;
}

void EngineOperation::onReply(int engine, const ReplyOutcome& outcome)
{
    if (outcome.parametersRead && reads_[index(engine)] == StartRead::Asked)
        finishStart(engine);
    if (!outcome.good || outcome.replyType == kParameterReplyType)
        return;
    const int phase = ctx_.record(engine).Phase;
    int& last = lastPhase_[index(engine)];
    if (last != 0 && phase == 0)
        emit runEnded(engine);
    last = phase;
    const auto i = index(engine);
    if (phase == 0) {
        stopping_[i] = false;
        if (std::exchange(found_[i], false))
            emit foundRunningChanged(engine, false);
    } else if (phase <= 6 && !found_[i] && !stopping_[i] && !startedByUser(engine) && reads_[i] == StartRead::Idle) {
        found_[i] = true;
        ctx_.history.append(QStringLiteral("0"), QStringLiteral("  LE %1 found running, not started from this station").arg(engine)
                                                     + timeStamp(ctx_.clock));
        emit foundRunningChanged(engine, true);
    }
}

void EngineOperation::finishStart(int engine)
{
    reads_[index(engine)] = StartRead::Answered;
    // Engine 1 appends to the list; the others replace it.
    parameters_.fill(ctx_.record(engine).ParameterImage, engine != 1);
    StartParameter[index(engine)] = static_cast<std::uint8_t>(parameters_.startParameter());
    StartAux[index(engine)] = 0;
    timer5_->start();
    ctx_.record(engine).RunCommand = 1;
    emit engineStatusRestored(engine);
    ctx_.history.append(QStringLiteral("0"),
                        QStringLiteral("  Start LE %1").arg(engine) + timeStamp(ctx_.clock));
    reads_[index(engine)] = StartRead::Idle;
    emit started(engine);
}

void EngineOperation::rightRelease()
{
    RightClickMark = 1;
    if (PanelToggle == 1) {
        PanelToggle = 0;
        emit panelOperation(2);
    } else {
        emit panelOperation(1);
        PanelToggle = 1;
    }
}

} // namespace tarvek
