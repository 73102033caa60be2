#include "serial/precise_deadlines.h"
#include "test_registry.h"

#include <QEventLoop>
#include <QTest>
#include <QTimer>

#include <vector>

using namespace tarvek;

class PreciseDeadlinesTest : public QObject {
    Q_OBJECT
private slots:
    // Keys armed out of order are told in the order of their deadlines and never before them; a
    // key disarmed is not told; a key armed again from its own handler is told again.
    void keysAreToldInTimeOrderNeverEarly()
    {
        PreciseDeadlines deadlines;
        QVERIFY(deadlines.available());
        std::vector<std::pair<int, qint64>> told; // key, lateness in ns
        std::array<qint64, PreciseDeadlines::kKeys + 1> at{};
        bool again = true;
        connect(&deadlines, &PreciseDeadlines::due, this, [&](int key) {
            told.emplace_back(key, PreciseDeadlines::nowNs() - at[static_cast<std::size_t>(key)]);
            if (key == 2 && again) {
                again = false;
                at[2] = PreciseDeadlines::nowNs() + 5'000'000;
                deadlines.arm(2, at[2]);
            }
        });
        const qint64 now = PreciseDeadlines::nowNs();
        for (const auto& [key, ms] : {std::pair{1, 200}, {2, 10}, {3, 11}, {4, 30}}) {
            at[static_cast<std::size_t>(key)] = now + ms * 1'000'000LL;
            deadlines.arm(key, at[static_cast<std::size_t>(key)]);
        }
        deadlines.disarm(4);
        QVERIFY(!deadlines.armed(4));
        QTRY_COMPARE_WITH_TIMEOUT(told.size(), std::size_t(4), 5000);
        QTest::qWait(60);
        QCOMPARE(told.size(), std::size_t(4));
        const std::vector<int> order{told[0].first, told[1].first, told[2].first, told[3].first};
        QCOMPARE(order, (std::vector<int>{2, 3, 2, 1}));
        for (const auto& [key, late] : told)
            QVERIFY2(late >= 0, qPrintable(QString("key %1 told %2 ns early").arg(key).arg(-late)));
    }

    // Time lost to the station's own work is told apart from the machine's late wake-ups: a
    // deadline that passes while the thread works, and one told after another key's handler in
    // the same wake, are both held up by work, by at least as long as the work went on.
    void lateForWorkIsTold()
    {
        const auto work = [](qint64 ns) {
            const qint64 until = PreciseDeadlines::nowNs() + ns;
            while (PreciseDeadlines::nowNs() < until) {
            }
        };
        PreciseDeadlines deadlines;
        deadlines.watchLateness();
        int told = 0;
        connect(&deadlines, &PreciseDeadlines::due, this, [&](int key) {
            ++told;
            if (key == 2)
                work(3'000'000); // key 3 shares this wake
        });
        QTimer::singleShot(0, this, [&] {
            deadlines.arm(1, PreciseDeadlines::nowNs() + 1'000'000);
            work(6'000'000);
        });
        QTRY_COMPARE_WITH_TIMEOUT(told, 1, 5000);
        QCOMPARE(deadlines.lateness().heldByWork, quint64(1));
        QCOMPARE(deadlines.lateness().wokeLate, quint64(0));
        QVERIFY(deadlines.lateness().maxHeldNs >= 5'000'000);

        // Asleep in a loop of its own (QTRY's waits never sleep), as the station's thread is.
        QEventLoop loop;
        connect(&deadlines, &PreciseDeadlines::due, &loop, [&] {
            if (told == 3)
                loop.quit();
        });
        QTimer::singleShot(5000, &loop, &QEventLoop::quit);
        const qint64 at = PreciseDeadlines::nowNs() + 20'000'000;
        deadlines.arm(2, at);
        deadlines.arm(3, at);
        loop.exec();
        const PreciseDeadlines::Lateness& late = deadlines.lateness();
        QCOMPARE(late.told, quint64(3));
        QCOMPARE(late.heldByWork, quint64(2)); // however late the machine woke the thread for them
    }
};
TARVEK_TEST(PreciseDeadlinesTest)
#include "tst_precise_deadlines.moc"
