#pragma once
// The history window `Histo`: the activity journal in its list, reloading, clearing, deleting and
// printing it.
//
// Controls: the window "Histo", the list "List1" (a QListView on a QStringListModel), the one-shot
// timer "Timer1" that fills the list after the window opens, the menu entries "mnuChargeFichier"
// (load the file again), "mnuEffListe" (clear the list only), "mnuEffLeFichier" (delete the file),
// "mnuPrinter" (print the list) and "mnuQuitterHisto" (close). Message boxes it opens are
// "MessageHisto"; the print dialog is "PrintHisto".
#include <QMainWindow>
#include <QPointer>
#include <QPrintDialog>
#include <QStringList>

#include <memory>

class QAction;
class QListView;
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

    QStringList rows() const;
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

    History& history_;
    QuestionRouter& router_;
    QListView* list1_;
    QStringListModel* model_;
    QTimer* timer1_;
    std::unique_ptr<QPrinter> printer_;
    QPointer<QPrintDialog> printDialog_;
    bool ownAction_ = false; // the journal's messages are shown only for this window's own actions
};

} // namespace tarvek
