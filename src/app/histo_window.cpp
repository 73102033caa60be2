#include "app/histo_window.h"

#include "app/question_window.h"
#include "recording/history.h"

#include <QAction>
#include <QFontDatabase>
#include <QListView>
#include <QMenuBar>
#include <QMessageBox>
#include <QPrintDialog>
#include <QPrinter>
#include <QScopedValueRollback>
#include <QShowEvent>
#include <QStringListModel>
#include <QTimer>

namespace tarvek {

HistoWindow::HistoWindow(History& history, QuestionRouter& router, QWidget* parent)
    : QMainWindow(parent), history_(history), router_(router), list1_(new QListView(this)),
      model_(new QStringListModel(this)), timer1_(new QTimer(this))
{
    setObjectName(QStringLiteral("Histo"));
    setWindowTitle(History::title());
    resize(720, 480);

    list1_->setObjectName(QStringLiteral("List1"));
    // Uniform rows let the view lay out tens of thousands of lines without measuring each one.
    list1_->setUniformItemSizes(true);
    list1_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list1_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    list1_->setModel(model_);
    setCentralWidget(list1_);

    timer1_->setObjectName(QStringLiteral("Timer1"));
    timer1_->setSingleShot(true);
    timer1_->setInterval(kFillDelayMs);
    connect(timer1_, &QTimer::timeout, this, &HistoWindow::loadList);

    connect(addEntry(QStringLiteral("mnuChargeFichier"), tr("Load file")), &QAction::triggered, this,
            &HistoWindow::loadList);
    connect(addEntry(QStringLiteral("mnuEffListe"), tr("Clear list")), &QAction::triggered, this,
            &HistoWindow::clearList);
    connect(addEntry(QStringLiteral("mnuEffLeFichier"), tr("Delete file")), &QAction::triggered, this,
            &HistoWindow::askDelete);
    connect(addEntry(QStringLiteral("mnuPrinter"), tr("Print")), &QAction::triggered, this,
            &HistoWindow::askPrint);
    connect(addEntry(QStringLiteral("mnuQuitterHisto"), tr("Quit")), &QAction::triggered, this,
            &QWidget::close);

    router_.setHandler(questions::kDeleteHistory, this, [this] { deleteFile(); });
    router_.setHandler(questions::kPrintHistory, this, [this] { openPrintDialog(); });

    connect(&history_, &History::information, this, [this](const QString& caption, const QString& text) {
        if (ownAction_)
            showMessage(false, caption, text);
    });
    connect(&history_, &History::warning, this, [this](const QString& caption, const QString& text) {
        if (ownAction_)
            showMessage(true, caption, text);
    });
    connect(&history_, &History::fileError, this, [this](const QString& path, const QString& reason) {
        if (ownAction_)
            showMessage(true, QStringLiteral(" Warning!"),
                        tr("The history file cannot be used: %1 (%2)").arg(path, reason));
    });
}

// The delete and print routes lapse with the window (they are bound to it), and only if no later
// window took them over.
HistoWindow::~HistoWindow() = default;

QAction* HistoWindow::addEntry(const QString& name, const QString& caption)
{
    auto* action = new QAction(caption, this);
    action->setObjectName(name);
    menuBar()->addAction(action);
    return action;
}

QStringList HistoWindow::rows() const { return model_->stringList(); }

void HistoWindow::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    if (!event->spontaneous())
        timer1_->start();
}

void HistoWindow::loadList()
{
    timer1_->stop();
    const QScopedValueRollback<bool> own(ownAction_, true);
    model_->setStringList(history_.load().entries);
}

void HistoWindow::clearList() { model_->setStringList({}); }

void HistoWindow::askDelete() { router_.ask(QStringLiteral(" Warning"), questions::kDeleteHistory); }

void HistoWindow::askPrint() { router_.ask(QStringLiteral(" Warning"), questions::kPrintHistory); }

void HistoWindow::deleteFile()
{
    const QScopedValueRollback<bool> own(ownAction_, true);
    // The list keeps its heading only, so it never shows lines the file no longer has.
    if (history_.clear())
        model_->setStringList(History::listHeading());
}

QPrinter& HistoWindow::printer()
{
    if (!printer_)
        printer_ = std::make_unique<QPrinter>(QPrinter::HighResolution);
    return *printer_;
}

void HistoWindow::openPrintDialog()
{
    if (printDialog_) {
        printDialog_->raise();
        return;
    }
    auto* dialog = new QPrintDialog(&printer(), this);
    dialog->setObjectName(QStringLiteral("PrintHisto"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, qOverload<QPrinter*>(&QPrintDialog::accepted), this,
            [this](QPrinter* printer) { printTo(*printer); });
    printDialog_ = dialog;
    dialog->open();
}

bool HistoWindow::printTo(QPagedPaintDevice& device)
{
    if (History::print(History::paginate(rows()), device))
        return true;
    showMessage(true, QStringLiteral(" Warning!"), tr("The list could not be printed."));
    return false;
}

void HistoWindow::showMessage(bool warning, const QString& caption, const QString& text)
{
    auto* box = new QMessageBox(warning ? QMessageBox::Warning : QMessageBox::Information, caption, text,
                                QMessageBox::Ok, this);
    box->setObjectName(QStringLiteral("MessageHisto"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

} // namespace tarvek
