// The main window's side of the serial link and of the activity history.
#include "app/alarms/boite_dialogue.h"
#include "app/common/colours.h"
#include "app/settings/configuration_rs232.h"
#include "app/recording/histo_window.h"
#include "app/main_window/log_window.h"
#include "app/common/question_window.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QStatusBar>
#include <QVBoxLayout>

namespace tarvek {

void LogWindow::wireLink()
{
    SerialLink& link = station_.link();
    auto* button = findChild<QPushButton*>(QStringLiteral("ComOperStartRS232"));
    auto* label = findChild<QLabel*>(QStringLiteral("ActiveDesactiveRS232"));
    connect(button, &QPushButton::clicked, &station_, &Station::requestLinkToggle);
    connect(&link, &SerialLink::connectionChanged, this, [button, label](bool on) {
        button->setText(on ? QStringLiteral("STOP (RS232)") : QStringLiteral("START (RS232)"));
        label->setText(on ? QStringLiteral("Disconnect") : QStringLiteral("Connect"));
        const QColor colour = on ? colours::connected() : QColor();
        colours::paint(button, colour);
        colours::paint(label, colour);
    });
    connect(&link, &SerialLink::captionRestored, label, [label] { label->setText(QStringLiteral("Connect/Disconnect")); });
    for (auto signal : {&SerialLink::portOpened, &SerialLink::portClosed})
        connect(&link, signal, this, &LogWindow::updatePortLabels);
    connect(&link, &SerialLink::portOpenFailed, this, &LogWindow::updatePortLabels);
    connect(&link, &SerialLink::configurationSaved, this, &LogWindow::refreshDisplay);
    static const QString silence = QStringLiteral("No reply from any light engine");
    connect(&link, &SerialLink::repliesStopped, this, [this] {
        if (station_.link().connected())
            statusBar()->showMessage(silence);
    });
    // The silence message stands until some engine answers again.
    connect(&link, &SerialLink::replyHandled, this, [this] {
        if (statusBar()->currentMessage() == silence)
            statusBar()->clearMessage();
    });
    setWired(QStringLiteral("ComOperStartRS232"));

    connect(findChild<QPushButton*>(QStringLiteral("ConfigurePorts")), &QPushButton::clicked, this,
            &LogWindow::openPortConfiguration);
    setWired(QStringLiteral("ConfigurePorts"));

    connect(&station_, &Station::alarmCaptionChanged, this, [this](const QString& menu, const QString& caption) {
        if (QAction* a = action(menu))
            a->setText(caption);
    });
    connect(&station_, &Station::linkLossWarning, this,
            [this](int, const QString& caption, const QStringList& lines) { showLoss(caption, lines); });
}

ConfigurationRS232* LogWindow::openPortConfiguration()
{
    if (!portsForm_) {
        portsForm_ = new ConfigurationRS232(station_.link(), station_.comMap(), station_.files(), this);
        portsForm_->setAttribute(Qt::WA_DeleteOnClose);
        connect(portsForm_, &ConfigurationRS232::warning, this,
                [this](const QString& caption, const QString& text, bool critical) {
                    auto* box = new QMessageBox(critical ? QMessageBox::Critical : QMessageBox::Warning, caption,
                                                text, QMessageBox::Ok, this);
                    box->setAttribute(Qt::WA_DeleteOnClose);
                    box->open();
                });
        connect(&station_.portDiscovery(), &PortDiscovery::configurationBoxCleared, portsForm_,
                &ConfigurationRS232::load);
    } else {
        portsForm_->load();
    }
    portsForm_->show();
    portsForm_->raise();
    return portsForm_;
}

void LogWindow::showLoss(const QString& caption, const QStringList& lines)
{
    // One box: a later loss or return updates the box that is on screen.
    auto* box = qobject_cast<BoiteDialogue*>(lossBox_.data());
    if (!box) {
        box = new BoiteDialogue(this);
        box->setAttribute(Qt::WA_DeleteOnClose);
        connect(box, &QDialog::finished, &station_.lostLinks(), &LostLinkWarning::dismissed);
        lossBox_ = box;
    }
    box->setLines(caption, lines);
    box->show();
    box->raise();
}

void LogWindow::wireHistory()
{
    router_ = new QuestionRouter(this);
    fenQuestion_ = new FenQuestion(*router_, this);
    if (QAction* entry = action(QStringLiteral("mnuhisto"))) {
        connect(entry, &QAction::triggered, this, &LogWindow::openHistory);
        setWired(QStringLiteral("mnuhisto"));
    }
}

HistoWindow* LogWindow::openHistory()
{
    if (!histo_) {
        histo_ = new HistoWindow(station_.history(), *router_, this);
        histo_->setAttribute(Qt::WA_DeleteOnClose);
        histo_->setWindowFlag(Qt::Window);
        histo_->setClearedBy([this] {
            return station_.tables().mode == OperatingMode::Service ? QStringLiteral("service mode")
                                                                     : QStringLiteral("user mode");
        });
    }
    histo_->show();
    histo_->raise();
    return histo_;
}

} // namespace tarvek
