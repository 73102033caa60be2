#include "serial/precise_deadlines.h"
#include "test_registry.h"

#include <QTest>

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
};
TARVEK_TEST(PreciseDeadlinesTest)
#include "tst_precise_deadlines.moc"
