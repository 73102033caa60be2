// The trend graphs: the sweep with its screenshots, clear and scroll, the viewer, and the graphs
// of engines running on the simulator with the time scale chosen in the menu.
#include "app/recording/graphique_screen.h"
#include "app/main_window/log_window.h"
#include "app/main_window/page_tabs.h"
#include "station/station.h"
#include "app/recording/trend_graph.h"
#include "window_rig.h"
#include "test_registry.h"
#include "test_support.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QLabel>
#include <QSignalSpy>
#include <QScreen>
#include <QTest>

#include <cmath>
#include <QThreadPool>
#include <QTimer>

#include <memory>

using namespace tarvek;

namespace {
constexpr int kWaitMs = 60'000;

QStringList bitmaps(const QString& folder)
{
    return QDir(folder).entryList({"*.bmp"}, QDir::Files, QDir::Name);
}

// The graphs alone on a table the test fills: every engine answers, their phases are the test's.
struct GraphRig {
    QTemporaryDir dir;
    EngineTables tables;
    ManualClock clock;
    std::unique_ptr<TrendGraphs> logic;
    std::unique_ptr<TrendGraphPage> page;
    explicit GraphRig(const QString& subfolder = QString())
    {
        for (int i = 0; i < kEngines; ++i) {
            tables.at(i).everReported = true;
            tables.at(i).reported[pos::Mat] = static_cast<std::int16_t>(20 + 10 * i);
            tables.at(i).reported[pos::TachoM] = 100;
        }
        logic = std::make_unique<TrendGraphs>(tables, dir.filePath(subfolder),
                                              TrendGraphs::Hooks{{}, {}, [this] { return clock.now(); }, {}});
        page = std::make_unique<TrendGraphPage>(*logic);
    }
    void sweep(int columns)
    {
        for (int c = 0; c < columns; ++c)
            for (int i = 0; i < kEngines; ++i)
                logic->tick(i);
    }
    void touch(const QString& name) { test::writeBytes(dir.filePath(name), "x"); }
};

} // namespace

class TrendGraphsTest : public QObject {
    Q_OBJECT
private slots:
    void numberingContinuesFromTheFolder_data()
    {
        QTest::addColumn<QStringList>("existing");
        QTest::addColumn<QString>("next");
        QTest::newRow("empty") << QStringList{} << "LE1-0001.bmp";
        QTest::newRow("past 99") << QStringList{"LE2-0099.bmp", "LE1-0012.bmp"} << "LE1-0100.bmp";
        QTest::newRow("past 100") << QStringList{"LE3-0100.bmp", "le5-0064.BMP"} << "LE1-0101.bmp";
        QTest::newRow("past 9999") << QStringList{"LE6-9999.bmp"} << "LE1-10000.bmp";
        QTest::newRow("others ignored") << QStringList{"notes.bmp", "LE1-0005.png", "LE2-0002.bmp"} << "LE1-0003.bmp";
    }
    void numberingContinuesFromTheFolder()
    {
        QFETCH(QStringList, existing);
        QFETCH(QString, next);
        GraphRig rig;
        for (const QString& name : existing)
            rig.touch(name);
        rig.tables.at(0).Phase = 5;
        rig.logic->setAutoSave(true);
        QSignalSpy saves(rig.logic.get(), &TrendGraphs::saveRequested);
        for (int c = 0; c < TrendGraphs::kSaveColumn; ++c)
            rig.logic->tick(0);
        QCOMPARE(saves.size(), 1);
        QCOMPARE(QFileInfo(saves.at(0).at(1).toString()).fileName(), next);
    }

    void aSweepSavesOneFilePerRunningEngine()
    {
        GraphRig rig;
        rig.touch("LE1-0007.bmp");
        for (int engine : {1, 3, 4})
            rig.tables.at(engine - 1).Phase = 5;
        rig.tables.at(1).Phase = 0;
        rig.logic->setAutoSave(true);
        rig.sweep(TrendGraphs::kWidth);
        QTRY_COMPARE_WITH_TIMEOUT(bitmaps(rig.dir.path()).size(), 4, kWaitMs);
        QCOMPARE(bitmaps(rig.dir.path()),
                 (QStringList{"LE1-0007.bmp", "LE1-0008.bmp", "LE3-0009.bmp", "LE4-0010.bmp"}));
        // What was saved is the picture with its title, time axis and legend around it.
        const QImage saved(rig.dir.filePath("LE3-0009.bmp"));
        const QImage expected = rig.page->graph(2)->annotated(rig.logic->timeScale());
        QCOMPARE(saved.size(), expected.size());
        QVERIFY(saved.height() > TrendGraph::kHeight + TrendGraph::kAxisHeight);
        // A cursor reads every trace of its engine, in the main window's units.
        rig.page->graph(2)->setCursorColumn(10);
        QCOMPARE(rig.page->legendEngine(), 3);
        QCOMPARE(rig.page->findChild<QLabel*>("LegendValueMAT")->text(), QString::fromUtf8("40 \u00B0C"));
        QCOMPARE(rig.page->findChild<QLabel*>("LegendValueM")->text(), QString::fromUtf8("100 \u00D730 rpm"));
        QVERIFY(rig.page->findChild<QLabel*>("GraphLegendTitle")->text().startsWith("LE3 at 09:30:00"));
        // Each value keeps its size whatever it reads: the widest reading of any series fits it.
        for (const TrendSeries& t : trendSeries()) {
            const QLabel* value = rig.page->findChild<QLabel*>(QString("LegendValue%1").arg(t.name));
            for (int s = 0; s < kTrendSeriesCount; ++s)
                QVERIFY2(value->fontMetrics().horizontalAdvance(TrendGraphPage::valueText(s, -32768.0, true))
                             <= value->contentsRect().width(),
                         t.name);
        }
        // The next sweep saves again; auto-save off saves nothing.
        rig.sweep(TrendGraphs::kWidth);
        QTRY_COMPARE_WITH_TIMEOUT(bitmaps(rig.dir.path()).size(), 7, kWaitMs);
        rig.logic->setAutoSave(false);
        QSignalSpy saves(rig.logic.get(), &TrendGraphs::saveRequested);
        rig.sweep(TrendGraphs::kWidth);
        QCOMPARE(saves.size(), 0);

        GraphiqueScreen viewer(rig.dir.path());
        viewer.show();
        QCOMPARE(viewer.files().first(), QString("LE4-0013.bmp"));
        QCOMPARE(viewer.files().last(), QString("LE1-0007.bmp"));
        QCOMPARE(viewer.shown(), QString("LE4-0013.bmp"));
    }

    void aFailedSaveIsToldOncePerEpisode()
    {
        GraphRig rig(QStringLiteral("Img")); // not there yet: nothing can be written
        rig.tables.at(0).Phase = 5;
        rig.logic->setAutoSave(true);
        QSignalSpy failed(rig.logic.get(), &TrendGraphs::saveFailed);
        const auto sweepAndSettle = [&rig] {
            QSignalSpy saves(rig.logic.get(), &TrendGraphs::saveRequested);
            rig.sweep(TrendGraphs::kWidth);
            QCOMPARE(saves.size(), 1);
            QThreadPool::globalInstance()->waitForDone();
            QCoreApplication::processEvents(); // the writer's answer comes back as an event
        };
        sweepAndSettle();
        sweepAndSettle();
        QCOMPARE(failed.size(), 1);
        QVERIFY(failed.at(0).at(0).toString().contains("LE1-0001.bmp"));
        QVERIFY(QDir(rig.dir.path()).mkdir("Img"));
        sweepAndSettle();
        QCOMPARE(bitmaps(rig.dir.filePath("Img")), QStringList{"LE1-0003.bmp"});
        QVERIFY(QDir(rig.dir.filePath("Img")).removeRecursively());
        sweepAndSettle();
        QCOMPARE(failed.size(), 2);
    }

    void clearAndScrollDoWhatTheMenuSays()
    {
        GraphRig rig;
        TrendGraph* g = rig.page->graph(0);
        const QColor blank = g->picture().pixelColor(TrendGraphs::kWidth - 1, 1);
        rig.sweep(TrendGraphs::kWidth);
        QCOMPARE(rig.logic->x(0), TrendGraphs::kWidth);
        const int yMat = TrendGraph::kHeight - 1 - static_cast<int>((TrendGraph::kHeight - 2) * 20.0 / 150.0 + 0.5);
        QCOMPARE(g->picture().pixelColor(TrendGraphs::kWidth - 1, yMat), TrendGraphPage::colour(3));

        // Scroll: the picture moves left, the graph stays at the right edge.
        rig.logic->setScroll(true);
        const QImage before = g->picture().copy();
        rig.logic->tick(0);
        QCOMPARE(rig.logic->x(0), TrendGraphs::kWidth);
        const int kept = TrendGraphs::kWidth - 1;
        QCOMPARE(g->picture().copy(0, 0, kept, TrendGraph::kHeight), before.copy(1, 0, kept, TrendGraph::kHeight));
        // On the screen the scrolled picture is moved in the window's buffer, a few columns at a
        // time at 50 ms a pixel, and only its newest columns and changed clock times are painted:
        // what shows is what a whole paint shows.
        rig.logic->setTimeScale(50);
        rig.page->show();
        QVERIFY(QTest::qWaitForWindowExposed(rig.page.get()));
        const auto shownIsWhole = [&rig, g] {
            const QRect area(g->mapTo(rig.page.get(), QPoint(0, 0)), g->size());
            const QImage shown = rig.page->screen()->grabWindow(rig.page->winId()).toImage().copy(area);
            return shown.convertToFormat(QImage::Format_RGB32) == g->grab().toImage().convertToFormat(QImage::Format_RGB32);
        };
        for (int i = 0; i < 2 * TrendGraph::kTickColumns; ++i) { // new times under two clock times
            rig.clock.advanceMs(50);
            rig.tables.at(0).reported[pos::Mat] = static_cast<std::int16_t>(20 + 15 * (i % 7));
            rig.logic->tick(0);
            QCoreApplication::processEvents();
        }
        QTRY_VERIFY_WITH_TIMEOUT(shownIsWhole(), 10000);
        // Part of a clock time uncovered (a window moved away) is painted with its time.
        g->repaint(TrendGraph::kTickColumns - 10, TrendGraph::kHeight, 12, TrendGraph::kAxisHeight);
        QVERIFY(shownIsWhole());
        rig.page->hide();
        rig.logic->setTimeScale(TrendGraphs::kDefaultScaleMs);
        rig.tables.at(0).reported[pos::Mat] = 20;

        // No scroll: the next column begins a new sweep at the left edge on an empty picture.
        rig.logic->setScroll(false);
        rig.logic->tick(0);
        QCOMPARE(rig.logic->x(0), 1);
        QCOMPARE(g->picture().pixelColor(TrendGraphs::kWidth - 2, yMat), blank);

        // A step joins its two columns: every row between the levels is drawn in one or the other.
        rig.sweep(10);
        rig.tables.at(0).reported[pos::Mat] = 140;
        rig.sweep(1);
        const int yHot = TrendGraph::kHeight - 1 - static_cast<int>((TrendGraph::kHeight - 2) * 140.0 / 150.0 + 0.5);
        for (int y = yHot; y <= yMat; ++y)
            QVERIFY2(g->picture().pixelColor(10, y) == TrendGraphPage::colour(3)
                         || g->picture().pixelColor(11, y) == TrendGraphPage::colour(3), qPrintable(QString::number(y)));

        // At 50 ms a pixel the screen takes the columns a few at a time, steps and clock times
        // included; a column left waiting when the sweep stops is shown within the legend's time.
        rig.logic->setTimeScale(50);
        rig.page->show();
        const int from = rig.logic->x(0);
        constexpr int perShowing = TrendGraphPage::kShowMs / 50;
        constexpr int columns = (TrendGraph::kTickColumns / perShowing + 2) * perShowing; // past a clock time
        for (int i = 1; i <= columns; ++i) {
            rig.clock.advanceMs(50);
            rig.tables.at(0).reported[pos::Mat] = static_cast<std::int16_t>(20 + 15 * (i % 5));
            rig.logic->tick(0);
            QCoreApplication::processEvents();
        }
        QCOMPARE(rig.logic->x(0), from + columns);
        QVERIFY(shownIsWhole());
        rig.clock.advanceMs(50);
        rig.tables.at(0).reported[pos::Mat] = 140;
        rig.logic->tick(0);
        QTRY_VERIFY_WITH_TIMEOUT(shownIsWhole(), 10000);
        rig.page->hide();
        rig.tables.at(0).reported[pos::Mat] = 20;
        rig.logic->setTimeScale(TrendGraphs::kDefaultScaleMs);

        // Clear: every graph empty and back at the left edge; Freeze: nothing moves.
        rig.sweep(10);
        rig.logic->clear();
        for (int i = 0; i < kEngines; ++i)
            QCOMPARE(rig.logic->x(i), 0);
        QCOMPARE(g->picture().pixelColor(5, yMat), blank);
        rig.logic->setFrozen(true);
        rig.sweep(10);
        QCOMPARE(rig.logic->x(0), 0);
    }

    void runningEnginesDrawAndSaveOnTheSimulator()
    {
        WindowRig rig;
        QVERIFY(rig.start(true, true));
        const QString img = rig.station->trendGraphs().imageFolder();
        test::writeBytes(img + "/LE1-0007.bmp", "x");
        // The scale chosen in the menu moves all six graph timers, and only it is ticked.
        rig.window->action("mnu50")->trigger();
        for (const char* name : {"Timer4", "Timer6", "Timer10", "Timer18", "Timer20", "Timer28"}) {
            auto* t = rig.window->findChild<QTimer*>(name);
            QVERIFY2(t && t->interval() == 50 && t->isActive(), name);
        }
        QVERIFY(rig.window->action("mnu50")->isChecked());
        QVERIFY(!rig.window->action(QString("mnu%1").arg(TrendGraphs::kDefaultScaleMs))->isChecked());
        rig.window->action("mnuClearScreen")->trigger();
        rig.window->action("mnuAutoSaveScreen")->trigger();
        QVERIFY(rig.station->trendGraphs().autoSave());
        rig.window->pages()->setCurrentIndex(1);
        for (int k = 0; k < kEngines; ++k)
            QTRY_VERIFY_WITH_TIMEOUT(rig.station->tables().at(k).everReported, kWaitMs);
        for (int engine : {1, 2, 3, 5})
            rig.station->engineOperation().press(engine);
        QTRY_COMPARE_WITH_TIMEOUT(bitmaps(img).size(), 5, kWaitMs);
        QStringList engines;
        for (const QString& name : bitmaps(img))
            engines << name.left(4);
        QCOMPARE(engines, (QStringList{"LE1-", "LE1-", "LE2-", "LE3-", "LE5-"}));
        // Register blocks are no reading: once LE6's status reply is overdue its traces break.
        QVERIFY(!std::isnan(rig.station->trendGraphs().value(5, 0)));
        rig.engines.simulator->execute("block 6 100");
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->stale(6), kWaitMs);
        for (int series = 0; series < kTrendSeriesCount; ++series)
            QVERIFY(std::isnan(rig.station->trendGraphs().value(5, series)));
    }
};
TARVEK_TEST(TrendGraphsTest)
#include "tst_trend_graphs.moc"
