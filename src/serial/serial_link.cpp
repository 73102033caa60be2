// The frame cycle on the open ports: the bytes of each port read and framed into replies, each good
// reply decoded and answered 30 ms later by one frame, and the figures of that cycle. Opening and
// closing the ports is in serial_ports.cpp.
#include "serial/serial_link.h"

#include "protocol/parameter_block.h"
#include "recording/named_timer.h"
#include "serial/precise_deadlines.h"
#include "settings/settings_files.h"
#include "settings/station_settings.h"

#include <algorithm>

namespace tarvek {

using namespace link_timing;

namespace {
// 19200 baud, ten bits a character: what is missing of a reply cannot come sooner than this.
constexpr double kCharactersPerMs = 1.92;
constexpr qint64 kDelayBinUs = 25;
// The rest of a reading ends this much before the last byte of a reply can come: the event loop
// may wake up to a millisecond after the rest's time, and the bytes held may have come a little
// before the station looked.
constexpr int kRestMarginMs = 2;
} // namespace

SerialLink::SerialLink(EngineTables& tables, StationSettings& settings, SettingsFiles& files,
                       DeviceResolver resolver, QObject* parent)
    : QObject(parent), tables_(tables), settings_(settings), files_(files), resolver_(std::move(resolver))
{
    for (int k = 1; k <= 6; ++k) {
        Slot& s = at(k);
        s.port = new QSerialPort(this);
        s.port->setObjectName(QStringLiteral("MSComm%1").arg(k));
        connect(s.port, &QSerialPort::readyRead, this, [this, k] { onReadyRead(k); });
        connect(s.port, &QSerialPort::errorOccurred, this,
                [this, k](QSerialPort::SerialPortError e) { onPortError(k, e); });

        s.sender = namedTimer(this, QStringLiteral("Timer%1").arg(20 + k), kSenderDelayMs);
        s.sender->setTimerType(Qt::PreciseTimer);
        connect(s.sender, &QTimer::timeout, this, [this, k] {
            deadlines_->disarm(k);
            onSenderTick(k);
        });

        s.indicator = namedTimer(this, QStringLiteral("Timer%1").arg(29 + k), kIndicatorHoldMs);
        connect(s.indicator, &QTimer::timeout, this, [this, k] { emit linkIndicator(k, false); });

        s.reconnect = namedTimer(this, QStringLiteral("ReconnectLE%1").arg(k), kReconnectMs);
        connect(s.reconnect, &QTimer::timeout, this, [this, k] { tryReconnect(k); });

        s.rest = namedTimer(this, QStringLiteral("ReadLE%1").arg(k), 0);
        // A coarse timer may end the rest some milliseconds after the reply is whole.
        s.rest->setTimerType(Qt::PreciseTimer);
        connect(s.rest, &QTimer::timeout, this, [this, k] { wakeReading(k); });

        s.due = namedTimer(this, QStringLiteral("ReplyDueLE%1").arg(k), kReplyDueMs, true);
        connect(s.due, &QTimer::timeout, this, [this, k] { emit replyOverdue(k); });
    }
    // The sender's time, kept to the microsecond; its QTimer stays the sender that is seen, started
    // and stopped, and answers on its own where the loop has no finer clock.
    deadlines_ = new PreciseDeadlines(this);
    connect(deadlines_, &PreciseDeadlines::due, this, [this](int k) {
        if (!at(k).sender->isActive())
            return; // stopped meanwhile (Connect, discovery)
        at(k).sender->stop();
        onSenderTick(k);
    });
    captionTimer_ = namedTimer(this, QStringLiteral("Timer62"), kCaptionRestoreMs);
    connect(captionTimer_, &QTimer::timeout, this, &SerialLink::captionRestored);
    supervision_ = namedTimer(this, QStringLiteral("Timer44"), kReplySupervisionMs);
    connect(supervision_, &QTimer::timeout, this, &SerialLink::repliesStopped);
    loadForm();
}

SerialLink::~SerialLink() { shutdown(); }

SerialLink::Slot& SerialLink::at(int slot)
{
    return slots_.at(static_cast<std::size_t>(slot - 1));
}

const SerialLink::Slot& SerialLink::at(int slot) const
{
    return slots_.at(static_cast<std::size_t>(slot - 1));
}

QSerialPort* SerialLink::port(int slot) const { return at(slot).port; }
QTimer* SerialLink::sender(int slot) const { return at(slot).sender; }
quint64 SerialLink::framesSent(int slot) const { return at(slot).frames; }

SerialLink::Delays SerialLink::replyToFrameDelays(int slot) const
{
    const Slot& s = at(slot);
    Delays d;
    d.count = s.delayCount;
    d.maxUs = s.delayMaxUs;
    quint64 seen = 0;
    const quint64 median = (s.delayCount + 1) / 2;
    const quint64 p99 = (s.delayCount * 99 + 99) / 100;
    for (std::size_t bin = 0; bin < s.delayHistogram.size(); ++bin) {
        const quint64 before = seen;
        seen += s.delayHistogram[bin];
        // A bin's upper edge, but never past the largest delay actually seen.
        const qint64 upper = std::min(static_cast<qint64>(bin + 1) * kDelayBinUs, s.delayMaxUs);
        if (before < median && seen >= median)
            d.medianUs = upper;
        if (before < p99 && seen >= p99)
            d.p99Us = upper;
    }
    return d;
}
quint64 SerialLink::repliesReceived(int slot) const { return at(slot).replies; }
quint64 SerialLink::statusReadings(int slot) const { return at(slot).readings; }
bool SerialLink::fresh(int slot) const { return at(slot).due->isActive(); }
QTimer* SerialLink::replyDueTimer(int slot) const { return at(slot).due; }
quint64 SerialLink::staleDrops(int slot) const { return at(slot).staleDrops + at(slot).framer.staleDrops(); }

int SerialLink::takeGoodRepliesSinceTick(int slot)
{
    Slot& s = at(slot);
    const int n = s.goodSinceTick;
    s.goodSinceTick = 0;
    return n;
}

int SerialLink::firstByte(int slot) const { return at(slot).firstByte; }
bool SerialLink::answered(int slot) const { return at(slot).answered; }
qint64 SerialLink::pendingBytes(int slot) const { return static_cast<qint64>(at(slot).framer.pending()); }
bool SerialLink::noiseBeforeAnswer(int slot) const
{
    const Slot& s = at(slot);
    return !s.answered && (s.badBeforeAnswer > 0 || s.framer.discarded() >= static_cast<quint64>(kReplyLength));
}
void SerialLink::onReadyRead(int slot)
{
    Slot& s = at(slot);
    if (!s.port->isOpen())
        return;
    if (s.firstByte < 0 && s.port->bytesAvailable() > 0) {
        char c = 0;
        s.port->peek(&c, 1);
        s.firstByte = static_cast<unsigned char>(c);
    }
    // Bytes held from before a quiet line may belong to a reply that will never be finished: glued
    // to the next reply they would cost its answer. The framer judges them once a reply's worth
    // has come.
    const auto handOver = [this, slot](const QByteArray& bytes) {
        receive(slot, std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size())));
    };
    if (s.sinceBytes.isValid() && s.sinceBytes.elapsed() > kQuietLineMs
        && (s.heldInPort > 0 || s.framer.pending() > 0)) {
        handOver(s.port->read(s.heldInPort));
        lineQuiet(slot);
        s.rested = false;
    }
    s.sinceBytes.start();
    // A line delivers a reply in dozens of small pieces: they wait in the port's buffer until a
    // whole reply can be there, and only then go to the framer.
    s.heldInPort = s.port->bytesAvailable();
    const qint64 missing = kReplyLength - static_cast<qint64>(s.framer.pending()) - s.heldInPort;
    if (missing > 0) {
        restUntilWhole(slot, missing);
        return;
    }
    s.heldInPort = 0;
    s.rested = false;
    handOver(s.port->readAll());
}

void SerialLink::receive(int slot, std::string_view bytes)
{
    Slot& s = at(slot);
    if (s.firstByte < 0 && !bytes.empty())
        s.firstByte = static_cast<unsigned char>(bytes.front());
    if (byteTap_ && !bytes.empty())
        byteTap_->passed(slot, TraceDirection::In, bytes);
    s.framer.feed(bytes, [this, slot](std::string_view reply) { handleReply(slot, reply); });
}

void SerialLink::lineQuiet(int slot)
{
    if (byteTap_)
        byteTap_->lineQuiet(slot);
    at(slot).framer.markQuiet();
}

void SerialLink::restUntilWhole(int slot, qint64 missing)
{
    // The rest of a reply comes at the line rate: the port is not read again before it can all be
    // there, so a reply wakes the station a few times instead of once per piece the line hands
    // over. The port's buffer, limited to what it holds, makes it stop reading on its own.
    // Once a reply: what is still missing after the rest is read as it comes, so its last bytes
    // are handled when they arrive and the answer keeps its 30 ms from them.
    Slot& s = at(slot);
    if (s.rest->isActive() || s.rested)
        return;
    const int restMs = static_cast<int>(static_cast<double>(missing) / kCharactersPerMs) - kRestMarginMs;
    if (restMs <= 0)
        return;
    s.rested = true;
    s.port->setReadBufferSize(std::max<qint64>(1, s.heldInPort));
    s.rest->start(restMs);
}

void SerialLink::wakeReading(int slot)
{
    Slot& s = at(slot);
    if (!s.port->isOpen())
        return;
    // The bytes that came meanwhile are no quiet line.
    s.sinceBytes.start();
    s.port->setReadBufferSize(0);
}

void SerialLink::startSender(int slot, qint64 fromNs)
{
    at(slot).sender->start();
    deadlines_->arm(slot, fromNs + qint64(kSenderDelayMs) * 1'000'000);
}

void SerialLink::handleReply(int slot, std::string_view reply)
{
    // The answer's 30 ms count from here, when the reply's last byte was seen, not from the end of
    // all that decoding it sets off.
    const qint64 seenNs = PreciseDeadlines::nowNs();
    Slot& s = at(slot);
    const int index = slot - 1;
    if (tap_)
        tap_->traced(slot, TraceDirection::In, reply);
    const ReplyOutcome outcome = decodeReply(tables_, index, reply);
    ++s.replies;
    if (outcome.good) {
        ++s.goodSinceTick;
        s.answered = true;
    } else if (!s.answered) {
        ++s.badBeforeAnswer;
    }
    const bool reading = outcome.good && outcome.replyType != kParameterReplyType;
    if (reading) {
        ++s.readings;
        s.due->start();
    }
    emit replyHandled(slot, outcome);
    if (reading)
        emit statusReading(slot);
    if (outcome.parametersRead)
        emit statusText(QStringLiteral("Reading the settings on LE%1 went well ! ").arg(slot));
    supervision_->start();
    if (outcome.good && !s.goodPending) {
        s.goodPending = true; // the first good reply the next frame answers
        s.replySeenNs = seenNs;
    }
    if (!s.sender->isActive())
        startSender(slot, seenNs);
}

void SerialLink::onSenderTick(int slot)
{
    Slot& s = at(slot);
    const int index = slot - 1;
    const bool wasOpen = transport_ ? s.open : s.port->isOpen();
    const SendOutcome out = composeFrame(tables_, index, wasOpen);
    if (out.blocked) {
        startSender(slot, PreciseDeadlines::nowNs()); // no good reply yet: look again in 30 ms
        return;
    }
    emit linkIndicator(slot, true);
    if (out.parameterBlockSent)
        emit statusText(QStringLiteral("Backup completed successfully ! "));
    if (out.written) {
        const QByteArray bytes(out.bytes.data(), kFrameLength);
        const std::string_view frame(out.bytes.data(), out.bytes.size());
        if (transport_)
            transport_->write(slot, frame);
        else
            s.port->write(bytes);
        if (byteTap_)
            byteTap_->passed(slot, TraceDirection::Out, frame);
        ++s.frames;
        if (s.goodPending) {
            s.goodPending = false;
            const qint64 us = (PreciseDeadlines::nowNs() - s.replySeenNs) / 1000;
            ++s.delayHistogram[static_cast<std::size_t>(std::min<qint64>(us / kDelayBinUs, qint64(s.delayHistogram.size()) - 1))];
            ++s.delayCount;
            s.delayMaxUs = std::max(s.delayMaxUs, us);
        }
        if (tap_)
            tap_->traced(slot, TraceDirection::Out, frame);
        emit frameSent(slot, bytes);
    }
    s.indicator->start();
    s.sender->stop();
}

} // namespace tarvek
