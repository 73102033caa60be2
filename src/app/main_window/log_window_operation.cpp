// The main window's side of operating the engines: the start/stop buttons and their right-button
// marks, the QTH button, START/STOP All, the stop alarm menu and the fault code window.
#include "app/common/colours.h"
#include "app/main_window/log_window.h"
#include "app/alarms/messages_error.h"

#include <QAction>
#include <QMouseEvent>
#include <QPushButton>

namespace tarvek {

namespace {
// Reports a right-button release over the widget it watches.
class RightRelease : public QObject {
public:
    RightRelease(QObject* parent, std::function<void()> onRelease) : QObject(parent), onRelease_(std::move(onRelease)) {}

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::MouseButtonRelease &&
            static_cast<QMouseEvent*>(event)->button() == Qt::RightButton)
            onRelease_();
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> onRelease_;
};
} // namespace

void LogWindow::wireOperation()
{
    EngineOperation& engines = station_.engineOperation();
    auto* rightRelease = new RightRelease(this, [&engines] { engines.rightRelease(); });
    for (int n = 1; n <= kEngines; ++n) {
        QPushButton* button = engines_.at(static_cast<std::size_t>(n - 1)).startStop;
        connect(button, &QPushButton::clicked, &engines, [&engines, n] { engines.press(n); });
        button->installEventFilter(rightRelease);
        setWired(button->objectName());
    }
    // An engine found running offers its stop on its button, in the colour of its status cell.
    const auto showButton = [this, &engines](int n, bool started) {
        QPushButton* button = engines_.at(static_cast<std::size_t>(n - 1)).startStop;
        const bool found = !started && engines.foundRunning(n);
        const QString caption = EngineOperation::caption(n, started || found);
        if (button->text() == caption && button->property("found").toBool() == found)
            return;
        button->setText(caption);
        button->setProperty("found", found);
        button->setToolTip(found ? QStringLiteral("Running without a start from this station: press to stop it") : QString());
        colours::paint(button, started ? colours::started() : found ? colours::foundRunning() : QColor());
    };
    connect(&engines, &EngineOperation::buttonState, this, showButton);
    connect(&engines, &EngineOperation::foundRunningChanged, this, [this, showButton, &engines](int n) {
        showButton(n, engines.startedByUser(n));
        refreshEngine(n - 1);
    });

    QthLamps& qth = station_.qthLamps();
    auto* qthButton = findChild<QPushButton*>(QStringLiteral("CommHalOperator"));
    connect(qthButton, &QPushButton::clicked, &qth, &QthLamps::press);
    const auto showQth = [qthButton, &qth] {
        qthButton->setText(qth.caption());
        colours::paint(qthButton, qth.orange() ? colours::qthOn() : QColor());
    };
    connect(&qth, &QthLamps::changed, this, showQth);
    showQth();
    setWired(qthButton->objectName());

    GroupOperation& group = station_.groupOperation();
    connect(findChild<QPushButton*>(QStringLiteral("StartAllLE")), &QPushButton::clicked, &group,
            &GroupOperation::requestStartAll);
    connect(findChild<QPushButton*>(QStringLiteral("StopAllLE")), &QPushButton::clicked, &group,
            &GroupOperation::requestStopAll);
    setWired(QStringLiteral("StartAllLE"));
    setWired(QStringLiteral("StopAllLE"));

    connect(action(QStringLiteral("mnuStopAlarm")), &QAction::triggered, &station_.stopAlarm(), &StopAlarm::toggle);
    setWired(QStringLiteral("mnuStopAlarm"));
    connect(action(QStringLiteral("mnuCodeError")), &QAction::triggered, this, &LogWindow::openMessagesError);
    setWired(QStringLiteral("mnuCodeError"));
}

MessagesError* LogWindow::openMessagesError()
{
    if (!messagesError_) {
        messagesError_ = new MessagesError(station_.faultTexts(), this);
        messagesError_->setAttribute(Qt::WA_DeleteOnClose);
    }
    messagesError_->show();
    messagesError_->raise();
    return messagesError_;
}

} // namespace tarvek
