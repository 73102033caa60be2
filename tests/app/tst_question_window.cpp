#include "app/question_window.h"
#include "test_registry.h"

#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace tarvek;

namespace {

QPushButton* button(FenQuestion& fen, const char* name) { return fen.findChild<QPushButton*>(name); }
QString shownText(FenQuestion& fen) { return fen.findChild<QLabel*>("TextQuestion")->text(); }

} // namespace

class QuestionWindowTest : public QObject {
    Q_OBJECT
private slots:
    void yesRunsOnlyTheHandlerOfTheExactText_data()
    {
        QTest::addColumn<QString>("asked");
        QTest::addColumn<QString>("expected"); // the handler that must run; empty: none
        QTest::newRow("delete") << questions::kDeleteHistory << "delete";
        QTest::newRow("print") << questions::kPrintHistory << "print";
        QTest::newRow("start all") << "START All LE" << "start";
        QTest::newRow("stop all") << "STOP All LE" << "stop";
        QTest::newRow("trailing blank is another text") << "START All LE " << "";
        QTest::newRow("case matters") << "Stop All LE" << "";
    }
    void yesRunsOnlyTheHandlerOfTheExactText()
    {
        QFETCH(QString, asked);
        QFETCH(QString, expected);
        QuestionRouter router;
        FenQuestion fen(router);
        QStringList ran;
        router.setHandler("Are you sure you want to delete the entire file", nullptr, [&] { ran << "delete"; },
                          [&] { ran << "delete-no"; });
        router.setHandler("Are you sure you want to print the list", nullptr, [&] { ran << "print"; });
        router.setHandler("START All LE", nullptr, [&] { ran << "start"; });
        router.setHandler("STOP All LE", nullptr, [&] { ran << "stop"; });

        fen.ask(" Warning!", asked);
        // open() returned at once: the window is up and nothing has been answered yet.
        QVERIFY(fen.isVisible());
        QVERIFY(ran.isEmpty());
        QCOMPARE(fen.windowTitle(), QString(" Warning!"));
        QCOMPARE(shownText(fen), asked);
        QCOMPARE(fen.question(), asked);

        QTest::mouseClick(button(fen, "OuiQuestion"), Qt::LeftButton);
        QVERIFY(!fen.isVisible());
        QCOMPARE(ran, expected.isEmpty() ? QStringList{} : QStringList{expected});
        QVERIFY(fen.question().isEmpty());
    }

    void noAndClosingAnswerNo_data()
    {
        QTest::addColumn<int>("how"); // 0 the No button, 1 Escape, 2 closing the window, 3 Enter
        QTest::newRow("No button") << 0;
        QTest::newRow("Escape") << 1;
        QTest::newRow("window closed") << 2;
        QTest::newRow("Enter") << 3; // No is the default button
    }
    void noAndClosingAnswerNo()
    {
        QFETCH(int, how);
        QuestionRouter router;
        FenQuestion fen(router);
        int yes = 0;
        int no = 0;
        router.setHandler(questions::kStopAll, nullptr, [&] { ++yes; }, [&] { ++no; });
        QSignalSpy answered(&router, &QuestionRouter::answered);

        fen.ask(" Warning!", questions::kStopAll);
        QVERIFY(fen.isVisible());
        if (how == 0)
            QTest::mouseClick(button(fen, "NonQuestion"), Qt::LeftButton);
        else if (how == 1)
            QTest::keyClick(&fen, Qt::Key_Escape);
        else if (how == 2)
            fen.close();
        else
            QTest::keyClick(&fen, Qt::Key_Return);
        QVERIFY(!fen.isVisible());
        QCOMPARE(yes, 0);
        QCOMPARE(no, 1);
        QCOMPARE(answered.count(), 1);
        QCOMPARE(answered.at(0).at(1).toBool(), false);
    }

    // A second question waits for the first answer; one asked by a handler comes next.
    void aSecondQuestionWaitsForTheFirstAnswer()
    {
        QuestionRouter router;
        FenQuestion fen(router);
        QStringList ran;
        router.setHandler(questions::kStartAll, nullptr, [&] { ran << "start"; });
        router.setHandler(questions::kStopAll, nullptr, [&] { ran << "stop"; }, [&] { ran << "stop-no"; });

        router.ask(" Warning!", questions::kStartAll);
        router.ask(" Warning!", questions::kStopAll);
        QCOMPARE(fen.question(), questions::kStartAll);
        QCOMPARE(fen.waiting(), 1);

        QTest::mouseClick(button(fen, "OuiQuestion"), Qt::LeftButton);
        QCOMPARE(ran, QStringList{"start"});
        QVERIFY(fen.isVisible());
        QCOMPARE(fen.question(), questions::kStopAll);
        QCOMPARE(shownText(fen), questions::kStopAll);

        QTest::mouseClick(button(fen, "NonQuestion"), Qt::LeftButton);
        QCOMPARE(ran, (QStringList{"start", "stop-no"}));
        QVERIFY(!fen.isVisible());
        QCOMPARE(fen.waiting(), 0);

        // A handler may ask the next question itself.
        router.setHandler(questions::kStartAll, nullptr, [&] { router.ask(" Warning!", questions::kStopAll); });
        fen.ask(" Warning!", questions::kStartAll);
        QTest::mouseClick(button(fen, "OuiQuestion"), Qt::LeftButton);
        QVERIFY(fen.isVisible());
        QCOMPARE(fen.question(), questions::kStopAll);
        QTest::mouseClick(button(fen, "OuiQuestion"), Qt::LeftButton);
        QCOMPARE(ran, (QStringList{"start", "stop-no", "stop"}));
    }

    void aRegistrationLapsesWithItsContext()
    {
        QuestionRouter router;
        int yes = 0;
        auto owner = std::make_unique<QObject>();
        router.setHandler(questions::kPrintHistory, owner.get(), [&] { ++yes; });
        QVERIFY(router.hasHandler(questions::kPrintHistory));
        QVERIFY(router.answer(questions::kPrintHistory, true));
        QCOMPARE(yes, 1);

        owner.reset();
        QVERIFY(!router.hasHandler(questions::kPrintHistory));
        QVERIFY(!router.answer(questions::kPrintHistory, true));
        QCOMPARE(yes, 1);

        // A later registration replaces an earlier one; removal ends it.
        int other = 0;
        router.setHandler(questions::kPrintHistory, nullptr, [&] { ++yes; });
        router.setHandler(questions::kPrintHistory, nullptr, [&] { ++other; });
        QVERIFY(router.answer(questions::kPrintHistory, true));
        QCOMPARE(yes, 1);
        QCOMPARE(other, 1);
        QVERIFY(!router.answer(questions::kPrintHistory, false)); // no No handler
        router.removeHandler(questions::kPrintHistory);
        QVERIFY(!router.answer(questions::kPrintHistory, true));
        QCOMPARE(other, 1);
    }
};

TARVEK_TEST(QuestionWindowTest)
#include "tst_question_window.moc"
