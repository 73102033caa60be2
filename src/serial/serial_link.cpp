// The frame cycle on the open ports: the bytes of each port read and framed into replies, each good
// reply decoded and answered 30 ms later by one frame, and the figures of that cycle. Opening and
// closing the ports is in serial_ports.cpp.
#include "serial/serial_link.h"

#include "protocol/parameter_block.h"
#include "recording/named_timer.h"
#include "serial/port_write.h"
#include "serial/precise_deadlines.h"
#include "serial/when_clear.h"
#include "settings/settings_files.h"
#include "settings/station_settings.h"

#include <QSocketNotifier>

#include <algorithm>
#include <utility>

#ifdef Q_OS_UNIX
#include <sys/ioctl.h>
#endif

namespace tarvek {

using namespace link_timing;

namespace {
// 19200 baud, ten bits a character: what is missing of a reply cannot come sooner than this.
constexpr qint64 kCharacterNs = 1'000'000'000 / 1920;
constexpr qint64 kDelayBinUs = 25;
// A rest ends this much before a line at 19200 baud can finish the reply: the bytes held may
// have come a little before the station looked. Ending later would make the answer late whenever
// the line is a little fast; ending sooner costs a wake for the last piece.
constexpr qint64 kRestMarginNs = 500'000;
// A rest shorter than this saves no wake: a line hands a reply over in pieces a few milliseconds
// apart (a UART's FIFO, a USB adapter, the simulator's 4 ms), and the rest's end is a wake too.
constexpr qint64 kShortestRestNs = 5'000'000;
// The deadlines of the rests follow those of the six senders.
constexpr int kRestKey = 6;

// Bytes the device holds that the port has not read yet, or -1 where that cannot be asked.
qint64 bytesWaiting(const QSerialPort& port)
{
#ifdef Q_OS_UNIX
    int n = 0;
    if (::ioctl(port.handle(), FIONREAD, &n) == 0)
        return n;
#endif
    return -1;
}

// QSerialPort reads its device through a read notifier of its own, a QSocketNotifier child of the
// port on the port's descriptor. Turned off, what the line brings waits in the kernel and wakes
// nobody; turned on again, the port reads it all at once. nullptr while the port has none.
QSocketNotifier* findReadNotifier(const QSerialPort* port)
{
    const auto descriptor = static_cast<qintptr>(port->handle());
    for (QSocketNotifier* n : port->findChildren<QSocketNotifier*>(Qt::FindDirectChildrenOnly))
        if (n->type() == QSocketNotifier::Read && n->socket() == descriptor)
            return n;
    return nullptr;
}
} // namespace

QSocketNotifier* SerialLink::readNotifier(Slot& s)
{
    // Looked for among the port's children once; a port opened again has a new one.
    if (!s.notifier || s.notifier->socket() != static_cast<qintptr>(s.port->handle()))
        s.notifier = findReadNotifier(s.port);
    return s.notifier;
}

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
    // The senders' time and the rests' ends, kept to the microsecond; their QTimers stay the timers
    // that are seen, started and stopped, and keep the time on their own where the loop has no
    // finer clock.
    deadlines_ = new PreciseDeadlines(this);
    whenClear_ = new WhenClear([this](qint64 now, qint64 ahead) { return busyUntilNs(now, ahead); }, this);
    connect(deadlines_, &PreciseDeadlines::due, this, [this](int key) {
        if (key > kRestKey) {
            wakeReading(key - kRestKey);
            return;
        }
        if (!at(key).sender->isActive())
            return; // stopped meanwhile (Connect, discovery)
        at(key).sender->stop();
        onSenderTick(key);
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
void SerialLink::watchDeadlines() { deadlines_->watchLateness(); }
PreciseDeadlines::Lateness SerialLink::deadlineLateness() const { return deadlines_->lateness(); }
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
    const bool quiet = std::exchange(s.quietInRest, false) || (s.sinceBytes.isValid() && s.sinceBytes.elapsed() > kQuietLineMs);
    if (quiet && (s.heldInPort > 0 || s.framer.pending() > 0)) {
        handOver(s.port->read(s.heldInPort));
        lineQuiet(slot);
        s.reading = Reading::Listening;
    }
    s.sinceBytes.start();
    // A line delivers a reply in dozens of small pieces: they wait until a whole reply can be
    // there, and only then go to the framer.
    s.heldInPort = s.port->bytesAvailable();
    const qint64 missing = kReplyLength - static_cast<qint64>(s.framer.pending()) - s.heldInPort;
    if (missing > 0) {
        restUntilWhole(slot, missing);
        return;
    }
    s.heldInPort = 0;
    s.reading = Reading::Listening;
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
    // there, so a reply that began unseen wakes the station twice (its first piece, the end of
    // the rest) instead of once per piece the line hands over.
    // Once a reply: what is still missing after the rest is read as it comes, so its last bytes
    // are handled when they arrive and the answer keeps its 30 ms from them.
    Slot& s = at(slot);
    if (s.reading == Reading::Listening)
        rest(slot, PreciseDeadlines::nowNs(), missing * kCharacterNs - kRestMarginNs, Reading::Following);
}

void SerialLink::restAfterFrame(int slot, qint64 frameNs)
{
    // A FADEC answers a frame once it has all of it: its reply cannot be whole before the frame's
    // 34 characters and the reply's 160 have crossed the line. Until then the port need not be
    // read at all; a FADEC that answers at once is then read in one go, at the end of the rest.
    // One that takes longer has begun its reply by then, and the rest of it is waited for as
    // for any reply whose first piece came.
    Slot& s = at(slot);
    if (s.reading == Reading::Listening && s.heldInPort == 0 && s.framer.pending() == 0 && s.port->bytesAvailable() == 0)
        rest(slot, frameNs, (kFrameLength + kReplyLength) * kCharacterNs - kRestMarginNs, Reading::Listening);
}

void SerialLink::rest(int slot, qint64 fromNs, qint64 restNs, Reading after)
{
    Slot& s = at(slot);
    QSocketNotifier* notifier = readNotifier(s);
    if (restNs < kShortestRestNs || !notifier)
        return;
    notifier->setEnabled(false);
    s.reading = Reading::Resting;
    s.afterRest = after;
    s.restFromNs = fromNs;
    const qint64 leftNs = fromNs + restNs - PreciseDeadlines::nowNs();
    s.rest->start(static_cast<int>(std::max<qint64>(0, leftNs + 999'999) / 1'000'000));
    deadlines_->arm(kRestKey + slot, fromNs + restNs);
}

void SerialLink::wakeReading(int slot)
{
    Slot& s = at(slot);
    if (s.reading != Reading::Resting)
        return;
    stopResting(slot);
    s.reading = s.afterRest;
    if (!s.port->isOpen())
        return;
    // Nobody saw the bytes come during the rest: fewer than the line carries in that time, by more
    // than a quiet line's worth, and the line may have gone quiet in it. The port reads them on
    // its next look, at once.
    const qint64 came = bytesWaiting(*s.port);
    s.quietInRest = came >= 0 && PreciseDeadlines::nowNs() - s.restFromNs - came * kCharacterNs > qint64(kQuietLineMs) * 1'000'000;
    s.sinceBytes.start();
    if (QSocketNotifier* notifier = readNotifier(s))
        notifier->setEnabled(true);
}

void SerialLink::stopResting(int slot)
{
    Slot& s = at(slot);
    s.rest->stop();
    deadlines_->disarm(kRestKey + slot);
    s.quietInRest = false;
    if (s.reading == Reading::Resting) {
        s.reading = Reading::Listening;
        if (QSocketNotifier* notifier = s.port->isOpen() ? readNotifier(s) : nullptr)
            notifier->setEnabled(true);
    }
}

qint64 SerialLink::busyUntilNs(qint64 nowNs, qint64 aheadNs) const
{
    // A deadline is done with shortly after it; the end of a reply after the rest that waited for
    // it is read as it comes, within the rest's margin.
    static constexpr qint64 kAfterNs = 1'000'000;
    qint64 until = 0;
    for (const Slot& s : slots_)
        if (s.open && (s.reading == Reading::Following || s.framer.pending() > 0))
            until = nowNs + kAfterNs;
    if (const qint64 next = deadlines_->earliest(); next != 0 && next - nowNs < aheadNs)
        until = std::max(until, std::max(next, nowNs) + kAfterNs);
    return until;
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
        if (transport_) {
            transport_->write(slot, frame);
        } else {
            writeFrame(*s.port, bytes);
            restAfterFrame(slot, PreciseDeadlines::nowNs());
        }
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
