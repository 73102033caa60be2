#pragma once
// The historian: every second, one row per engine that sent a status reply in that second,
// written to "\Historian.sqlite" by a thread of its own so a commit never holds up the frame
// cycle. It only observes the station: the station does not know it is there.
#include "historian/historian_writer.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>

#include <array>
#include <memory>
#include <vector>

class QThread;
class QTimer;

namespace tarvek {

class Station;
class HistorianWriter;

// The link state of engine 1..6 as the station shows it in the engine's column.
LinkState historianLinkState(Station& station, int engine);

class Historian : public QObject {
    Q_OBJECT
public:
    static constexpr int kTickMs = 1000;
    static constexpr int kDefaultRetentionDays = 400;
    // "\Historian.ini": one line, the days rows are kept.
    static QString settingsFileName() { return QStringLiteral("\\Historian.ini"); }

    explicit Historian(Station& station, QObject* parent = nullptr);
    ~Historian() override; // writes what is still queued, then stops the writer

    QString path() const { return path_; }
    int retentionDays() const { return retentionDays_; }
    // Takes one row per engine now and hands the batch to the writer; the timer calls it.
    void sample();
    // Blocks until the writer has handled every batch handed to it so far (tests, shutdown).
    void waitForWriter();
    // Commit times of the writer thread so far.
    using CommitStats = HistorianCommitStats;
    CommitStats commitStats() const;

signals:
    // Something the operator should know, said once: a file moved aside, a full disk, recording again.
    void notice(const QString& text);

private:
    Station& station_;
    QString path_;
    int retentionDays_ = kDefaultRetentionDays;
    QTimer* timer_;
    QThread* thread_;
    HistorianWriter* writer_;
    std::array<qint64, 6> lastTime_{};
    std::array<int, 6> lastState_{};
    std::array<quint64, 6> lastReadings_{}; // the engine's status readings at its last row
};

} // namespace tarvek
