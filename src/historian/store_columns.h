#pragma once
// The column lists of the historian's tables, shared by the parts of HistorianStore.
#include "station/engine_rows.h"

#include <QString>
#include <QStringList>

namespace tarvek::store_columns {

// The twelve value columns by their keys: "motor,fan1,...".
inline QString valueColumns()
{
    QStringList c;
    for (const EngineRow& r : engineRows())
        c << QString::fromLatin1(r.key);
    return c.join(QLatin1Char(','));
}

// Each value column's pair in the minute table, written by `pattern` ("%1_min, %1_max"...).
inline QString minuteColumns(const QString& pattern)
{
    QStringList c;
    for (const EngineRow& r : engineRows())
        c << pattern.arg(QString::fromLatin1(r.key));
    return c.join(QLatin1Char(','));
}

// The fault codes that are states, not faults: at rest (0), stop activated (18), running (20).
inline bool realFault(int code) { return code != 0 && code != 18 && code != 20; }

} // namespace tarvek::store_columns
