#pragma once
// What a register write changes on an engine, in words: for the question asked before it and for
// the line the history keeps of it. `held` is what the engine held at its last read, when one was
// made; registers 1..31 are compared (register 0 never travels).
#include "protocol/parameter_block.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace tarvek::parameter_changes {

// "18 50->60, 19 20->25", "no change", or "not read before, registers 1=0 2=0 ..." for the history.
QString journal(const std::optional<Registers>& held, const Registers& sent);
// The registers held as non-zero that would be written as 0.
QStringList zeroed(const std::optional<Registers>& held, const Registers& sent);
// The question: which engine, why it is asked, then each change with its caption, old to new,
// or every value when what the engine holds is not known.
QString question(int engine, const QStringList& reasons, const std::optional<Registers>& held, const Registers& sent);

} // namespace tarvek::parameter_changes
