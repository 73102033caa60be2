#pragma once
// The history window `Histo`: the activity journal in its list, reloading, clearing, deleting and
// printing it.
//
// Controls: the window "Histo", the list "List1" (a QListView on a QStringListModel), the one-shot
// timer "Timer1" that fills the list after the window opens, the menu entries "mnuChargeFichier"
// (load the file again), "mnuEffListe" (clear the list only), "mnuEffLeFichier" (delete the file),
// "mnuPrinter" (print the list) and "mnuQuitterHisto" (close). Message boxes it opens are
// "MessageHisto"; the print dialog is "PrintHisto". Above the list, "CboEngine" and "TxtFilter"
// narrow the lines shown to one engine and to a text, and "LblOlder" says how many older lines
// the list left out; beside it, "ListArchives" names the archives a delete made, opened into the
// list by a double click.
#include <QMainWindow>
#include <QPointer>
#include <QPrintDialog>
#include <QStringList>

#include <functional>
#include <memory>

class QAction;
class QComboBox;
class QLabel;
class QLineEdit;
class QListView;
class QListWidget;
class QSortFilterProxyModel;
class QPagedPaintDevice;
class QPrinter;
class QStringListModel;
class QTimer;

namespace tarvek {

class History;
class QuestionRouter;

class HistoWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr int kFillDelayMs = 10; // Timer1: lets the window paint before the list fills

    // Registers the delete and print questions with the router for as long as the window lives
    // (a later window replaces the registration).
    HistoWindow(History& history, QuestionRouter& router, QWidget* parent = nullptr);
    ~HistoWindow() override;

    // Every row of the journal (or archive) loaded, whatever the filter shows.
    QStringList rows() const;
    // The rows the filter lets through, as shown.
    QStringList shownRows() const;
    // Says in whose name a delete empties the journal ("user mode", "service mode").
    void setClearedBy(std::function<QString()> who) { clearedBy_ = std::move(who); }
    QStringListModel* model() const { return model_; }
    // The printer the print dialog sets up; kept between prints so the operator's choice stays.
    QPrinter& printer();
    // The print dialog while it is open.
    QPrintDialog* printDialog() const { return printDialog_; }

public slots:
    // mnuChargeFichier and Timer1: reads the journal into the list.
    void loadList();
    // mnuEffListe: empties the list; the file stays.
    void clearList();
    // An archive's lines in the list, read only; mnuChargeFichier goes back to the journal.
    void openArchive(const QString& path);
    // Shows only the lines naming engine 1..6 (0: all) and holding `text` (any case).
    void setFilter(int engine, const QString& text);
    // mnuEffLeFichier: asks first; Yes empties the file.
    void askDelete();
    // mnuPrinter: asks first; Yes opens the print dialog.
    void askPrint();
    // Prints the list as shown on any printer or PDF writer; false (and a message) on failure.
    bool printTo(QPagedPaintDevice& device);

protected:
    void showEvent(QShowEvent* event) override;

private:
    QAction* addEntry(const QString& name, const QString& caption);
    void deleteFile();
    void openPrintDialog();
    void showMessage(bool warning, const QString& caption, const QString& text);
    void listArchives();

    History& history_;
    QuestionRouter& router_;
    QListView* list1_;
    QStringListModel* model_;
    QSortFilterProxyModel* filter_;
    QComboBox* engine_;
    QLineEdit* text_;
    QLabel* older_;
    QListWidget* archives_;
    QTimer* timer1_;
    std::function<QString()> clearedBy_;
    std::unique_ptr<QPrinter> printer_;
    QPointer<QPrintDialog> printDialog_;
    bool ownAction_ = false; // the journal's messages are shown only for this window's own actions
};

} // namespace tarvek
