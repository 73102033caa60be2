#include "sim/simulated_engine.h"

#include <algorithm>
#include <utility>

namespace tarvek::sim {

namespace {
constexpr qint64 kHalfMillisecondNs = 500000;
// A frame's 34 characters on the line.
constexpr qint64 kFrameLineNs = qint64(kFrameLength) * 1000000000 / kCharactersPerSecond;
} // namespace

SimulatedEngine::SimulatedEngine(int number, std::unique_ptr<Transport> transport,
                                 std::uint32_t seed, QObject* parent)
    : QObject(parent), number_(number), model_(seed), transport_(std::move(transport))
{
    transport_->setParent(nullptr); // owned here, destroyed after our timers stop
    pacer_.setTimerType(Qt::PreciseTimer);
    pacer_.setInterval(kPaceTickMs);
    connect(&pacer_, &QTimer::timeout, this, &SimulatedEngine::pump);
    stall_.setSingleShot(true);
    stall_.setTimerType(Qt::PreciseTimer);
    connect(&stall_, &QTimer::timeout, this, &SimulatedEngine::resume);
    frameTimeout_.setSingleShot(true);
    frameTimeout_.setInterval(kFrameTimeoutMs);
    connect(&frameTimeout_, &QTimer::timeout, this, &SimulatedEngine::timedOut);
    connect(transport_.get(), &Transport::received, this, &SimulatedEngine::receive);
    connect(transport_.get(), &Transport::closed, this, &SimulatedEngine::linkClosed);
    connect(transport_.get(), &Transport::opened, this, [this] { emit linkChanged(true); });
    connect(transport_.get(), &Transport::peerConnected, this, [this] {
        if (running_ && !sending() && !awaitingFrame_)
            sendReply();
    });
    modelTime_.start();
}

SimulatedEngine::~SimulatedEngine()
{
    disconnect(transport_.get(), nullptr, this, nullptr);
    transport_->shutDown();
}

bool SimulatedEngine::start()
{
    running_ = true;
    modelTime_.restart();
    modelNsConsumed_ = 0;
    if (!transport_->open())
        return false;
    if (!sending() && !awaitingFrame_)
        sendReply();
    return true;
}

void SimulatedEngine::stallNextReply(int ms, int afterCharacters)
{
    nextStallMs_ = std::max(0, ms);
    nextStallAt_ = std::clamp(afterCharacters, 1, kReplyLength - 1);
}

void SimulatedEngine::resume()
{
    if (paced_) {
        pump();
        return;
    }
    transport_->write(outgoing_.mid(sent_));
    sent_ = outgoing_.size();
    finishReply();
}

void SimulatedEngine::stop()
{
    running_ = false;
    pacer_.stop();
    stall_.stop();
    frameTimeout_.stop();
    transport_->shutDown();
}

void SimulatedEngine::catchUp()
{
    // Whole milliseconds go to the model and the rest is carried, so an engine that is asked many
    // times a millisecond still sees its time pass.
    const qint64 ms = (modelTime_.nsecsElapsed() - modelNsConsumed_) / 1000000;
    modelNsConsumed_ += ms * 1000000;
    model_.advance(static_cast<int>(ms));
    notePhase();
}

void SimulatedEngine::notePhase()
{
    if (model_.phase() != lastPhase_) {
        const int from = lastPhase_;
        lastPhase_ = model_.phase();
        emit phaseChanged(from, lastPhase_);
    }
}

void SimulatedEngine::sendReply(qint64 lateNs)
{
    awaitingFrame_ = false;
    if (!running_ || !transport_->isOpen())
        return;
    catchUp();
    const std::string text = transport_->hasPeer() ? model_.reply() : std::string();
    if (text.empty()) {
        // Silenced or nobody there: try again after the usual wait.
        frameTimeout_.start();
        return;
    }
    outgoing_ = QByteArray(text.data(), static_cast<qsizetype>(text.size()));
    sent_ = 0;
    stallMs_ = std::exchange(nextStallMs_, 0);
    stallAt_ = nextStallAt_;
    if (!paced_ && stallMs_ > 0) {
        sent_ = std::min(stallAt_, outgoing_.size());
        transport_->write(outgoing_.left(sent_));
        stall_.start(std::exchange(stallMs_, 0));
        return;
    }
    if (!paced_) {
        transport_->write(outgoing_);
        sent_ = outgoing_.size();
        finishReply();
        return;
    }
    lineTime_.start();
    lineLateNs_ = lateNs;
    pacer_.setInterval(kPaceTickMs);
    pump();
}

void SimulatedEngine::pump()
{
    // Character k starts k character-times after the first, so the rate is right on average
    // whatever the tick jitter. Timers count whole milliseconds: a character due within half of
    // one goes now, so the line is early as often as late instead of always late.
    const qint64 elapsedNs = lineTime_.nsecsElapsed() + lineLateNs_ + kHalfMillisecondNs;
    qsizetype due = std::min<qsizetype>(
        outgoing_.size(), 1 + static_cast<qsizetype>(elapsedNs * kCharactersPerSecond / 1000000000));
    if (stallMs_ > 0)
        due = std::min(due, stallAt_);
    if (due > sent_) {
        transport_->write(outgoing_.mid(sent_, due - sent_));
        sent_ = due;
    }
    if (stallMs_ > 0 && sent_ == stallAt_ && sending()) {
        // The line goes quiet; the rest follows as if the reply had started that much later.
        pacer_.stop();
        lineLateNs_ -= qint64(stallMs_) * 1000000;
        stall_.start(std::exchange(stallMs_, 0));
        return;
    }
    if (!sending()) {
        pacer_.stop();
        finishReply();
        return;
    }
    // The last character leaves when it is due, not at the next tick after.
    const qint64 lastDueNs = (outgoing_.size() - 1) * qint64(1000000000) / kCharactersPerSecond;
    const qint64 leftMs = (lastDueNs - kHalfMillisecondNs - lineLateNs_ - lineTime_.nsecsElapsed() + 999999) / 1000000;
    const int next = static_cast<int>(std::clamp<qint64>(leftMs, 1, kPaceTickMs));
    if (pacer_.interval() != next || !pacer_.isActive())
        pacer_.start(next);
}

void SimulatedEngine::finishReply()
{
    awaitingFrame_ = true;
    frameTimeout_.start();
    emit replySent(outgoing_);
}

void SimulatedEngine::receive(const QByteArray& bytes)
{
    if (incoming_.isEmpty() && !bytes.isEmpty())
        frameArrival_.start();
    incoming_ += bytes;
    bool answered = false;
    // A frame is 34 bytes whose last two are CR LF; anything in front of one is line noise.
    while (incoming_.size() >= kFrameLength) {
        if (incoming_[kFrameLength - 2] == '\r' && incoming_[kFrameLength - 1] == '\n') {
            const QByteArray frame = incoming_.left(kFrameLength);
            incoming_.remove(0, kFrameLength);
            model_.frame(std::string_view(frame.constData(), static_cast<std::size_t>(frame.size())));
            notePhase();
            emit frameApplied(frame);
            answered = true;
            continue;
        }
        qsizetype skip = 1;
        while (skip + kFrameLength <= incoming_.size() &&
               !(incoming_[skip + kFrameLength - 2] == '\r' && incoming_[skip + kFrameLength - 1] == '\n'))
            ++skip;
        const QByteArray noise = incoming_.left(skip);
        incoming_.remove(0, skip);
        discardedBytes_ += static_cast<int>(noise.size());
        emit bytesDiscarded(noise);
    }
    // Only a frame that came after the whole reply answers it.
    if (answered && awaitingFrame_) {
        frameTimeout_.stop();
        awaitingFrame_ = false;
        // On a real line the frame's 34 characters take 17.7 ms: the next reply cannot start before
        // the last of them has arrived.
        qint64 waitMs = 0;
        if (paced_ && frameArrival_.isValid())
            waitMs = std::max<qint64>(0, (kFrameLineNs - frameArrival_.nsecsElapsed() + 999999) / 1000000);
        QTimer::singleShot(static_cast<int>(waitMs), Qt::PreciseTimer, this, [this] {
            if (sending() || awaitingFrame_ || frameTimeout_.isActive())
                return;
            // The line started the reply when the frame ended, however late this timer fired.
            qint64 lateNs = 0;
            if (paced_ && frameArrival_.isValid())
                lateNs = std::clamp<qint64>(frameArrival_.nsecsElapsed() - kFrameLineNs, 0, qint64(kPaceTickMs) * 1000000);
            sendReply(lateNs);
        });
    }
}

void SimulatedEngine::timedOut()
{
    if (awaitingFrame_)
        ++timeouts_;
    // What did not make a frame by now is forgotten, and so is a reply nobody read.
    incoming_.clear();
    transport_->discardUnread();
    sendReply();
}

void SimulatedEngine::linkClosed()
{
    pacer_.stop();
    stall_.stop();
    frameTimeout_.stop();
    awaitingFrame_ = false;
    outgoing_.clear();
    sent_ = 0;
    incoming_.clear();
    emit linkChanged(false);
}

} // namespace tarvek::sim
