#include "app/alarms/alarm_banner.h"

#include "app/common/colours.h"
#include "operation/alarm_summary.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QTimer>

namespace tarvek {

namespace {
// One line however long the text: cut with "..." where the banner is narrower than the text; the
// whole text is then in its tooltip.
class ElidedLabel : public QLabel {
public:
    QSize minimumSizeHint() const override { return {60, QLabel::minimumSizeHint().height()}; }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter p(this);
        const QRect r = contentsRect();
        p.setPen(palette().color(QPalette::WindowText));
        p.drawText(r, Qt::AlignLeft | Qt::AlignVCenter, fontMetrics().elidedText(text(), Qt::ElideRight, r.width()));
    }
};
} // namespace

AlarmBanner::AlarmBanner(AlarmSummary& summary, QWidget* parent)
    : QFrame(parent), summary_(summary), text_(new ElidedLabel), acknowledge_(new QPushButton(QStringLiteral("Ack (F9)"))),
      pending_(new QTimer(this)),
      beep_(new QTimer(this))
{
    setObjectName(QStringLiteral("AlarmBanner"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(6, 1, 2, 1);
    text_->setObjectName(QStringLiteral("AlarmBannerText"));
    text_->setTextFormat(Qt::PlainText);
    QFont f = text_->font();
    f.setBold(true);
    text_->setFont(f);
    // The counts and the engine come first and stay when the text is cut.
    text_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    acknowledge_->setObjectName(QStringLiteral("AcknowledgeNewestAlarm"));
    acknowledge_->setToolTip(QStringLiteral("Acknowledges the alarm shown here; the others still wait"));
    auto* all = new QPushButton(QStringLiteral("Summary (F10)"));
    all->setObjectName(QStringLiteral("AlarmSummaryButton"));
    all->setToolTip(QStringLiteral("Every alarm, to read and acknowledge one by one"));
    connect(all, &QPushButton::clicked, this, &AlarmBanner::summaryRequested);
    setCursor(Qt::PointingHandCursor);
    setToolTip(QStringLiteral("Click for the alarm summary (F10): every alarm, to read and acknowledge one by one"));
    layout->addWidget(text_, 1);
    layout->addWidget(acknowledge_);
    layout->addWidget(all);

    pending_->setObjectName(QStringLiteral("TimerAlarmBanner"));
    pending_->setSingleShot(true);
    pending_->setInterval(kRefreshMs);
    beep_->setObjectName(QStringLiteral("TimerAlarmSound"));
    beep_->setInterval(kSoundMs);
    connect(pending_, &QTimer::timeout, this, &AlarmBanner::refresh);
    connect(beep_, &QTimer::timeout, this, [] { QApplication::beep(); });
    connect(&summary_, &AlarmSummary::changed, this, [this] {
        if (!pending_->isActive())
            pending_->start();
    });
    connect(acknowledge_, &QPushButton::clicked, this, &AlarmBanner::acknowledgeShown);
    refresh();
}

void AlarmBanner::mousePressEvent(QMouseEvent* event)
{
    // A click anywhere on the banner but its button: the text, the counts, the frame.
    if (event->button() == Qt::LeftButton)
        emit summaryRequested();
}

void AlarmBanner::setSound(bool on)
{
    sound_ = on;
    refresh();
}

void AlarmBanner::acknowledgeShown()
{
    if (shownId_ == 0)
        return;
    const QString what = shownText_;
    if (summary_.acknowledge(shownId_))
        emit acknowledged(what);
    refresh();
}

void AlarmBanner::refresh()
{
    pending_->stop();
    const int active = summary_.activeCount();
    const int waiting = summary_.unacknowledgedCount();
    const AlarmEntry* newest = summary_.newestUnacknowledged();
    shownId_ = newest ? newest->id : 0;
    // The counts first, so a narrow window still shows them; then the alarm waiting for a look.
    const QString counts = QStringLiteral("Alarms: %1 active, %2 unacknowledged   |   ").arg(active).arg(waiting);
    if (newest) {
        const QString alarm = QStringLiteral("LE%1  %2  %3%4")
                                  .arg(newest->engine)
                                  .arg(newest->text, newest->raised.toString(QStringLiteral("HH:mm:ss")),
                                       newest->holds() ? QString() : QStringLiteral("  (cleared)"));
        text_->setText(counts + QStringLiteral("UNACK  ") + alarm);
        shownText_ = alarm;
    } else {
        text_->setText(counts + (active == 0 ? QStringLiteral("all quiet") : QStringLiteral("all acknowledged")));
        shownText_.clear();
    }
    text_->setToolTip(text_->text() + QStringLiteral("\nF9 acknowledges the alarm shown, F10 lists them all"));
    // Grey when quiet (an acknowledged alarm that holds is told by the count, not by colour).
    colours::attention(this, newest ? colours::alert() : QColor());
    if (!newest)
        colours::paint(this, colours::idle());
    acknowledge_->setEnabled(newest != nullptr);
    if (newest && sound_) {
        if (!beep_->isActive()) {
            QApplication::beep();
            beep_->start();
        }
    } else {
        beep_->stop();
    }
}

} // namespace tarvek
