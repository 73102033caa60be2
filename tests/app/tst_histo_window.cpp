#include "app/recording/histo_window.h"
#include "app/common/question_window.h"
#include "recording/history.h"
#include "settings/settings_files.h"
#include "test_registry.h"
#include "test_support.h"

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QFile>
#include <QListView>
#include <QMessageBox>
#include <QPrintDialog>
#include <QPrinter>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace tarvek;
using tarvek::test::readBytes;
using tarvek::test::writeBytes;
using tarvek::test::pdfPageCount;

namespace {

QByteArray journal(int lines)
{
    QByteArray bytes;
    for (int i = 1; i <= lines; ++i)
        bytes += "  12:00:00    23/11/2026    000    event " + QByteArray::number(i) + "\r\n";
    return bytes;
}

// Everything a history window needs, on a temporary folder.
struct Fixture {
    QTemporaryDir dir;
    SettingsFiles files{dir.path()};
    ManualClock clock;
    History history{files, clock};
    QuestionRouter router;
    FenQuestion fen{router};
    std::unique_ptr<HistoWindow> window;

    explicit Fixture(const QByteArray& content)
    {
        writeBytes(history.path(), content);
        window = std::make_unique<HistoWindow>(history, router);
    }
    QListView* list() const { return window->findChild<QListView*>("List1"); }
    int rowCount() const { return list()->model()->rowCount(); }
    QStringList rows() const { return window->rows(); }
    void trigger(const char* name) const { window->findChild<QAction*>(name)->trigger(); }
    void answer(bool yes)
    {
        QVERIFY(fen.isVisible());
        QTest::mouseClick(fen.findChild<QPushButton*>(yes ? "OuiQuestion" : "NonQuestion"), Qt::LeftButton);
    }
    // The message boxes the window has open, as "caption|text".
    QStringList messages() const
    {
        QStringList shown;
        for (auto* box : window->findChildren<QMessageBox*>("MessageHisto"))
            if (box->isVisible())
                shown << box->windowTitle() + '|' + box->text();
        return shown;
    }
    void openAndWaitForList(int rows)
    {
        window->show();
        QTRY_COMPARE_WITH_TIMEOUT(rowCount(), rows, 10000);
    }
};

} // namespace

class HistoWindowTest : public QObject {
    Q_OBJECT
private slots:
    void timer1FillsTheListOnceTheWindowOpens_data()
    {
        QTest::addColumn<int>("lines");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QStringList>("messages");
        QTest::newRow("five lines") << 5 << 8 << QStringList{};
        QTest::newRow("empty file") << 0 << 3 << QStringList{" Warning|The file is empty ... "};
        QTest::newRow("exactly the limit") << 32000 << 32003 << QStringList{};
        QTest::newRow("over the limit") << 32005 << 32003
                                        << QStringList{" Warning!|The boundaries of the list are reached!"};
    }
    void timer1FillsTheListOnceTheWindowOpens()
    {
        QFETCH(int, lines);
        QFETCH(int, rows);
        QFETCH(QStringList, messages);
        Fixture f(journal(lines));
        QCOMPARE(f.rowCount(), 0); // nothing is read before the window opens
        QSignalSpy loaded(&f.history, &History::loaded);
        f.openAndWaitForList(rows);
        QCOMPARE(loaded.count(), 1);
        QVERIFY(!f.window->findChild<QTimer*>("Timer1")->isActive());
        const QStringList shown = f.rows();
        QCOMPARE(shown.mid(0, 3), History::listHeading());
        QCOMPARE(f.history.lineCount(), rows - 3);
        // The newest lines are shown, and the window says how many older ones it left out; the
        // file keeps every line.
        if (lines > 0) {
            QCOMPARE(shown.at(3), QString("  12:00:00    23/11/2026    000    event %1").arg(lines - rows + 4));
            QVERIFY(shown.last().endsWith(QString("event %1").arg(lines)));
        }
        QCOMPARE(readBytes(f.history.path()), journal(lines));
        auto* older = f.window->findChild<QLabel*>("LblOlder");
        QCOMPARE(older->isVisible(), lines > History::kMaxLines);
        if (lines > History::kMaxLines)
            QVERIFY2(older->text().contains("The 5 oldest lines are not shown"), qPrintable(older->text()));
        // The boxes are open and the event loop goes on: none of them blocked.
        QTRY_COMPARE_WITH_TIMEOUT(f.messages(), messages, 10000);
    }

    // Reloading shows new entries. Deleting the file asks first: No keeps the file and the list, Yes
    // archives the old lines. Clearing the list keeps the file; Quit closes the window.
    void reloadDeleteClearAndQuit()
    {
        Fixture f(journal(2));
        f.openAndWaitForList(5);
        QVERIFY(f.history.append("7", "Fan V1 LE1"));
        QCOMPARE(f.rowCount(), 5);
        f.trigger("mnuChargeFichier");
        QCOMPARE(f.rowCount(), 6);
        QVERIFY(f.rows().last().endsWith("    007    Fan V1 LE1"));

        // Filtering by engine takes both ways lines name an engine; the text filter ignores case.
        QVERIFY(f.history.append("0", "  OFF LE 1") && f.history.append("0", "  OFF LE 2"));
        f.trigger("mnuChargeFichier");
        f.window->findChild<QComboBox*>("CboEngine")->setCurrentIndex(1);
        QCOMPARE(f.window->shownRows().mid(3), f.rows().mid(5, 2));
        f.window->findChild<QLineEdit*>("TxtFilter")->setText("off le");
        QCOMPARE(f.window->shownRows().mid(3), f.rows().mid(6, 1));
        f.window->findChild<QComboBox*>("CboEngine")->setCurrentIndex(0);
        QCOMPARE(f.window->shownRows().mid(3), f.rows().mid(6, 2));
        f.window->findChild<QLineEdit*>("TxtFilter")->clear();

        const QByteArray old = readBytes(f.history.path());
        f.trigger("mnuEffLeFichier");
        QCOMPARE(readBytes(f.history.path()), old); // nothing happens before the answer
        f.answer(false);
        QCOMPARE(readBytes(f.history.path()), old);
        QCOMPARE(f.rowCount(), 8);
        f.trigger("mnuEffLeFichier");
        f.answer(true);
        QVERIFY(QFile::exists(f.history.path()));
        // The old lines went to a dated archive, listed beside the list and opened from it.
        QCOMPARE(readBytes(f.dir.filePath("Histo-2026-11-23-093000.txt")), old);
        const QString cleared =
            f.history.lineFor("0", "History cleared in user mode; older lines in Histo-2026-11-23-093000.txt");
        QCOMPARE(readBytes(f.history.path()), cleared.toUtf8() + "\r\n");
        QCOMPARE(f.rows(), History::listHeading() + QStringList{cleared});
        auto* archives = f.window->findChild<QListWidget*>("ListArchives");
        QCOMPARE(archives->count(), 1);
        emit archives->itemDoubleClicked(archives->item(0));
        QCOMPARE(f.rowCount(), 8);
        QVERIFY(f.rows().last().endsWith("OFF LE 2"));

        f.trigger("mnuEffListe");
        QCOMPARE(f.rowCount(), 0);
        QCOMPARE(readBytes(f.history.path()), cleared.toUtf8() + "\r\n");
        f.trigger("mnuQuitterHisto");
        QVERIFY(!f.window->isVisible());
    }

    // Print asks first, then prints through its dialog. The questions go with the last window.
    void printAsksThenPrintsThroughTheDialog()
    {
        Fixture f(journal(77));
        f.openAndWaitForList(80);
        const QString pdf = f.dir.filePath("printed.pdf");
        f.window->printer().setOutputFormat(QPrinter::PdfFormat);
        f.window->printer().setOutputFileName(pdf);

        f.trigger("mnuPrinter"); // No prints nothing
        f.answer(false);
        QVERIFY(f.window->printDialog() == nullptr);
        f.trigger("mnuPrinter");
        QVERIFY(f.window->printDialog() == nullptr);
        f.answer(true);
        QPrintDialog* dialog = f.window->printDialog();
        QVERIFY(dialog);
        QCOMPARE(dialog->objectName(), QString("PrintHisto"));
        QVERIFY(dialog->isVisible()); // opened without a nested event loop
        QVERIFY(!QFile::exists(pdf));
        dialog->accept();
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(pdf), 10000);
        QCOMPARE(pdfPageCount(pdf), 2);

        QVERIFY(f.router.hasHandler(questions::kDeleteHistory));
        QVERIFY(f.router.hasHandler(questions::kPrintHistory));
        // A second window takes the questions over; closing the first one does not take them away.
        auto second = std::make_unique<HistoWindow>(f.history, f.router);
        f.window.reset();
        QVERIFY(f.router.hasHandler(questions::kDeleteHistory));
        f.window = std::move(second);
        f.window.reset();
        QVERIFY(!f.router.hasHandler(questions::kDeleteHistory));
        QVERIFY(!f.router.hasHandler(questions::kPrintHistory));
        // A late Yes does nothing.
        QVERIFY(!f.router.answer(questions::kDeleteHistory, true));
        QCOMPARE(readBytes(f.history.path()), journal(77));
    }
};

TARVEK_TEST(HistoWindowTest)
#include "tst_histo_window.moc"
