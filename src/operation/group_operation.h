#pragma once
// "START All LE" and "STOP All LE": each asks its question first. START All brings the checked
// engines up one at a time with Timer14, each after its own parameter read; STOP All switches the
// QTH lamps off and stops one checked engine a tick with Timer16.
//
// START All skips an engine whose port is closed, that is already started or waiting for its
// parameters, or that is not at rest (phase 0): it starts only what a press could start.
// An engine whose read is never answered holds the sequence until it is stopped; STOP All ends
// the sequence.
#include "operation/engine_operation.h"
#include "operation/operation_context.h"

#include <QObject>
#include <QTimer>

#include <array>
#include <cstdint>

namespace tarvek {

namespace operation_timing {
inline constexpr int kStartAllMs = 500; // Timer14: looks for the next engine to bring up
inline constexpr int kOffAllMs = 500;   // Timer16: one engine a tick
} // namespace operation_timing

class QthLamps;

class GroupOperation : public QObject {
    Q_OBJECT
public:
    static QString startAllQuestion() { return QStringLiteral("START All LE"); }
    static QString stopAllQuestion() { return QStringLiteral("STOP All LE"); }

    GroupOperation(OperationContext& context, EngineOperation& engines, QthLamps& qth, QObject* parent = nullptr);

    bool offMarker(int engine) const { return offMarkers_.at(static_cast<std::size_t>(engine - 1)) != 0; }
    // The engine Timer14 is bringing up (1..6), 0 when none.
    int startingEngine() const { return starting_; }
    QTimer* startAllTimer() const { return timer14_; }
    QTimer* offAllTimer() const { return timer16_; }

public slots:
    // The two requests: START All first clears the messages and alarms (startAllPrepared()).
    void requestStartAll();
    void requestStopAll();
    // The question window's answer for either text.
    void answer(const QString& question, bool yes);
    // Timer16 from the first engine, as STOP All's "Yes" and the stop alarm start it.
    void startOffAll();

signals:
    void question(const QString& caption, const QString& text);
    void startAllPrepared();
    void eventLine(const QString& line);

private:
    void startAllTick();
    void offAllTick();
    bool canStart(int engine) const;

    OperationContext& ctx_;
    EngineOperation& engines_;
    QthLamps& qth_;
    QTimer* timer14_;
    QTimer* timer16_;
    int next_ = 1;     // Timer14: the engine looked at next
    int starting_ = 0; // Timer14: the engine whose read is under way
    int offCounter_ = 0;
    std::array<std::uint8_t, kEngines> offMarkers_{};
};

} // namespace tarvek
