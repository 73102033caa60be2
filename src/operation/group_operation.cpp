#include "operation/group_operation.h"

#include "operation/qth_lamps.h"
#include "recording/named_timer.h"

namespace tarvek {

using namespace operation_texts;

GroupOperation::GroupOperation(OperationContext& context, EngineOperation& engines, QthLamps& qth, QObject* parent)
    : QObject(parent), ctx_(context), engines_(engines), qth_(qth)
{
    setObjectName(QStringLiteral("GroupOperation"));
    timer14_ = namedTimer(this, QStringLiteral("Timer14"), operation_timing::kStartAllMs, false);
    timer16_ = namedTimer(this, QStringLiteral("Timer16"), operation_timing::kOffAllMs, false);
    connect(timer14_, &QTimer::timeout, this, &GroupOperation::startAllTick);
    connect(timer16_, &QTimer::timeout, this, &GroupOperation::offAllTick);
}

void GroupOperation::requestStartAll()
{
    emit startAllPrepared();
    emit question(kWarningCaption, startAllQuestion());
}

void GroupOperation::requestStopAll()
{
    emit question(kWarningCaption, stopAllQuestion());
}

void GroupOperation::answer(const QString& text, bool yes)
{
    if (text == startAllQuestion()) {
        if (!yes) {
            engines_.clearRightClickMark();
            return;
        }
        offMarkers_.fill(0);
        next_ = 1;
        starting_ = 0;
        timer14_->start();
    } else if (text == stopAllQuestion() && yes) {
        timer14_->stop();
        starting_ = 0;
        qth_.switchOff(true);
        startOffAll();
    }
}

bool GroupOperation::canStart(int engine) const
{
    return ctx_.inGroup(engine) && ctx_.portOpen(engine) && !engines_.startedByUser(engine) &&
           ctx_.record(engine).Phase == 0;
}

void GroupOperation::startAllTick()
{
    // One engine at a time: the next waits until this one's read is answered or cancelled.
    if (starting_ != 0 && engines_.waiting(starting_))
        return;
    starting_ = 0;
    while (next_ <= kEngines && !canStart(next_))
        ++next_;
    if (next_ > kEngines) {
        timer14_->stop();
        return;
    }
    starting_ = next_++;
    engines_.beginStart(starting_);
}

void GroupOperation::startOffAll()
{
    offCounter_ = 0;
    timer16_->start();
}

void GroupOperation::offAllTick()
{
    const int engine = offCounter_ + 1;
    if (ctx_.inGroup(engine)) {
        engines_.stopFromGroup(engine);
        const QString text = QStringLiteral("  Off LE %1").arg(engine) + timeStamp(ctx_.clock);
        emit eventLine(text);
        ctx_.history.append(QStringLiteral("0"), text);
        offMarkers_[static_cast<std::size_t>(engine - 1)] = 1;
    }
    if (++offCounter_ >= kEngines) {
        offCounter_ = 0;
        timer16_->stop();
    }
}

} // namespace tarvek
