#pragma once
// A replay put together: the station folder's copy it runs on, the player that is its engines and
// its clock, the bar on the main window and the title that says it is a replay.
#include "recorder/replay_player.h"
#include "recorder/replay_view.h"

#include <QDateTime>
#include <QString>

#include <optional>

class QMainWindow;

namespace tarvek {

class Station;

class ReplaySession {
public:
    // recording: a file or a folder; stationFolder and loginFile: what the station would run on.
    ReplaySession(const QString& recording, const QString& stationFolder, const QString& loginFile,
                  std::optional<QDateTime> from, int speed);
    // Why the replay cannot run, or empty.
    QString problem() const;
    QString folder() const { return view_.folder(); }
    Clock& clock() { return player_.clock(); }
    recording::ReplayPlayer& player() { return player_; }
    // The links run on the recording; it plays once the station has started up.
    void attach(Station& station);
    // The replay bar on the main window, and a title that says "REPLAY".
    void showIn(QMainWindow& window, Station& station);
    // What the replay found, for standard output: frames compared and each difference.
    QString summary() const;

private:
    QString recording_;
    recording::ReplayView view_;
    recording::ReplayPlayer player_;
};

} // namespace tarvek
