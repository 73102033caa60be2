#include "protocol/codec.h"
#include "protocol/parameter_block.h"
#include "sim/fadec_model.h"
#include "test_registry.h"

#include <QTest>

#include <functional>

using namespace tarvek;
using namespace tarvek::sim;

namespace {
// The station's side of one exchange, through its own codec: decode the reply, answer with the
// frame that the sender would write. The engine starts quickly unless a test sets its registers.
struct Bench {
    FadecModel fadec{7};
    EngineTables station;
    ReplyOutcome last;

    Bench()
    {
        station.selectedEngine = 1;
        withRegisters(1, 1, 1);
    }
    LightEngineRecord& record() { return station.at(0); }

    // One reply and its frame; `edit` may change the frame before it goes out.
    bool exchange(const std::function<void(Frame&)>& edit = {})
    {
        const std::string text = fadec.reply();
        last = decodeReply(station, 0, text);
        const SendOutcome out = composeFrame(station, 0, true);
        if (out.blocked)
            return false;
        Frame bytes = out.bytes;
        if (edit)
            edit(bytes);
        return fadec.frame(std::string_view(bytes.data(), bytes.size()));
    }

    void withRegisters(int z1, int z2, int z3)
    {
        Registers r = defaultRegisters();
        r[18] = static_cast<std::uint8_t>(z1);
        r[19] = static_cast<std::uint8_t>(z2);
        r[20] = static_cast<std::uint8_t>(z3);
        fadec.setRegisters(r);
    }

    // A status reply, then a frame asking for a start.
    bool requestStart()
    {
        exchange();
        record().RunCommand = 1;
        return exchange();
    }
    // Start from rest and run until phase 5.
    void runUp()
    {
        requestStart();
        for (int i = 0; i < 400 && fadec.phase() != 5; ++i)
            fadec.advance(100);
        exchange(); // the station learns the phase
    }
};
} // namespace

class FadecModelTest : public QObject {
    Q_OBJECT
private slots:
    void startPhasesAreTimedByTheRegisters_data()
    {
        QTest::addColumn<int>("z1");
        QTest::addColumn<int>("z2");
        QTest::addColumn<int>("z3");
        QTest::addColumn<bool>("refused");
        QTest::newRow("factory") << 50 << 20 << 15 << false;
        QTest::newRow("short") << 1 << 2 << 3 << false;
        QTest::newRow("no ramp") << 4 << 0 << 2 << false;
        QTest::newRow("overflows a byte") << 200 << 50 << 10 << true;
    }
    void startPhasesAreTimedByTheRegisters()
    {
        QFETCH(int, z1);
        QFETCH(int, z2);
        QFETCH(int, z3);
        QFETCH(bool, refused);
        Bench b;
        b.withRegisters(z1, z2, z3);
        QVERIFY(b.requestStart());
        if (refused) {
            b.fadec.advance(1000);
            b.exchange();
            QCOMPARE(b.record().Phase, 0);
            QCOMPARE(b.record().FaultCode, 17);
            return;
        }
        QCOMPARE(b.fadec.phase(), 1);

        const int durations[] = {z1 * 100, z2 * 100, z3 * 100, kWarmUpMs};
        for (int phase = 1; phase <= 4; ++phase) {
            const int ms = durations[phase - 1];
            b.fadec.advance(0);
            if (ms == 0) {
                QCOMPARE_NE(b.fadec.phase(), phase);
                continue;
            }
            QCOMPARE(b.fadec.phase(), phase);
            b.fadec.advance(ms - 1);
            QCOMPARE(b.fadec.phase(), phase);
            b.fadec.advance(1);
        }
        QCOMPARE(b.fadec.phase(), 5);
        b.exchange();
        QCOMPARE(b.record().Phase, 5);
        QCOMPARE(b.record().FaultCode, 20); // running, nothing to report
        QCOMPARE(b.record().reported[pos::Confirmation], 1);
        b.fadec.advance(60000);
        QCOMPARE(b.fadec.phase(), 5); // runs until told to stop
    }

    // A stop cools down to rest and refuses a start meanwhile. A reply of type 2 on the way is no
    // reading: the station keeps the phase and fault code of the status before it.
    void stopCoolsDownToRestAndRefusesAStartMeanwhile()
    {
        Bench b;
        b.runUp();
        QCOMPARE(b.fadec.phase(), 5);
        b.fadec.setReplyType(2);
        b.record().RunCommand = 2;
        b.exchange();
        QCOMPARE(b.fadec.phase(), 6);
        b.exchange();
        QVERIFY(b.last.good);
        QCOMPARE(b.last.replyType, 2);
        QCOMPARE(b.record().Phase, 5);
        QCOMPARE(b.record().FaultCode, 20);
        QCOMPARE(b.record().ReplyType, 0);
        b.fadec.setReplyType(0);
        b.exchange();
        QCOMPARE(b.record().Phase, 6);
        QCOMPARE(b.record().FaultCode, 18);
        b.record().RunCommand = 1;
        b.exchange();
        b.exchange();
        QCOMPARE(b.record().Phase, 6);
        QCOMPARE(b.record().FaultCode, 11); // "Startup failed - LE cooling down"
        b.fadec.advance(kCoolingMs - 1);
        QCOMPARE(b.fadec.phase(), 6);
        b.fadec.advance(1);
        b.exchange();
        QCOMPARE(b.record().Phase, 0);
        QCOMPARE(b.record().FaultCode, 0);
        // The refused request does not start it later.
        b.fadec.advance(10000);
        b.exchange();
        QCOMPARE(b.fadec.phase(), 0);
    }

    void powerIsTakenInPhaseFiveOnly_data()
    {
        QTest::addColumn<int>("phase");
        QTest::addColumn<int>("sent");
        QTest::addColumn<int>("reported");
        const int start = defaultRegisters()[23];
        QTest::newRow("phase 3") << 3 << 90 << start;
        QTest::newRow("phase 5") << 5 << 90 << 90;
        QTest::newRow("phase 5 top") << 5 << 130 << 130;
        QTest::newRow("phase 5 below range") << 5 << 20 << start;
        QTest::newRow("phase 5 above range") << 5 << 140 << start;
    }
    void powerIsTakenInPhaseFiveOnly()
    {
        QFETCH(int, phase);
        QFETCH(int, sent);
        QFETCH(int, reported);
        Bench b;
        b.withRegisters(1, 1, 100);
        b.requestStart();
        while (b.fadec.phase() != phase)
            b.fadec.advance(50);
        // Written straight into position 4, whatever the station would send in this phase.
        b.exchange([&](Frame& f) { f[pos::Power] = static_cast<char>(sent); });
        b.exchange();
        QCOMPARE(b.record().reported[pos::Power], reported);
    }

    // Running, the motor follows its set-point; at rest motor and fans turn only when position 31
    // asks for cooling (1), never for any other mode.
    void motorAndFansFollowTheSetPoint_data()
    {
        QTest::addColumn<bool>("running");
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("setPoint");
        QTest::addColumn<int>("tacho"); // -1: motor and fans stand still
        QTest::addColumn<int>("fault");
        QTest::newRow("running, none: fixed speed") << true << 0 << 0 << kFixedMotorSpeed << 20;
        QTest::newRow("running, 1000 rpm") << true << 0 << 33 << 33 << 20;
        QTest::newRow("running, 4000 rpm") << true << 0 << 133 << 133 << 20;
        QTest::newRow("running, 4500 rpm: overspeed") << true << 0 << 150 << 150 << 9;
        QTest::newRow("at rest, cooling enabled") << false << 1 << 80 << 80 << 0;
        QTest::newRow("at rest, no mode") << false << 0 << 80 << -1 << 0;
        QTest::newRow("at rest, regulation mode") << false << 4 << 80 << -1 << 0;
    }
    void motorAndFansFollowTheSetPoint()
    {
        QFETCH(bool, running);
        QFETCH(int, mode);
        QFETCH(int, setPoint);
        QFETCH(int, tacho);
        QFETCH(int, fault);
        Bench b;
        b.exchange();
        b.record().ModeCode = static_cast<std::uint8_t>(mode);
        b.record().MotorSpeedSetPoint = static_cast<std::uint8_t>(setPoint);
        if (running)
            b.runUp();
        else
            b.exchange();
        b.fadec.advance(10000);
        b.exchange();
        QCOMPARE(b.fadec.phase(), running ? 5 : 0);
        QCOMPARE(int(b.record().FaultCode), fault);
        const auto& reported = b.record().reported;
        const bool turning = tacho >= 0;
        QCOMPARE(std::abs(reported[pos::TachoM] - (turning ? tacho : setPoint)) <= 1, turning);
        QCOMPARE(reported[pos::TachoV1] > 0, turning);
        QCOMPARE(reported[pos::TachoV2] > 0, turning);
        if (running)
            QCOMPARE(reported[pos::MotorSpeedSetPoint], setPoint);
        else
            QCOMPARE(reported[pos::Lpc], 0); // no light
    }

    void linkFaultsLookLikeABadCable_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("good");
        QTest::addColumn<int>("skipped");
        QTest::newRow("garbage") << "garbage" << kReplyLength << false << kReplyFields;
        QTest::newRow("no sync") << "nosync" << kReplyLength << false << 0;
        // The '3' of "  123" is lost: the sync field reads 12.
        QTest::newRow("byte lost in sync") << "drop 154" << kReplyLength - 1 << false << 0;
        // The phase digit is lost: its field turns blank, later fields slide one character left.
        QTest::newRow("byte lost in phase") << "drop 9" << kReplyLength - 1 << true << 1;
        QTest::newRow("silence") << "silence" << 0 << false << kReplyFields;
    }
    void linkFaultsLookLikeABadCable()
    {
        QFETCH(QString, fault);
        QFETCH(int, length);
        QFETCH(bool, good);
        QFETCH(int, skipped);
        FadecModel fadec(3);
        const std::string clean = encodeReply(fadec.statusFields());
        if (fault == "garbage")
            fadec.sendGarbage();
        else if (fault == "nosync")
            fadec.omitSync();
        else if (fault.startsWith("drop"))
            fadec.dropByte(fault.mid(5).toInt());
        else if (fault == "silence")
            fadec.setSilent(true);
        const std::string text = fadec.reply();
        QCOMPARE(int(text.size()), length);
        if (fault.startsWith("drop")) {
            std::string expected = clean;
            expected.erase(static_cast<std::size_t>(fault.mid(5).toInt()), 1);
            QCOMPARE(text, expected);
        }
        EngineTables t;
        const auto out = decodeReply(t, 0, text);
        QCOMPARE(out.good, good);
        QCOMPARE(t.at(0).ReplySeen, good ? kSyncValue : 0);
        QCOMPARE(out.skippedFields, skipped);
        QCOMPARE(composeFrame(t, 0, true).blocked, !good);

        fadec.setSilent(false);
        const auto next = decodeReply(t, 0, fadec.reply());
        QVERIFY(next.good); // one reply is spoiled, not the link
        QCOMPARE(next.skippedFields, 0);
        QCOMPARE(t.at(0).FaultCode, 0); // at rest: "Arret LE"
    }

    void faultCodesReachTheStation_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<bool>("stops");
        for (int code = 1; code <= kMaxFaultCode; ++code)
            QTest::addRow("code %d", code) << code << (code >= 3 && code <= 6);
    }
    void faultCodesReachTheStation()
    {
        QFETCH(int, code);
        QFETCH(bool, stops);
        Bench b;
        b.runUp();
        b.fadec.setFaultCode(code);
        b.exchange(); // the station reads the code and answers
        QCOMPARE(b.record().FaultCode, code);
        QCOMPARE(b.record().reported[pos::AlarmRelay], code == 18 || code == 20 ? 0 : 1);
        QCOMPARE(b.last.stopRaised, stops);
        QCOMPARE(b.fadec.phase(), stops ? 6 : 5);

        b.record().AlarmResetCommand = 1;
        b.exchange();
        b.record().AlarmResetCommand = 0;
        b.exchange();
        QCOMPARE(b.fadec.injectedFault(), 0);
        QCOMPARE(b.record().FaultCode, stops ? 18 : 20);
    }

    void framesOfTheWrongShapeAreRejected_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("short") << QByteArray(31, '\0') + "\r\n";
        QTest::newRow("long") << QByteArray(33, '\0') + "\r\n";
        QTest::newRow("no line end") << QByteArray(34, '\0');
        QTest::newRow("LF CR") << QByteArray(32, '\0') + "\n\r";
    }
    void framesOfTheWrongShapeAreRejected()
    {
        QFETCH(QByteArray, bytes);
        FadecModel fadec;
        QByteArray start = bytes;
        if (start.size() > 2)
            start[2] = 1; // a start request
        QVERIFY(!fadec.frame(std::string_view(start.constData(), std::size_t(start.size()))));
        QCOMPARE(fadec.counts().rejectedFrames, 1);
        QCOMPARE(fadec.counts().frames, 0);
        QCOMPARE(fadec.phase(), 0);
    }

    void noiseIsSeededAndDeterministic()
    {
        auto run = [](std::uint32_t seed) {
            Bench b;
            b.fadec = FadecModel(seed);
            b.withRegisters(1, 1, 1);
            b.runUp();
            std::string all;
            for (int i = 0; i < 20; ++i) {
                b.fadec.advance(130);
                all += b.fadec.reply();
            }
            return all;
        };
        QCOMPARE(run(5), run(5));
        QVERIFY(run(5) != run(6));
    }
};

TARVEK_TEST(FadecModelTest)
#include "tst_fadec_model.moc"
