// The main window's side of the data logger: the two Recording entries, the form Datalogger and
// the OKTransfert notice.
#include "app/recording/datalogger_form.h"
#include "app/main_window/log_window.h"

#include <QAction>
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
