#include "protocol/codec.h"
#include "protocol/parameter_block.h"
#include "test_registry.h"

#include <QTest>

using namespace tarvek;

namespace {
std::array<int, kReplyFields> statusFields()
{
    std::array<int, kReplyFields> f{};
    for (int k = 0; k < kReplyFields; ++k)
        f[static_cast<std::size_t>(k)] = 40 + k; // distinct, recognisable echoes
    f[pos::ReplyType] = 0;
    f[pos::Phase] = 5;
    f[pos::FaultCode] = 0;
    f[pos::Sync] = kSyncValue;
    return f;
}

std::string frameString(const Frame& f) { return std::string(f.data(), f.size()); }
int byteAt(const std::string& s, std::size_t i) { return static_cast<unsigned char>(s[i]); }
} // namespace

class CodecTest : public QObject {
    Q_OBJECT
private slots:
    void numbersConvertLeniently_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<bool>("converts");
        QTest::addColumn<int>("value");
        QTest::newRow("padded") << "   42" << true << 42;
        QTest::newRow("zeros") << "00042" << true << 42;
        QTest::newRow("trailing blank") << "42   " << true << 42;
        QTest::newRow("negative") << "  -17" << true << -17;
        QTest::newRow("plus") << "  +17" << true << 17;
        QTest::newRow("half to even") << " 12.5" << true << 12;
        QTest::newRow("round up") << " 13.5" << true << 14;
        QTest::newRow("fraction") << " 1.26" << true << 1;
        QTest::newRow("blank") << "     " << false << 0;
        QTest::newRow("letters") << "  abc" << false << 0;
        QTest::newRow("inner blank") << " 1 2 " << false << 0;
        QTest::newRow("sign only") << "    -" << false << 0;
        QTest::newRow("digits then text") << "12x  " << false << 0;
    }
    void numbersConvertLeniently()
    {
        QFETCH(QString, field);
        QFETCH(bool, converts);
        QFETCH(int, value);
        const auto v = parseNumber(field.toStdString());
        QCOMPARE(v.has_value(), converts);
        if (converts)
            QCOMPARE(*v, value);
    }

    // A garbled or missing field keeps what its position held; the rest of the reply is taken.
    void goodReplyFillsTheRecordAndBadFieldsKeepTheirPositions()
    {
        EngineTables t;
        auto f = statusFields();
        f[pos::Mat] = 31;
        f[pos::TachoM] = 100;
        const auto good = decodeReply(t, 0, encodeReply(f));
        const auto& r = t.at(0);
        QVERIFY(good.good);
        QCOMPARE(good.skippedFields, 0);
        QCOMPARE(r.ReplySeen, 123);
        QCOMPARE(r.Phase, 5);
        QCOMPARE(r.reported[pos::Mat], 31);
        QCOMPARE(r.reported[pos::TachoM], 100);
        QCOMPARE(r.lastReceived[7], 47);
        QCOMPARE(r.ReplyType, 0);
        QCOMPARE(r.rawReply.size(), std::size_t(160));

        std::string reply = encodeReply(statusFields());
        reply.replace(5 * pos::Mat, 5, "  x1 ");
        reply.replace(5 * 12, 5, "99999"); // beyond a 16-bit signed value
        reply.replace(5 * 13, 5, "-0001"); // negative: kept, sent as its low byte
        const auto out = decodeReply(t, 0, reply);
        QVERIFY(out.good);
        QCOMPARE(out.skippedFields, 2);
        QCOMPARE(r.frame[pos::Mat], 31);
        QCOMPARE(r.frame[12], 52);
        QCOMPARE(r.reported[13], -1);
        QCOMPARE(r.lastReceived[13], 255);
        QCOMPARE(r.reported[pos::TachoM], 40 + pos::TachoM);

        // A short reply converts what it has; it is not good.
        std::string cut = encodeReply(statusFields()).substr(0, 52);
        cut.replace(5 * 8, 5, "   77");
        const auto part = decodeReply(t, 0, cut);
        QVERIFY(!part.good);
        QCOMPARE(part.skippedFields, 22);
        QCOMPARE(r.frame[8], 77);
        QCOMPARE(r.frame[pos::Mat], 31); // cut short: kept
    }

    void frameForTheSelectedEngineInPhaseFive()
    {
        EngineTables t;
        t.selectedEngine = 3;
        t.commandCode = 2;
        auto& r = t.at(2);
        decodeReply(t, 2, encodeReply(statusFields()));
        r.RunCommand = 1;
        r.PowerSetPoint = 130;
        // Each owned byte its own value: one taken from the wrong field shows.
        r.QthCommand = 1;
        r.AlarmResetCommand = 0;
        r.RegulationCommand = 3;
        r.MotorSpeedSetPoint = 100;
        r.ModeCode = 4;
        const auto out = composeFrame(t, 2, true);
        QVERIFY(out.written);
        const std::string bytes = frameString(out.bytes);
        QCOMPARE(bytes.size(), std::size_t(34));
        QCOMPARE(byteAt(bytes, 0), 2);
        QCOMPARE(byteAt(bytes, 1), 5);   // echoed phase
        QCOMPARE(byteAt(bytes, 2), 1);
        QCOMPARE(byteAt(bytes, 3), 43);  // echoed
        QCOMPARE(byteAt(bytes, 4), 130);
        QCOMPARE(byteAt(bytes, 6), 1);
        QCOMPARE(byteAt(bytes, 8), 0);
        QCOMPARE(byteAt(bytes, 12), 3);
        QCOMPARE(byteAt(bytes, 24), 100);
        QCOMPARE(byteAt(bytes, 30), 123);
        QCOMPARE(byteAt(bytes, 31), 4);
        QCOMPARE(bytes.substr(32), std::string("\r\n"));
        QCOMPARE(t.commandCode, 0);
        QVERIFY(r.parameterReadPending);
        for (int i = 0; i < 32; ++i)
            QCOMPARE(int(r.lastSent[static_cast<std::size_t>(i)]), int(static_cast<unsigned char>(bytes[static_cast<std::size_t>(i)])));
        // Outside phase 5 the power byte is the FADEC's own, echoed: the set-point waits for the run.
        for (const int phase : {0, 4, 6, 7}) {
            auto fields = statusFields();
            fields[pos::Phase] = phase;
            decodeReply(t, 2, encodeReply(fields));
            QCOMPARE(byteAt(frameString(composeFrame(t, 2, true).bytes), pos::Power), fields[pos::Power]);
        }
    }

    void requestsWaitForTheSelectedEngineAndAnOpenPort()
    {
        EngineTables t;
        t.selectedEngine = 1;
        t.commandCode = 1;
        auto f = statusFields();
        f[pos::Phase] = 3;
        decodeReply(t, 1, encodeReply(f));
        t.at(1).PowerSetPoint = 100;
        const auto out = composeFrame(t, 1, true);
        QCOMPARE(int(out.bytes[0]), 0);  // echoed, not the request code
        QVERIFY(!out.parameterBlockSent);
        QCOMPARE(t.commandCode, 1);      // still waiting for the selected engine
        // With no engine selected, none takes the request.
        t.selectedEngine = 0;
        for (int i = 0; i < kEngines; ++i) {
            decodeReply(t, i, encodeReply(statusFields()));
            QCOMPARE(int(composeFrame(t, i, true).bytes[0]), 0);
        }
        QCOMPARE(t.commandCode, 1);
        // The selected engine's port is closed: nothing goes out, and the request is dropped.
        t.selectedEngine = 1;
        decodeReply(t, 0, encodeReply(f));
        QVERIFY(!composeFrame(t, 0, false).written);
        QCOMPARE(t.at(0).lastSent[1], 5); // still the frame before
        QCOMPARE(t.commandCode, 0);
    }

    void aStartReadGoesToItsOwnEngineOnce()
    {
        EngineTables t;
        t.selectedEngine = 2;
        t.commandCode = 1; // a parameter write of the selected engine goes first
        decodeReply(t, 1, encodeReply(statusFields()));
        t.at(1).parameterReadRequest = true;
        QCOMPARE(int(composeFrame(t, 1, true).bytes[0]), 1);
        QVERIFY(t.at(1).parameterReadRequest);
        decodeReply(t, 1, encodeReply(statusFields()));
        QCOMPARE(int(composeFrame(t, 1, false).bytes[0]), 2); // port closed: still asked for
        QVERIFY(t.at(1).parameterReadRequest);
        QCOMPARE(int(composeFrame(t, 1, true).bytes[0]), 2);
        QVERIFY(!t.at(1).parameterReadRequest);
        QVERIFY(t.at(1).parameterReadPending);
        // The block answers it; its type byte is not echoed back as a new read.
        QVERIFY(decodeReply(t, 1, encodeParameterBlock(defaultRegisters())).parametersRead);
        t.selectedEngine = 1;
        QCOMPARE(int(composeFrame(t, 1, true).bytes[0]), 0);
    }

    void parameterBlockRoundTrip()
    {
        EngineTables t;
        t.selectedEngine = 6;
        t.commandCode = 2;
        decodeReply(t, 5, encodeReply(statusFields()));
        composeFrame(t, 5, true);
        Registers regs = defaultRegisters();
        regs[30] = 255;
        regs[31] = 254;
        regs[1] = 59;
        regs[pos::FaultCode] = 4; // would stop the engine, were it a fault code
        const auto reading = t.at(5).reported;
        const auto out = decodeReply(t, 5, encodeParameterBlock(regs));
        QVERIFY(out.good);
        QVERIFY(out.parametersRead);
        // Registers are no reading: phase, fault code and the reported values stay the status
        // reply's; the frame buffer and the last-received image take the block as the FADEC sent it.
        QCOMPARE(t.at(5).Phase, 5);
        QCOMPARE(t.at(5).FaultCode, 0);
        QVERIFY(!out.stopRaised);
        QCOMPARE(t.at(5).RunCommand, 0);
        QVERIFY(t.at(5).reported == reading);
        QCOMPARE(int(t.at(5).lastReceived[pos::Mat]), int(regs[pos::Mat]));
        for (int i = 1; i < kParameterCount; ++i)
            QCOMPARE(int(t.at(5).ParameterImage[static_cast<std::size_t>(i)]), int(regs[static_cast<std::size_t>(i)]));
        QCOMPARE(int(t.at(5).ParameterImage[0]), 2);
        QVERIFY(!t.at(5).parameterReadPending);
        // Without a pending read a type-2 reply loads nothing.
        regs[1] = 1;
        QVERIFY(!decodeReply(t, 5, encodeParameterBlock(regs)).parametersRead);
    }
};

TARVEK_TEST(CodecTest)
#include "tst_codec.moc"
