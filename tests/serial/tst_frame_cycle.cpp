// The station's link against the simulated FADECs, over pseudo-terminals, byte for byte.
#include "protocol/codec.h"
#include "serial/serial_link.h"
#include "settings/settings_files.h"
#include "settings/station_settings.h"
#include "sim/simulated_engine.h"
#include "sim/simulator.h"
#include "test_registry.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace tarvek;

namespace {
// Positions the station writes over with no engine selected and none in phase 5; every other one
// must come back as the FADEC sent it.
bool stationOwns(int position)
{
    switch (position) {
    case 2: case 6: case 8: case 12: case 24: case 31: return true;
    default: return false;
    }
}

struct CycleRig {
    QTemporaryDir dir;
    SettingsFiles files{dir.filePath("station")};
    StationSettings settings;
    EngineTables tables;
    std::unique_ptr<sim::Simulator> simulator;
    std::unique_ptr<SerialLink> link;

    explicit CycleRig(bool paced = true)
    {
        sim::SimulatorOptions options;
        options.directory = dir.filePath("ports");
        options.paced = paced;
        simulator = std::make_unique<sim::Simulator>(options);
        QString error;
        if (!simulator->start(&error))
            qFatal("simulator: %s", qPrintable(error));
        settings.loadAll(files);
        for (std::size_t i = 0; i < 6; ++i) {
            settings.portNumbers[i] = QString::number(i + 1);
            settings.portEnabled[i] = "1";
        }
        const QString ports = options.directory;
        link = std::make_unique<SerialLink>(tables, settings, files,
                                            [ports](int com) { return QStringLiteral("%1/COM%2").arg(ports).arg(com); });
        link->loadForm();
    }
    sim::SimulatedEngine& engine(int n) { return *simulator->engine(n); }
    sim::FadecModel& model(int n) { return engine(n).model(); }
};

} // namespace

class FrameCycleTest : public QObject {
    Q_OBJECT
private slots:
    // The 30 ms the sender waits is measured by bench/frame_cycle (its reply-to-frame figures).
    void everyGoodReplyIsAnsweredWithItsEchoes()
    {
        CycleRig rig;
        rig.tables.selectedEngine = 0;
        rig.link->openPorts();
        struct Seen {
            QByteArray reply;
            int frames = 0;
            int badEchoes = 0;
            int timeoutsAtFirstFrame = -1;
        };
        std::array<Seen, 6> seen;
        for (int n = 1; n <= 6; ++n) {
            auto& s = seen[static_cast<std::size_t>(n - 1)];
            connect(&rig.engine(n), &sim::SimulatedEngine::replySent, this, [&s](const QByteArray& text) {
                s.reply = text;
            });
            auto* engine = &rig.engine(n);
            connect(engine, &sim::SimulatedEngine::frameApplied, this, [&s, engine](const QByteArray& frame) {
                if (s.timeoutsAtFirstFrame < 0)
                    s.timeoutsAtFirstFrame = engine->timeouts();
                for (int k = 0; k < 32; ++k) {
                    if (stationOwns(k))
                        continue;
                    const auto v = parseNumber(replyField(s.reply.toStdString(), k));
                    if (v && (static_cast<unsigned char>(frame.at(k)) != (*v & 0xFF)))
                        ++s.badEchoes;
                }
                ++s.frames;
            });
        }
        QTRY_VERIFY_WITH_TIMEOUT(std::all_of(seen.begin(), seen.end(), [](const Seen& s) { return s.frames >= 20; }), 20000);
        for (int n = 1; n <= 6; ++n) {
            const auto& s = seen[static_cast<std::size_t>(n - 1)];
            QCOMPARE(s.badEchoes, 0);
            // Once the station listens, one frame answers each reply: the FADEC never repeats itself.
            QCOMPARE(rig.engine(n).timeouts(), s.timeoutsAtFirstFrame);
            QVERIFY(rig.link->repliesReceived(n) - rig.link->framesSent(n) <= 1); // the last may be pending
            // The station's own delay figures count every frame.
            QCOMPARE(rig.link->replyToFrameDelays(n).count, rig.link->framesSent(n));
        }
    }

    void noFrameAnswersAReplyWithoutTheSynchronisationValue()
    {
        CycleRig rig(false);
        rig.link->openPorts();
        QTRY_VERIFY_WITH_TIMEOUT(rig.model(2).counts().frames > 0, 10000);
        // Every frame must follow a good reply; count the frames that did not.
        bool goodSinceLastFrame = true; // the frame already on its way answers a good reply
        int unearned = 0;
        connect(rig.link.get(), &SerialLink::replyHandled, this, [&](int slot, const ReplyOutcome& out) {
            if (slot == 2)
                goodSinceLastFrame = goodSinceLastFrame || out.good;
        });
        connect(rig.link.get(), &SerialLink::frameSent, this, [&](int slot, const QByteArray&) {
            if (slot != 2)
                return;
            unearned += goodSinceLastFrame ? 0 : 1;
            goodSinceLastFrame = false;
        });
        // Six replies without the value, then good ones again. The first is taken as a reply that is
        // not good; the rest, which cannot prove where they start, are skipped: none is answered.
        const int repliesBefore = rig.model(2).counts().replies;
        rig.model(2).omitSync(6);
        QTRY_VERIFY_WITH_TIMEOUT(rig.model(2).counts().replies >= repliesBefore + 3, 10000);
        const int framesWhileBad = rig.model(2).counts().frames;
        QTRY_VERIFY_WITH_TIMEOUT(rig.model(2).counts().replies >= repliesBefore + 5, 10000);
        QCOMPARE(rig.model(2).counts().frames, framesWhileBad);
        QCOMPARE(rig.tables.at(1).ReplySeen, 0);
        QTRY_VERIFY_WITH_TIMEOUT(rig.model(2).counts().frames > framesWhileBad, 20000);
        QCOMPARE(unearned, 0);
        QVERIFY(rig.model(1).counts().frames > framesWhileBad); // the others went on
    }
};

TARVEK_TEST(FrameCycleTest)
#include "tst_frame_cycle.moc"
