// The main window's side of the data logger: the two Recording entries, the form Datalogger and
// the OKTransfert notice.
#include "app/recording/datalogger_form.h"
#include "app/main_window/log_window.h"

#include <QAction>
#include <QDir>
#include <QLabel>
#include <QMessageBox>

namespace tarvek {

void LogWindow::wireLogger()
{
    DataLogger& logger = station_.dataLogger();
    connect(action(QStringLiteral("mnuCreateDataLogger")), &QAction::triggered, &logger, &DataLogger::create);
    connect(action(QStringLiteral("mnuOffDataLogger")), &QAction::triggered, &logger, &DataLogger::off);
    connect(&logger, &DataLogger::formRequested, this, [this] { openDatalogger(); });
    connect(&logger, &DataLogger::notice, this, [this](const QString& caption, const QString& text) {
        if (!okTransfert_) {
            okTransfert_ = new QMessageBox(QMessageBox::Information, caption, text, QMessageBox::Ok, this);
            okTransfert_->setObjectName(QStringLiteral("OKTransfert"));
        }
        okTransfert_->setWindowTitle(caption);
        okTransfert_->setText(text);
        okTransfert_->open();
    });
    setWired(QStringLiteral("mnuCreateDataLogger"));
    setWired(QStringLiteral("mnuOffDataLogger"));

    // While it writes, the logger shows in the top bar and its menu entry is ticked.
    QAction* create = action(QStringLiteral("mnuCreateDataLogger"));
    create->setCheckable(true);
    auto* mark = findChild<QLabel*>(QStringLiteral("LoggerMark"));
    const auto show = [this, create, mark] {
        const DataLogger& l = station_.dataLogger();
        create->setChecked(l.running());
        mark->setText(l.runningSummary());
        mark->setToolTip(l.running() ? QStringLiteral("Writing %1\nRecording > OFF Datalogger stops it")
                                           .arg(QDir::toNativeSeparators(l.fileFor(1)).replace(QStringLiteral("_LE1"),
                                                                                              QStringLiteral("_LE*")))
                                     : QString());
        mark->setVisible(l.running());
    };
    connect(&logger, &DataLogger::changed, this, show);
    // A click on the ticked entry opens the form; the tick follows the logger, not the click.
    connect(create, &QAction::triggered, this, show, Qt::QueuedConnection);
    show();
}

DataloggerForm* LogWindow::openDatalogger()
{
    if (!datalogger_)
        datalogger_ = new DataloggerForm(station_.dataLogger(), this);
    datalogger_->refresh();
    datalogger_->show();
    datalogger_->raise();
    datalogger_->activateWindow();
    return datalogger_;
}

} // namespace tarvek
