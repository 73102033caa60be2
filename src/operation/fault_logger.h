#pragma once
// Fault codes reported by the engines, logged once per code and engine: a line in the event list
// List4 and one in the history, with the code. Nothing is logged for an engine at rest.
//
// An engine's flags are cleared when its run ends (back in phase 0), so each run logs its faults
// once; START All clears them for every engine. A code without a text (21..65) logs its empty
// text, and so does a code outside the table (above 65 or negative): the history keeps its number.
#include "operation/fault_texts.h"
#include "operation/operation_context.h"

#include <QObject>
#include <QSet>

#include <array>

namespace tarvek {

class FaultLogger : public QObject {
    Q_OBJECT
public:
    using MessageTable = std::array<std::array<QString, kFaultCodesFilled>, kEngines>;

    FaultLogger(OperationContext& context, const std::array<QString, kFaultTableSize>& texts,
                MessageTable& messages, QObject* parent = nullptr);

    bool logged(int engine, int code) const { return faults_.at(index(engine)).contains(code); }
    // The table text of a code, empty outside 0..65.
    QString text(int code) const;

public slots:
    // Engine 1..6 reports `code`: logged unless the engine is at rest or the code is flagged.
    void log(int engine, int code);
    // The second message table (21 texts per engine) has a logger of the same shape.
    void logMessage(int engine, int code);
    void clearFlags(int engine);
    // START All: every flag, and message slots 0..13 of every engine.
    void clearForStartAll();

signals:
    void eventLine(const QString& line);

private:
    static std::size_t index(int engine) { return static_cast<std::size_t>(engine - 1); }
    void write(int code, const QString& historyText, bool stopLine);

    OperationContext& ctx_;
    const std::array<QString, kFaultTableSize>& texts_;
    MessageTable& messages_;
    std::array<QSet<int>, kEngines> faults_;
    std::array<QSet<int>, kEngines> messageFlags_;
};

} // namespace tarvek
