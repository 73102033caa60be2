#include "protocol/codec.h"
#include "protocol/parameter_block.h"
#include "sim/fadec_model.h"
#include "test_registry.h"

#include <QTest>

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

    // One reply and its frame.
    bool exchange()
    {
        last = decodeReply(station, 0, fadec.reply());
        const SendOutcome out = composeFrame(station, 0, true);
        return !out.blocked && fadec.frame(std::string_view(out.bytes.data(), out.bytes.size()));
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

    // A stop cools down to rest and refuses a start meanwhile.
    void stopCoolsDownToRestAndRefusesAStartMeanwhile()
    {
        Bench b;
        b.runUp();
        QCOMPARE(b.fadec.phase(), 5);
        b.record().RunCommand = 2;
        b.exchange();
        QCOMPARE(b.fadec.phase(), 6);
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
};

TARVEK_TEST(FadecModelTest)
#include "tst_fadec_model.moc"
