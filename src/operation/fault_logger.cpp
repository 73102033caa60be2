#include "operation/fault_logger.h"

namespace tarvek {

using namespace operation_texts;

FaultLogger::FaultLogger(OperationContext& context, const std::array<QString, kFaultTableSize>& texts,
                         MessageTable& messages, QObject* parent)
    : QObject(parent), ctx_(context), texts_(texts), messages_(messages)
{
    setObjectName(QStringLiteral("FaultLogger"));
}

QString FaultLogger::text(int code) const
{
    if (code < 0 || code >= kFaultTableSize)
        return {};
    return texts_[static_cast<std::size_t>(code)];
}

void FaultLogger::write(int code, const QString& historyText, bool stopLine)
{
    emit eventLine(eventStamp(ctx_.clock) + (stopLine ? QStringLiteral(" ------> ") : QStringLiteral(" Error ")) +
                   historyText);
    ctx_.history.append(QString::number(code), historyText);
}

void FaultLogger::log(int engine, int code)
{
    if (ctx_.record(engine).Phase == 0)
        return;
    QSet<int>& flags = faults_.at(index(engine));
    if (flags.contains(code))
        return;
    flags.insert(code);
    write(code, text(code) + QStringLiteral("  ") + designation(engine), code == kFaultStopActivated);
}

void FaultLogger::logMessage(int engine, int code)
{
    if (code < 0 || code >= kFaultCodesFilled || ctx_.record(engine).Phase == 0)
        return;
    QSet<int>& flags = messageFlags_.at(index(engine));
    if (flags.contains(code))
        return;
    flags.insert(code);
    write(code, messages_.at(index(engine))[static_cast<std::size_t>(code)] + designation(engine) + QStringLiteral("   "),
          false);
}

void FaultLogger::clearFlags(int engine)
{
    faults_.at(index(engine)).clear();
    messageFlags_.at(index(engine)).clear();
}

void FaultLogger::clearForStartAll()
{
    for (int n = 1; n <= kEngines; ++n) {
        clearFlags(n);
        for (int slot = 0; slot < 14; ++slot)
            messages_.at(index(n))[static_cast<std::size_t>(slot)].clear();
    }
}

} // namespace tarvek
