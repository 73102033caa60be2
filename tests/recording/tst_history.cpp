#include "recording/history.h"
#include "settings/settings_files.h"
#include "test_registry.h"
#include "test_support.h"

#include <QDir>
#include <QFile>
#include <QPdfWriter>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tarvek;
using tarvek::test::readBytes;
using tarvek::test::writeBytes;

namespace {

QStringList listRows(int journalLines)
{
    QStringList rows = History::listHeading();
    for (int i = 1; i <= journalLines; ++i)
        rows << QStringLiteral("  entry %1").arg(i);
    return rows;
}

// A journal in a fresh station folder, on a clock that moves only when told.
struct Journal {
    QTemporaryDir dir;
    SettingsFiles files{dir.path()};
    ManualClock clock{QDateTime(QDate(2026, 11, 23), QTime(14, 5, 9))};
    History history{files, clock};
};

} // namespace

class HistoryTest : public QObject {
    Q_OBJECT
private slots:
    void appendedLineIsOnDiskWhenAppendReturns()
    {
        Journal j;
        History& history = j.history;
        ManualClock& clock = j.clock;
        QSignalSpy appended(&history, &History::appended);
        const QString path = j.dir.filePath("Histo.txt");
        QCOMPARE(history.path(), path);
        QVERIFY(!QFile::exists(path));

        QVERIFY(history.append("7", "No communication with machine System! LE3"));
        const QString first = "  " + clock.timeText() + "    " + clock.dateText() +
                              "    007    No communication with machine System! LE3";
        QVERIFY(clock.timeText().contains("14") && clock.timeText().contains("05"));
        QVERIFY(clock.dateText().contains("23"));
        QCOMPARE(readBytes(path), first.toUtf8() + "\r\n");

        clock.advanceSeconds(60);
        QVERIFY(history.append("0", "  OFF LE 2"));
        const QString second = "  " + clock.timeText() + "    " + clock.dateText() + "    000      OFF LE 2";
        QCOMPARE(readBytes(path), first.toUtf8() + "\r\n" + second.toUtf8() + "\r\n");

        QCOMPARE(appended.count(), 2);
        QCOMPARE(appended.at(0).at(0).toString(), first);
        QCOMPARE(appended.at(1).at(0).toString(), second);

        // Line breaks inside a text would split one event into several lines.
        QVERIFY(history.append("3", "first\r\nsecond\nthird"));
        QCOMPARE(readBytes(path).count('\n'), 3);
        QVERIFY(readBytes(path).endsWith("003    first second third\r\n"));
        // A code keeps its last three digits; none at all is written as 000.
        QVERIFY(history.append("1234", "x"));
        QVERIFY(readBytes(path).endsWith("    234    x\r\n"));
        QVERIFY(history.append("", ""));
        QVERIFY(readBytes(path).endsWith(clock.dateText().toUtf8() + "    000    \r\n"));
    }

    void anUnwritableJournalIsReportedNotFatal()
    {
        Journal j;
        History& history = j.history;
        QVERIFY(QDir(j.dir.path()).mkdir("Histo.txt")); // a folder where the file should be
        QSignalSpy errors(&history, &History::fileError);
        QSignalSpy appended(&history, &History::appended);

        QVERIFY(!history.append("1", "held"));
        QCOMPARE(history.heldLines(), 1);
        QCOMPARE(appended.count(), 0);

        const HistoryLoad load = history.load();
        QVERIFY(load.readFailed);
        QVERIFY(!load.rewritten);
        QCOMPARE(load.entries, History::listHeading());
        QCOMPARE(errors.count(), 1);
        QCOMPARE(errors.at(0).at(0).toString(), history.path());
        QVERIFY(QFileInfo(history.path()).isDir()); // nothing was replaced

        QVERIFY(!history.clear("user mode"));
        QCOMPARE(errors.count(), 2);
    }

    void linesAreKeptAsRead_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QByteArray>("rewritten");
        QTest::newRow("CR LF unchanged") << QByteArray("  a    b\r\n\r\n  short\r\n")
                                         << QStringList{"  a    b", "", "  short"}
                                         << QByteArray("  a    b\r\n\r\n  short\r\n");
        QTest::newRow("LF and no final line end")
            << QByteArray("one\ntwo\r\nthree") << QStringList{"one", "two", "three"}
            << QByteArray("one\r\ntwo\r\nthree\r\n");
        QTest::newRow("UTF-8 and Latin-1 lines mixed")
            << QByteArray("\r\nA\xc3\xa9\r\nB\xe9\nC\r\r\n")
            << QStringList{"", QString::fromUtf8("A\xc3\xa9"), QString::fromLatin1("B\xe9"), "C\r"}
            << QByteArray("\r\nA\xc3\xa9\r\nB\xe9\r\nC\r\r\n");
        QTest::newRow("last line cut inside a character")
            << QByteArray("ok\r\nX\xc3") << QStringList{"ok", QString::fromLatin1("X\xc3")}
            << QByteArray("ok\r\nX\xc3\r\n");
        QTest::newRow("missing file is created empty") << QByteArray() << QStringList{} << QByteArray();
    }
    void linesAreKeptAsRead()
    {
        QFETCH(QByteArray, file);
        QFETCH(QStringList, rows);
        QFETCH(QByteArray, rewritten);
        Journal j;
        if (!file.isEmpty())
            writeBytes(j.history.path(), file);

        const HistoryLoad load = j.history.load();
        QCOMPARE(load.entries.mid(3), rows);
        QVERIFY(QFile::exists(j.history.path()));
        QCOMPARE(readBytes(j.history.path()), rewritten);
        // A second load finds nothing to change.
        QVERIFY(!j.history.load().rewritten);
    }

    // Lines the disk refuses are held in order and written before any newer one once it takes
    // them again (by the retry timer or the next line), told once each way; a delete that cannot
    // archive empties nothing.
    void aFullDiskLosesNoLine()
    {
        tarvek::test::FullDisk disk;
        if (!disk.ok())
            QSKIP(qPrintable(disk.why()));
        SettingsFiles files{disk.path()};
        ManualClock clock;
        History history{files, clock};
        QSignalSpy appended(&history, &History::appended);
        QSignalSpy problem(&history, &History::problem);
        QSignalSpy recovered(&history, &History::recovered);
        // A first line that fills its block whole: the next needs a block the disk no longer has.
        const QString one(4094, QLatin1Char('1'));
        writeBytes(history.path(), one.toLatin1() + "\r\n");
        disk.fill();
        QVERIFY(!history.append("0", "two"));
        QVERIFY(!history.append("0", "three"));
        QCOMPARE(problem.count(), 1);
        QVERIFY(problem.first().first().toString().contains("No space left on device"));
        QCOMPARE(appended.count(), 0);
        QCOMPARE(history.load().entries.mid(3),
                 (QStringList{one, history.lineFor("0", "two"), history.lineFor("0", "three")}));
        QSignalSpy warning(&history, &History::warning);
        QVERIFY(!history.clear("user mode"));
        QVERIFY(warning.first().at(1).toString().contains("cannot be archived"));
        QVERIFY(history.archives().isEmpty());
        disk.release();
        QVERIFY(recovered.wait(10000));
        QVERIFY(history.append("0", "four"));
        QStringList expected;
        for (const char* t : {"two", "three", "four"})
            expected << history.lineFor("0", t);
        QCOMPARE(History::readLines(history.path()), QStringList{one} + expected);
        QStringList emitted;
        for (const auto& args : appended)
            emitted << args.first().toString();
        QCOMPARE(emitted, expected);
        QCOMPARE(problem.count(), 1);
        QCOMPARE(recovered.count(), 1);
    }

    // 76 journal lines a page under the page heading; a list shown without its own heading (a
    // cleared list) still starts its first page with a blank line.
    void pagination_data()
    {
        QTest::addColumn<int>("lines");
        QTest::addColumn<bool>("listHeading");
        QTest::addColumn<QList<int>>("rowsPerPage");
        QTest::newRow("empty journal") << 0 << true << QList<int>{0};
        QTest::newRow("a full page") << 76 << true << QList<int>{76};
        QTest::newRow("one more") << 77 << true << QList<int>{76, 1};
        QTest::newRow("cleared list") << 0 << false << QList<int>{0};
        QTest::newRow("no list heading, one more") << 77 << false << QList<int>{76, 1};
    }
    void pagination()
    {
        QFETCH(int, lines);
        QFETCH(bool, listHeading);
        QFETCH(QList<int>, rowsPerPage);
        const QStringList rows = listRows(lines).mid(listHeading ? 0 : 3);
        const QList<QStringList> pages = History::paginate(rows);
        QCOMPARE(pages.size(), rowsPerPage.size());
        const QStringList heading{QString(), QString(), History::title(), QString()};
        int next = 1;
        for (qsizetype p = 0; p < pages.size(); ++p) {
            const QStringList& page = pages.at(p);
            const qsizetype top = p == 0 && !listHeading ? 1 : History::kHeadingLines;
            QCOMPARE(page.size(), top + rowsPerPage.at(p));
            QCOMPARE(page.mid(0, top), heading.mid(0, top));
            for (qsizetype i = top; i < page.size(); ++i)
                QCOMPARE(page.at(i), QStringLiteral("  entry %1").arg(next++));
        }
        QCOMPARE(next, lines + 1);
    }

    void printingFailsCleanlyWithoutADevice()
    {
        QTemporaryDir dir;
        QPdfWriter writer(dir.filePath("no/such/folder/out.pdf"));
        QTest::ignoreMessage(QtWarningMsg, "QPainter::begin(): Returned false");
        QVERIFY(!History::print(History::paginate(listRows(3)), writer));
    }
};

TARVEK_TEST(HistoryTest)
#include "tst_history.moc"
