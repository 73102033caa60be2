#pragma once
// The replay bar, above the main window's columns while a recording plays:
//   ReplayTime         the recorded date and time now showing
//   ReplayPause        "Pause" / "Play"
//   ReplaySpeed        1x to 60x
//   ReplayNextEvent    "Next event": shortly before the next fault, loss, start, stop or parameter
//                      exchange
//   ReplayTimeline     the span of the recording: gaps hatched, events marked, the position
//   ReplayFrames       at 1x, the frames compared with the recorded ones and how many differ
//                      ("Frames 1153: 2 differ")
//   ReplayDifferences  the list of those differences
//   ReplayNotice       the last word of the replay (a damaged file, a gap skipped, the end)
#include <QToolBar>

class QComboBox;
class QLabel;
class QToolButton;

namespace tarvek {

namespace recording {
class ReplayPlayer;
}

class ReplayTimeline;

class ReplayBar : public QToolBar {
    Q_OBJECT
public:
    static constexpr int kRefreshMs = 200;
    static constexpr int kNoticeWidth = 300; // pixels; the whole text is in the tip
    explicit ReplayBar(recording::ReplayPlayer& player, QWidget* parent = nullptr);
    void refresh();

private:
    void showDifferences();

    recording::ReplayPlayer& player_;
    QLabel* time_;
    QToolButton* pause_;
    QComboBox* speed_;
    QToolButton* next_;
    ReplayTimeline* timeline_;
    QLabel* frames_;
    QToolButton* differences_;
    QLabel* notice_;
    QStringList notices_;
};

} // namespace tarvek
