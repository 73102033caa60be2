#include "serial/precise_deadlines.h"
#include "serial/when_clear.h"
#include "test_registry.h"

#include <QTest>

#include <memory>
#include <vector>

using namespace tarvek;

class WhenClearTest : public QObject {
    Q_OBJECT
private slots:
    // Work runs at once while the link is clear. While it is busy, the work waits until the link
    // said it would be clear, and then what waited runs in the order it came, except for a
    // receiver that is gone. A link that stays busy holds work back for a few looks only.
    void workWaitsForTheLinkButNotForever()
    {
        enum class Link { Clear, BusyUntil, AlwaysBusy } link = Link::Clear;
        qint64 clearAt = 0;
        int asked = 0;
        WhenClear whenClear([&](qint64 now, qint64) -> qint64 {
            ++asked;
            switch (link) {
            case Link::Clear: return 0;
            case Link::BusyUntil: return clearAt > now ? clearAt : 0;
            case Link::AlwaysBusy: return now + 1'000'000;
            }
            return 0;
        });
        std::vector<std::pair<int, qint64>> ran; // which, when
        const auto work = [&ran](int which) { return [&ran, which] { ran.emplace_back(which, PreciseDeadlines::nowNs()); }; };
        QObject receiver;

        whenClear.run(&receiver, work(1));
        QCOMPARE(ran.size(), std::size_t(1));

        link = Link::BusyUntil;
        clearAt = PreciseDeadlines::nowNs() + 30'000'000;
        auto gone = std::make_unique<QObject>();
        whenClear.run(&receiver, work(2));
        whenClear.run(gone.get(), work(3));
        whenClear.run(&receiver, work(4));
        QCOMPARE(ran.size(), std::size_t(1));
        QCOMPARE(whenClear.waiting(), 3);
        gone.reset();
        QTRY_COMPARE_WITH_TIMEOUT(ran.size(), std::size_t(3), 5000);
        QCOMPARE(ran[1].first, 2);
        QCOMPARE(ran[2].first, 4);
        QVERIFY(ran[1].second >= clearAt);
        QCOMPARE(whenClear.waiting(), 0);

        link = Link::AlwaysBusy;
        asked = 0;
        whenClear.run(&receiver, work(5));
        QTRY_COMPARE_WITH_TIMEOUT(ran.size(), std::size_t(4), 5000);
        QCOMPARE(ran[3].first, 5);
        QCOMPARE(asked, WhenClear::kMostLooks + 1);
    }
};
TARVEK_TEST(WhenClearTest)
#include "tst_when_clear.moc"
