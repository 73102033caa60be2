#include "app/replay/replay_bar.h"

#include "app/common/colours.h"
#include "recorder/replay_player.h"

#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QRegularExpression>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace tarvek {

using recording::ReplayEvent;
using recording::ReplayPlayer;

// The recording's span as a strip: what was played is darker, a gap is hatched, each event is a
// mark (faults and losses tall), and the position a black line.
class ReplayTimeline : public QWidget {
public:
    explicit ReplayTimeline(ReplayPlayer& player, QWidget* parent) : QWidget(parent), player_(player)
    {
        setObjectName(QStringLiteral("ReplayTimeline"));
        setFixedSize(kWidth, 22);
    }

    static constexpr int kWidth = 260;

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter p(this);
        const QRectF r = QRectF(rect()).adjusted(1, 3, -1, -3);
        const double from = double(player_.beginUs()), to = std::max(from + 1, double(player_.endUs()));
        const auto x = [&](std::int64_t us) { return r.left() + (double(us) - from) / (to - from) * r.width(); };
        p.fillRect(r, QColor(232, 232, 232));
        const double at = std::clamp(x(player_.positionUs()), r.left(), r.right());
        p.fillRect(QRectF(r.left(), r.top(), at - r.left(), r.height()), QColor(176, 196, 222));
        QStringList tips;
        for (const auto& gap : player_.gaps()) {
            const QRectF g(QPointF(x(gap.fromUs), r.top()), QPointF(std::max(x(gap.toUs), x(gap.fromUs) + 2), r.bottom()));
            p.fillRect(g, QBrush(Qt::darkGray, Qt::BDiagPattern));
            tips << QStringLiteral("Gap %1 to %2, skipped").arg(recording::timeText(gap.fromUs), recording::timeText(gap.toUs));
        }
        for (const ReplayEvent& e : player_.events()) {
            const bool grave = e.kind == ReplayEvent::Kind::Fault || e.kind == ReplayEvent::Kind::Loss;
            p.setPen(QPen(grave ? colours::alert() : QColor(0, 90, 160), 1));
            const double ex = x(e.timeUs);
            p.drawLine(QPointF(ex, grave ? r.top() : r.center().y()), QPointF(ex, r.bottom()));
        }
        p.setPen(QPen(Qt::black, 2));
        p.drawLine(QPointF(at, rect().top()), QPointF(at, rect().bottom()));
        p.setPen(Qt::gray);
        p.drawRect(r);
        setToolTip(tips.isEmpty() ? QStringLiteral("No gap in what is read so far") : tips.join(QLatin1Char('\n')));
    }

private:
    ReplayPlayer& player_;
};

ReplayBar::ReplayBar(ReplayPlayer& player, QWidget* parent) : QToolBar(QStringLiteral("Replay"), parent), player_(player)
{
    setObjectName(QStringLiteral("ReplayBar"));
    setMovable(false);
    time_ = new QLabel(this);
    time_->setObjectName(QStringLiteral("ReplayTime"));
    QFont bold = time_->font();
    bold.setBold(true);
    time_->setFont(bold);
    addWidget(time_);
    addSeparator();
    pause_ = new QToolButton(this);
    pause_->setObjectName(QStringLiteral("ReplayPause"));
    connect(pause_, &QToolButton::clicked, this, [this] {
        if (player_.paused())
            player_.resume();
        else
            player_.pause();
    });
    addWidget(pause_);
    speed_ = new QComboBox(this);
    speed_->setObjectName(QStringLiteral("ReplaySpeed"));
    speed_->setToolTip(QStringLiteral("Replay speed"));
    for (int s : ReplayPlayer::kSpeeds)
        speed_->addItem(QStringLiteral("%1x").arg(s), s);
    connect(speed_, &QComboBox::activated, this, [this](int i) { player_.setSpeed(speed_->itemData(i).toInt()); });
    addWidget(speed_);
    next_ = new QToolButton(this);
    next_->setObjectName(QStringLiteral("ReplayNextEvent"));
    next_->setText(QStringLiteral("Next event"));
    next_->setToolTip(QStringLiteral("Jump to shortly before the next fault, loss, start, stop or parameter exchange"));
    connect(next_, &QToolButton::clicked, &player_, &ReplayPlayer::nextEvent);
    addWidget(next_);
    timeline_ = new ReplayTimeline(player_, this);
    addWidget(timeline_);
    frames_ = new QLabel(this);
    frames_->setObjectName(QStringLiteral("ReplayFrames"));
    addWidget(frames_);
    differences_ = new QToolButton(this);
    differences_->setObjectName(QStringLiteral("ReplayDifferences"));
    differences_->setText(QStringLiteral("Differences..."));
    connect(differences_, &QToolButton::clicked, this, &ReplayBar::showDifferences);
    addWidget(differences_);
    addSeparator();
    notice_ = new QLabel(this);
    notice_->setObjectName(QStringLiteral("ReplayNotice"));
    addWidget(notice_);

    connect(&player_, &ReplayPlayer::notice, this, [this](const QString& text) {
        notices_ << text;
        // The bar names a file without its folder; the tip and standard error say it whole.
        static const QRegularExpression folders(QStringLiteral("(?:/[^/ :]+)+/"));
        notice_->setText(notice_->fontMetrics().elidedText(QString(text).remove(folders), Qt::ElideRight, kNoticeWidth));
        notice_->setToolTip(notices_.join(QLatin1Char('\n')));
    });
    connect(&player_, &ReplayPlayer::stateChanged, this, &ReplayBar::refresh);
    auto* timer = new QTimer(this);
    timer->setObjectName(QStringLiteral("ReplayBarRefresh"));
    connect(timer, &QTimer::timeout, this, &ReplayBar::refresh);
    timer->start(kRefreshMs);
    refresh();
}

void ReplayBar::refresh()
{
    const QString when = recording::timeText(player_.positionUs()).left(19);
    time_->setText(player_.ended() ? QStringLiteral("Replay ended  %1").arg(when) : QStringLiteral("Replay  %1").arg(when));
    pause_->setText(player_.paused() ? QStringLiteral("Play") : QStringLiteral("Pause"));
    pause_->setEnabled(!player_.ended());
    next_->setEnabled(!player_.ended());
    speed_->setCurrentIndex(speed_->findData(player_.speed()));
    const auto& f = player_.frames();
    frames_->setText(player_.speed() == 1 || f.compared() > 0
                         ? QStringLiteral("Frames %1: %2 differ").arg(f.compared()).arg(f.differing())
                         : QStringLiteral("Frames are compared at 1x"));
    frames_->setStyleSheet(f.differing() > 0 ? QStringLiteral("color: %1; font-weight: bold").arg(colours::alert().name()) : QString());
    differences_->setEnabled(f.differing() > 0);
    timeline_->update();
}

void ReplayBar::showDifferences()
{
    auto* dialog = new QDialog(this);
    dialog->setObjectName(QStringLiteral("ReplayDifferencesList"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(QStringLiteral("Frames that differ from the recording"));
    auto* layout = new QVBoxLayout(dialog);
    const auto& f = player_.frames();
    const QStringList lines = f.differences();
    auto* head = new QLabel(QStringLiteral("%1 frames compared, %2 differ%3; frames that differ alike one after "
                                           "the other are one line")
                                .arg(f.compared())
                                .arg(f.differing())
                                .arg(f.listFull() ? QStringLiteral(" (the first %1 lines)").arg(lines.size()) : QString()),
                            dialog);
    head->setWordWrap(true);
    layout->addWidget(head);
    auto* list = new QListWidget(dialog);
    list->setObjectName(QStringLiteral("ReplayDifferenceLines"));
    list->addItems(lines);
    layout->addWidget(list);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, dialog);
    connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::close);
    layout->addWidget(buttons);
    dialog->resize(760, 360);
    dialog->show();
}

} // namespace tarvek
