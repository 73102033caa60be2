#pragma once
// The compact form of an engine's seconds: the rows of one engine over kBlockSeconds, column by
// column, each value as the difference from the one before it, compressed with zstd. An engine
// that runs steadily changes a little from one second to the next, so most differences are 0 or
// ±1 and a block costs one or two bytes a second.
//
// Layout before compression: the row count, then each row's time (from the block's start, then
// from the row before) and link state, then for the rows with values (link "yes") the phase, the
// fault code and the twelve values, each column in turn. Numbers are LEB128 varints, differences
// zigzag-coded. The stored block is one format byte followed by the zstd frame.
#include "historian/historian_store.h"

#include <QByteArray>

#include <optional>
#include <span>
#include <vector>

namespace tarvek::sample_block {

inline constexpr qint64 kBlockSeconds = 600;
inline constexpr char kFormat = 1;

// The start of the block that holds second t.
inline qint64 startOf(qint64 t) { return t - ((t % kBlockSeconds) + kBlockSeconds) % kBlockSeconds; }

// Rows of one engine within [start, start + kBlockSeconds), in time order.
QByteArray encode(std::span<const HistorianSample> rows, qint64 start);
// The rows of a stored block, or nothing when it is damaged or not of this format.
std::optional<std::vector<HistorianSample>> decode(const QByteArray& block, int engine, qint64 start);

} // namespace tarvek::sample_block
