#pragma once
// The historian's rows as CSV, for the command line's export and the trends window's.
#include "historian/historian_store.h"

#include <QDateTime>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

class QIODevice;

namespace tarvek {

// Writes rows as CSV: a header of names with units, then one line a row with the time as
// "yyyy-MM-dd hh:mm:ss" local time; the values are written as the station shows them.
// Returns the number of rows written, or -1 when the history could not be read (store.lastError()).
qint64 writeHistoryCsv(HistorianStore& store, QIODevice& out, const std::vector<int>& engines,
                       const std::vector<int>& rows, qint64 from, qint64 to,
                       const std::function<QString(int row, int raw)>& shown);

// Why an export must not write `target`, or empty when it may: the historian itself, any SQLite
// file, and inside the station folder `folder` the files the station owns (its settings, history,
// historian and log-in files, the copies it keeps aside, and everything under Img, Datalogger and
// Recorder).
QString exportRefusal(const QString& target, const QString& folder);

// Reads "yyyy-MM-dd hh:mm" (local time) as the export's range bounds take it.
std::optional<QDateTime> parseHistoryTime(const QString& text);

} // namespace tarvek
