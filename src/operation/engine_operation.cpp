#include "operation/engine_operation.h"

#include "recording/named_timer.h"

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
    StartedByUser[index(engine)] = on ? 1 : 0;
    emit buttonState(engine, on);
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
    // An engine already in its start sequence or running is not started again.
    if (ctx_.record(engine).Phase != 0)
        return;
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
