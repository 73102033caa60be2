// Whole replies out of a byte stream that loses, gains and garbles bytes.
#include "protocol/codec.h"
#include "protocol/reply_framer.h"
#include "test_registry.h"

#include <QTest>

using namespace tarvek;

namespace {
// A recognisable reply: `tag` at position 2, phase 1, synchronisation `sync`.
std::string reply(int tag, int sync = kSyncValue)
{
    std::array<int, kReplyFields> f{};
    for (int k = 0; k < kReplyFields; ++k)
        f[static_cast<std::size_t>(k)] = k % 3 == 0 ? k : 100 + 7 * k;
    f[pos::ReplyType] = 0;
    f[pos::Phase] = 1;
    f[pos::RunRequest] = tag;
    f[pos::Sync] = sync;
    return encodeReply(f);
}
std::string without(std::string s, std::size_t at) { return s.erase(at, 1); }
// Fields that do not convert: the reply is still one, those positions keep their values.
std::string garbled(std::string s) { return s.replace(5 * 5, 5, "  ab?").replace(27 * 5, 5, "?#x!-"); }
const std::string kNoise(160, '#');

// Feeds the stream in pieces of `chunk` bytes and lists the tags of the replies found.
QList<int> tagsOf(const std::string& stream, std::size_t chunk, std::uint64_t* discarded = nullptr)
{
    ReplyFramer framer;
    QList<int> tags;
    for (std::size_t at = 0; at < stream.size(); at += chunk)
        framer.feed(std::string_view(stream).substr(at, chunk), [&](std::string_view r) {
            QCOMPARE(r.size(), std::size_t(kReplyLength));
            tags << static_cast<int>(*parseNumber(replyField(r, pos::RunRequest)));
        });
    if (discarded)
        *discarded = framer.discarded();
    return tags;
}
} // namespace

class ReplyFramerTest : public QObject {
    Q_OBJECT
private slots:
    void eachFaultCostsAtMostTheReplyItHit_data()
    {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<QList<int>>("tags");
        const auto bytes = [](const std::string& s) { return QByteArray::fromStdString(s); };
        QTest::newRow("clean") << bytes(reply(1) + reply(2) + reply(3)) << QList<int>{1, 2, 3};
        QTest::newRow("joined mid-reply") << bytes(reply(1).substr(70) + reply(2) + reply(3)) << QList<int>{2, 3};
        QTest::newRow("noise first") << bytes(kNoise + reply(2) + reply(3)) << QList<int>{2, 3};
        QTest::newRow("noise between") << bytes(reply(1) + kNoise + reply(2)) << QList<int>{1, 2};
        QTest::newRow("extra byte between") << bytes(reply(1) + "x" + reply(2) + reply(3)) << QList<int>{1, 2, 3};
        for (std::size_t at : {0, 3, 4, 77, 150, 152, 154, 159})
            QTest::newRow(qPrintable(QString("byte %1 lost").arg(at)))
                << bytes(reply(1) + without(reply(2), at) + reply(3) + reply(4)) << QList<int>{1, 3, 4};
        QTest::newRow("garbled fields in step") << bytes(reply(1) + garbled(reply(2)) + reply(3)) << QList<int>{1, 2, 3};
        QTest::newRow("garbled fields first") << bytes(garbled(reply(1)) + reply(2)) << QList<int>{1, 2};
        QTest::newRow("two bytes lost") << bytes(without(without(reply(1), 9), 90) + reply(2)) << QList<int>{2};
        // A reply without its synchronisation value is still a reply once the stream is in step;
        // before that it cannot prove where it starts.
        QTest::newRow("unsynchronised in step") << bytes(reply(1) + reply(2, 0) + reply(3)) << QList<int>{1, 2, 3};
        QTest::newRow("unsynchronised first") << bytes(reply(1, 0) + reply(2)) << QList<int>{2};
    }
    void eachFaultCostsAtMostTheReplyItHit()
    {
        QFETCH(QByteArray, stream);
        QFETCH(QList<int>, tags);
        const std::string s = stream.toStdString();
        // Whole, in line-sized pieces, and byte by byte: pauses between pieces change nothing.
        for (std::size_t chunk : {s.size(), std::size_t(8), std::size_t(1)})
            QCOMPARE(tagsOf(s, chunk), tags);
    }

    void noiseIsCountedAndNothingIsHeldBeyondAReply()
    {
        std::uint64_t discarded = 0;
        QCOMPARE(tagsOf(kNoise + kNoise, 16, &discarded), QList<int>{});
        QCOMPARE(discarded, std::uint64_t(320)); // no reply holds a '#': nothing of it is kept
        // Digits and blanks might be the head of a reply: 159 of them are held.
        QCOMPARE(tagsOf(reply(1, 0) + reply(2, 0), 16, &discarded), QList<int>{});
        QCOMPARE(discarded, std::uint64_t(2 * 160 - 159));
        ReplyFramer framer;
        framer.feed(reply(1).substr(0, 100), [](std::string_view) { QFAIL("not whole yet"); });
        QCOMPARE(framer.pending(), std::size_t(100));
        QCOMPARE(framer.discarded(), std::uint64_t(0)); // a reply still arriving is no noise

        // A quiet line: what follows either finishes the reply (this side was only slow) or is
        // the next reply, and then what was held goes.
        QList<int> tags;
        const auto tag = [&](std::string_view r) { tags << static_cast<int>(*parseNumber(replyField(r, pos::RunRequest))); };
        framer.markQuiet();
        framer.feed(reply(1).substr(100), tag);
        framer.feed(reply(2).substr(0, 100), tag);
        framer.markQuiet();
        framer.feed(reply(3) + reply(4), tag);
        QCOMPARE(tags, (QList<int>{1, 3, 4}));
        QCOMPARE(framer.staleDrops(), std::uint64_t(1));
        QCOMPARE(framer.discarded(), std::uint64_t(100));
    }
};

TARVEK_TEST(ReplyFramerTest)
#include "tst_reply_framer.moc"
