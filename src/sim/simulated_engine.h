#pragma once
// Drives one FADEC over a transport: send a reply, wait for the station's frame, apply it, send
// the next reply. A FADEC does not wait forever: without a frame it repeats its status after the
// frame time-out. Output is paced at the line rate (19200 baud, 10 bits a character) unless told
// otherwise, because a pseudo-terminal or a socket would otherwise deliver a reply at once.
#include "sim/fadec_model.h"
#include "sim/transport.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <memory>

namespace tarvek::sim {

inline constexpr int kLineBaud = 19200;
inline constexpr int kBitsPerCharacter = 10;   // start, 8 data, stop
inline constexpr int kCharactersPerSecond = kLineBaud / kBitsPerCharacter;
inline constexpr int kFrameTimeoutMs = 1000;
// A UART with an 8-character receive trigger hands a reader its bytes about every 4 ms at 19200.
inline constexpr int kPaceTickMs = 4;

class SimulatedEngine : public QObject {
    Q_OBJECT
public:
    SimulatedEngine(int number, std::unique_ptr<Transport> transport, std::uint32_t seed = 1,
                    QObject* parent = nullptr);
    ~SimulatedEngine() override;

    int number() const { return number_; }
    FadecModel& model() { return model_; }
    const FadecModel& model() const { return model_; }
    Transport& transport() { return *transport_; }
    const Transport& transport() const { return *transport_; }

    void setPaced(bool on) { paced_ = on; }
    bool paced() const { return paced_; }
    void setFrameTimeoutMs(int ms) { frameTimeout_.setInterval(ms); }

    // Opens the link and starts talking; false when the link could not be opened.
    bool start();
    void stop();
    // The link disappears for `ms` milliseconds and comes back under the same name.
    void vanish(int ms) { transport_->vanish(ms); }
    // The next reply stops for `ms` milliseconds after its first `afterCharacters` characters.
    void stallNextReply(int ms, int afterCharacters);
    // Brings the model up to the present.
    void catchUp();

    int discardedBytes() const { return discardedBytes_; }
    int timeouts() const { return timeouts_; }
    bool sending() const { return sent_ < outgoing_.size(); }

signals:
    void replySent(const QByteArray& text);      // its last byte has gone out
    void frameApplied(const QByteArray& frame);
    void bytesDiscarded(const QByteArray& bytes); // line noise dropped while resynchronising
    void phaseChanged(int from, int to);
    void linkChanged(bool open);

private:
    // lateNs: how long ago the line should have started this reply.
    void sendReply(qint64 lateNs = 0);
    void pump();
    void resume();
    void finishReply();
    void receive(const QByteArray& bytes);
    void timedOut();
    void linkClosed();
    void notePhase();

    int number_;
    FadecModel model_;
    std::unique_ptr<Transport> transport_;
    bool paced_ = true;
    bool running_ = false;
    bool awaitingFrame_ = false;
    int lastPhase_ = 0;
    int discardedBytes_ = 0;
    int timeouts_ = 0;

    QByteArray outgoing_;
    qsizetype sent_ = 0;
    QByteArray incoming_;
    QElapsedTimer modelTime_;
    qint64 modelNsConsumed_ = 0;
    QElapsedTimer lineTime_;
    qint64 lineLateNs_ = 0;
    QElapsedTimer frameArrival_; // first byte of the frame being received
    QTimer pacer_;
    QTimer stall_;           // the pause inside a reply
    int stallMs_ = 0;        // the pause inside the reply going out; 0: none
    qsizetype stallAt_ = 0;
    int nextStallMs_ = 0;    // asked for while a reply may be going out: it is the next one's
    qsizetype nextStallAt_ = 0;
    QTimer frameTimeout_;
};

} // namespace tarvek::sim
