#include "app/common/question_window.h"
#include "test_registry.h"

#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

using namespace tarvek;

namespace {

QPushButton* button(FenQuestion& fen, const char* name) { return fen.findChild<QPushButton*>(name); }
QString shownText(FenQuestion& fen) { return fen.findChild<QLabel*>("TextQuestion")->text(); }

} // namespace

class QuestionWindowTest : public QObject {
    Q_OBJECT
private slots:
    // Yes runs the handler of the exact text only; No, Escape, closing and Enter (No is the
    // default button) run its No handler.
    void anAnswerRunsOnlyTheHandlerOfTheExactText_data()
    {
        QTest::addColumn<QString>("asked");
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("expected"); // the handler that must run; empty: none
        QTest::newRow("delete") << questions::kDeleteHistory << "yes" << "delete";
        QTest::newRow("start all") << "START All LE" << "yes" << "start";
        QTest::newRow("trailing blank is another text") << "START All LE " << "yes" << "";
        QTest::newRow("case matters") << "Stop All LE" << "yes" << "";
        for (const char* how : {"No", "Escape", "close", "Enter"})
            QTest::newRow(how) << questions::kDeleteHistory << how << "delete-no";
    }
    void anAnswerRunsOnlyTheHandlerOfTheExactText()
    {
        QFETCH(QString, asked);
        QFETCH(QString, how);
        QFETCH(QString, expected);
        QuestionRouter router;
        FenQuestion fen(router);
        QStringList ran;
        router.setHandler("Are you sure you want to delete the entire file", nullptr, [&] { ran << "delete"; },
                          [&] { ran << "delete-no"; });
        router.setHandler("START All LE", nullptr, [&] { ran << "start"; });
        router.setHandler("STOP All LE", nullptr, [&] { ran << "stop"; });
        QSignalSpy answered(&router, &QuestionRouter::answered);

        fen.ask(" Warning!", asked);
        // open() returned at once: the window is up and nothing has been answered yet.
        QVERIFY(fen.isVisible());
        QVERIFY(ran.isEmpty());
        QCOMPARE(shownText(fen), asked);
        QCOMPARE(fen.question(), asked);

        if (how == "yes")
            QTest::mouseClick(button(fen, "OuiQuestion"), Qt::LeftButton);
        else if (how == "No")
            QTest::mouseClick(button(fen, "NonQuestion"), Qt::LeftButton);
        else if (how == "close")
            fen.close();
        else
            QTest::keyClick(&fen, how == "Enter" ? Qt::Key_Return : Qt::Key_Escape);
        QVERIFY(!fen.isVisible());
        QCOMPARE(ran, expected.isEmpty() ? QStringList{} : QStringList{expected});
        QVERIFY(fen.question().isEmpty());
        QCOMPARE(answered.count(), 1);
        QCOMPARE(answered.at(0).at(1).toBool(), how == "yes");
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

        // A removed handler runs no more.
        router.removeHandler(questions::kStopAll);
        QVERIFY(!router.hasHandler(questions::kStopAll));
        QVERIFY(!router.answer(questions::kStopAll, true));
        QCOMPARE(ran.size(), 3);
    }
};

TARVEK_TEST(QuestionWindowTest)
#include "tst_question_window.moc"
