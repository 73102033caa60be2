#pragma once
// The protocol trace: every reply and frame of the traced engines as it passes, as a table model.
//
// Capturing attaches the trace to the link as its tap; detached, the link pays one null test per
// message. While capturing, each message is copied once into a pending batch; TraceRefresh hands
// the batch to the view every kBatchMs, so six engines cost the view ten inserts a second, not
// hundreds. The table keeps at most kCapacity rows: the oldest go first.
#include "protocol/trace_tap.h"

#include <QAbstractTableModel>
#include <QByteArray>
#include <QElapsedTimer>

#include <array>
#include <deque>
#include <functional>
#include <vector>

class QTimer;

namespace tarvek {

class Clock;

class ProtocolTrace : public QAbstractTableModel, public TraceTap {
    Q_OBJECT
public:
    using Attach = std::function<void(TraceTap*)>;
    static constexpr int kCapacity = 20'000;
    static constexpr int kBatchMs = 100;
    enum Column { Time, Engine, Direction, Turnaround, Length, Text, Hex, ColumnCount };

    struct Entry {
        qint64 atMs = 0;           // wall-clock time of day, milliseconds since the epoch
        qint64 turnaroundUs = -1;  // frame: since the reply it answers; reply: since the last frame
        QByteArray bytes;
        int slot = 0;
        TraceDirection direction = TraceDirection::In;
    };

    ProtocolTrace(const Clock& clock, Attach attach, QObject* parent = nullptr);
    ~ProtocolTrace() override;

    void setCapturing(bool on);
    bool capturing() const { return capturing_; }
    void setPaused(bool on);
    bool paused() const { return paused_; }
    quint64 skippedWhilePaused() const { return skipped_; }
    void setEngineTraced(int engine, bool on) { traced_.at(static_cast<std::size_t>(engine - 1)) = on; }
    bool engineTraced(int engine) const { return traced_.at(static_cast<std::size_t>(engine - 1)); }
    void clear();
    // Hands the pending batch to the view now (TraceRefresh does it on its own).
    void flush();
    // Every row as text, one line each; false (and why) when the file cannot be written.
    bool save(const QString& path, QString* error = nullptr);
    QTimer* refreshTimer() const { return refresh_; }

    const Entry& entry(int row) const { return entries_.at(static_cast<std::size_t>(row)); }
    QString cell(int row, int column) const;
    QString lineOf(int row) const;
    // One row whole, for the detail pane: engine, direction, time, turnaround and length, then the
    // text 40 characters a line and the hex 16 bytes a line, each line with its offset.
    QString detail(int row) const;
    static QString printable(const QByteArray& bytes);
    static QString hex(const QByteArray& bytes);

    void traced(int slot, TraceDirection direction, std::string_view bytes) override;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

signals:
    // After each batch: rows held, and whether the oldest had to go.
    void batchShown(int rows);

private:
    const Clock& clock_;
    Attach attach_;
    std::deque<Entry> entries_;
    std::vector<Entry> pending_;
    std::array<bool, 6> traced_{true, true, true, true, true, true};
    std::array<qint64, 6> lastReplyNs_{};
    std::array<qint64, 6> lastFrameNs_{};
    QElapsedTimer elapsed_;
    qint64 baseMs_ = 0;
    quint64 skipped_ = 0;
    bool capturing_ = false;
    bool paused_ = false;
    QTimer* refresh_;
};

} // namespace tarvek
