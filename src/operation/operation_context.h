#pragma once
// What the operation classes share: the engine tables, the history, the clock, the settings and
// whether an engine's port is open. Each class keeps its own timers and signals.
#include "protocol/engine.h"
#include "recording/clock.h"
#include "recording/history.h"
#include "settings/software_settings.h"

#include <QString>

#include <functional>

namespace tarvek {

struct OperationContext {
    EngineTables& tables;
    History& history;
    const Clock& clock;
    const SoftwareSettings& software;      // the group and QTH check boxes of ParamLogicielVB
    std::function<bool(int engine)> portOpen; // engine 1..6: MSComm1..MSComm6 open

    LightEngineRecord& record(int engine) { return tables.at(engine - 1); }
    bool inGroup(int engine) const { return software.groupCommands.at(static_cast<std::size_t>(engine - 1)); }
    bool qthChecked(int engine) const { return software.qthLamps.at(static_cast<std::size_t>(engine - 1)); }
};

namespace operation_texts {
inline const QString kWarningCaption = QStringLiteral(" Warning!");
inline const QString kPortNotEnabled = QStringLiteral("Com Port not enabled");
inline const QString kPortUnactivated = QStringLiteral("COMx unactivated");

// The time stamp that follows a start or stop text in the history, after the line's own columns.
inline QString timeStamp(const Clock& clock) { return QStringLiteral("   ") + clock.timeText(); }
// How a history or event line names an engine.
inline QString designation(int engine) { return QStringLiteral("LE%1").arg(engine); }
// The date and time that begin a line of the event list List4.
inline QString eventStamp(const Clock& clock) { return clock.dateText() + QStringLiteral(" / ") + clock.timeText(); }
} // namespace operation_texts

} // namespace tarvek
