#include "app/recording/histo_window.h"

#include "app/common/question_window.h"
#include "recording/history.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QRegularExpression>
#include <QSortFilterProxyModel>
#include <QSplitter>
#include <QVBoxLayout>
#include <QMenuBar>
#include <QMessageBox>
#include <QPrintDialog>
#include <QPrinter>
#include <QScopedValueRollback>
#include <QShowEvent>
#include <QStringListModel>
#include <QTimer>

namespace tarvek {

namespace {
// Lines of one engine ("LE3", "LE 3") holding a text: the heading rows always pass.
class HistoryFilter : public QSortFilterProxyModel {
public:
    using QSortFilterProxyModel::QSortFilterProxyModel;
    void set(int engine, const QString& text)
    {
        engine_ = engine > 0 ? QRegularExpression(QStringLiteral("\\bLE ?%1\\b").arg(engine)) : QRegularExpression();
        text_ = text;
        invalidateRowsFilter();
    }

protected:
    bool filterAcceptsRow(int row, const QModelIndex& parent) const override
    {
        if (row < History::listHeading().size())
            return true;
        const QString line = sourceModel()->index(row, 0, parent).data().toString();
        return (engine_.pattern().isEmpty() || engine_.match(line).hasMatch()) &&
               (text_.isEmpty() || line.contains(text_, Qt::CaseInsensitive));
    }

private:
    QRegularExpression engine_;
    QString text_;
};
} // namespace

HistoWindow::HistoWindow(History& history, QuestionRouter& router, QWidget* parent)
    : QMainWindow(parent), history_(history), router_(router), list1_(new QListView(this)),
      model_(new QStringListModel(this)), filter_(new HistoryFilter(this)), engine_(new QComboBox),
      text_(new QLineEdit), older_(new QLabel), archives_(new QListWidget), timer1_(new QTimer(this))
{
    setObjectName(QStringLiteral("Histo"));
    setWindowTitle(History::title());
    resize(980, 560); // a journal line and the archive names side by side

    list1_->setObjectName(QStringLiteral("List1"));
    // Uniform rows let the view lay out tens of thousands of lines without measuring each one.
    list1_->setUniformItemSizes(true);
    list1_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list1_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    filter_->setSourceModel(model_);
    list1_->setModel(filter_);

    engine_->setObjectName(QStringLiteral("CboEngine"));
    engine_->addItem(tr("All engines"));
    for (int n = 1; n <= 6; ++n)
        engine_->addItem(QStringLiteral("LE%1").arg(n));
    text_->setObjectName(QStringLiteral("TxtFilter"));
    text_->setPlaceholderText(tr("Lines holding..."));
    text_->setClearButtonEnabled(true);
    const auto refilter = [this] { setFilter(engine_->currentIndex(), text_->text()); };
    connect(engine_, &QComboBox::currentIndexChanged, this, refilter);
    connect(text_, &QLineEdit::textChanged, this, refilter);
    older_->setObjectName(QStringLiteral("LblOlder"));
    older_->setWordWrap(true);
    older_->hide();
    archives_->setObjectName(QStringLiteral("ListArchives"));
    archives_->setToolTip(tr("Double-click an archive to show its lines"));
    connect(archives_, &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem* item) { openArchive(item->data(Qt::UserRole).toString()); });

    auto* central = new QWidget;
    auto* column = new QVBoxLayout(central);
    auto* filters = new QHBoxLayout;
    filters->addWidget(new QLabel(tr("Engine:")));
    filters->addWidget(engine_);
    filters->addWidget(new QLabel(tr("Text:")));
    filters->addWidget(text_, 1);
    column->addLayout(filters);
    column->addWidget(older_);
    auto* split = new QSplitter;
    split->addWidget(list1_);
    auto* side = new QWidget;
    auto* sideColumn = new QVBoxLayout(side);
    sideColumn->setContentsMargins(0, 0, 0, 0);
    sideColumn->addWidget(new QLabel(tr("Archives (double-click to open):")));
    sideColumn->addWidget(archives_);
    split->addWidget(side);
    split->setStretchFactor(0, 4);
    split->setStretchFactor(1, 1);
    column->addWidget(split, 1);
    setCentralWidget(central);

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

QStringList HistoWindow::shownRows() const
{
    QStringList shown;
    for (int r = 0; r < filter_->rowCount(); ++r)
        shown << filter_->index(r, 0).data().toString();
    return shown;
}

void HistoWindow::setFilter(int engine, const QString& text)
{
    static_cast<HistoryFilter*>(filter_)->set(engine, text);
}

void HistoWindow::listArchives()
{
    archives_->clear();
    for (const QString& path : history_.archives()) {
        auto* item = new QListWidgetItem(QFileInfo(path).fileName(), archives_);
        item->setData(Qt::UserRole, path);
        item->setToolTip(QDir::toNativeSeparators(path));
    }
}

void HistoWindow::openArchive(const QString& path)
{
    model_->setStringList(History::listHeading() + History::readLines(path));
    setWindowTitle(History::title() + QStringLiteral(" - ") + QFileInfo(path).fileName());
    older_->setText(tr("Archive %1, read only. \"Load file\" shows the history again.")
                        .arg(QDir::toNativeSeparators(path)));
    older_->show();
}

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
    const HistoryLoad load = history_.load();
    model_->setStringList(load.entries);
    setWindowTitle(History::title());
    // The newest lines are always shown; the window says where the older ones are.
    older_->setText(tr("The %1 oldest lines are not shown: they stay in %2 (open it with a text editor).")
                        .arg(load.olderLeftOut)
                        .arg(QDir::toNativeSeparators(history_.path())));
    older_->setVisible(load.olderLeftOut > 0);
    list1_->scrollToBottom();
    listArchives();
}

void HistoWindow::clearList() { model_->setStringList({}); }

void HistoWindow::askDelete() { router_.ask(QStringLiteral(" Warning"), questions::kDeleteHistory); }

void HistoWindow::askPrint() { router_.ask(QStringLiteral(" Warning"), questions::kPrintHistory); }

void HistoWindow::deleteFile()
{
    const QScopedValueRollback<bool> own(ownAction_, true);
    // The list keeps its heading only, so it never shows lines the file no longer has.
    if (history_.clear(clearedBy_ ? clearedBy_() : tr("user mode"))) {
        model_->setStringList(History::listHeading() + History::readLines(history_.path()));
        older_->hide();
        listArchives();
    }
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
