#pragma once
// The alarm banner AlarmBanner above the engine columns, always in view: how many alarms hold and
// how many wait for acknowledgement, and the newest waiting one in words (engine, text, time).
// Grey while all is quiet; the alert colour, a thick frame and "UNACK" while one waits.
//   AlarmBannerText          the counts and the newest unacknowledged alarm
//   AcknowledgeNewestAlarm   acknowledges exactly the alarm the banner shows (F9)
//   AlarmSummaryButton       the alarm summary (F10), as a click anywhere on the banner
// A text wider than the banner is cut with "..."; its tooltip always holds it whole.
//   TimerAlarmSound          beeps while an alarm waits, when "\Screen.ini" allows it
// A burst of alarms is drawn once per kRefreshMs: the text stays readable and the station keeps up;
// the acknowledge button only ever acknowledges the alarm whose text is on the screen.
#include <QFrame>

class QLabel;
class QPushButton;
class QTimer;

namespace tarvek {

class AlarmSummary;

class AlarmBanner : public QFrame {
    Q_OBJECT
public:
    static constexpr int kRefreshMs = 250;
    static constexpr int kSoundMs = 2'000;

    explicit AlarmBanner(AlarmSummary& summary, QWidget* parent = nullptr);

    // The id of the alarm on show, 0 when none waits.
    int shownId() const { return shownId_; }
    void setSound(bool on);
    bool sound() const { return sound_; }

public slots:
    // Acknowledges the alarm on show, and only that one.
    void acknowledgeShown();
    void refresh();

signals:
    void summaryRequested();
    void acknowledged(const QString& what);

protected:
    void mousePressEvent(QMouseEvent* event) override;

private:
    AlarmSummary& summary_;
    QLabel* text_;
    QPushButton* acknowledge_;
    QTimer* pending_;
    QTimer* beep_;
    int shownId_ = 0;
    QString shownText_; // the alarm on show, in words
    bool sound_ = true;
};

} // namespace tarvek
