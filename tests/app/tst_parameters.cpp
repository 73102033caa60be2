// The FADEC parameters and the protocol trace, end to end against the simulator.
#include "station/station.h"
#include "simulated_station.h"
#include "test_registry.h"
#include "test_support.h"

#include <QSignalSpy>
#include <QTest>

using namespace tarvek;

namespace {
constexpr int kWaitMs = 20'000;
using Exchange = ParameterEditor::Exchange;
} // namespace

class ParameterExchangeTest : public QObject {
    Q_OBJECT
private slots:
    void readMarksWhatDiffersWriteIsReadBackAndTheTraceShowsTheBytes()
    {
        EngineStation rig;
        QVERIFY(rig.ready());
        ParameterEditor& editor = rig.station->parameterEditor();
        Registers held = defaultRegisters();
        held[18] = 7;
        held[31] = 200; // travels packed with register 30 in the last field
        rig.engines.model(2).setRegisters(held);
        rig.station->selectEngine(2);

        // Read: only the selected engine is asked, once, and the request is gone after it went out.
        QSignalSpy frames(&rig.station->link(), &SerialLink::frameSent);
        QSignalSpy status(&rig.station->link(), &SerialLink::statusText);
        editor.readConfig();
        QCOMPARE(rig.station->tables().commandCode, 2);
        QTRY_COMPARE_WITH_TIMEOUT(editor.exchange(), Exchange::Idle, kWaitMs);
        QCOMPARE(rig.station->tables().commandCode, 0);
        QCOMPARE(editor.value(18), QString("7"));
        QCOMPARE(editor.value(30), QString("50"));
        QCOMPARE(editor.value(31), QString("200"));
        QCOMPARE(rig.engines.model(2).counts().parameterReads, 1);
        QCOMPARE(rig.engines.model(1).counts().parameterReads, 0);
        QCOMPARE(status.size(), 1);
        QCOMPARE(status.last().at(0).toString(), QString("Reading the settings on LE2 went well ! "));
        // Marked against the saved file, which still holds the defaults.
        QCOMPARE(editor.markCount(), 2);
        QCOMPARE(editor.mark(18), QString("ParamSt.ini: 50"));
        QCOMPARE(editor.mark(31), QString("ParamSt.ini: 15"));
        QVERIFY(editor.outcome().contains("2 differ from ParamSt.ini"));
        for (const QVariantList& f : frames)
            if (f[0].toInt() != 2)
                QCOMPARE(int(f[1].toByteArray()[0]), 0);

        // Write: register 0 never leaves the station; the rest are held by the FADEC and read back.
        editor.setValue(0, "99");
        editor.setValue(19, "33");
        editor.setValue(30, "77");
        QVERIFY(editor.mark(18).size() > 0);
        editor.setValue(18, "5"); // an edited value loses its mark
        QVERIFY(editor.mark(18).isEmpty());
        frames.clear();
        status.clear();
        editor.writeConfig();
        QTRY_COMPARE_WITH_TIMEOUT(editor.exchange(), Exchange::Idle, kWaitMs);
        QVERIFY2(editor.outcome().contains("write confirmed"), qPrintable(editor.outcome()));
        QByteArray written;
        for (const QVariantList& f : frames)
            if (f[0].toInt() == 2 && f[1].toByteArray()[0] == 1)
                written = f[1].toByteArray();
        QCOMPARE(written.size(), 34);
        QCOMPARE(int(written[19]), 33);
        Registers expected = held;
        expected[18] = 5;
        expected[19] = 33;
        expected[30] = 77;
        expected[0] = 0;
        QCOMPARE(rig.engines.model(2).registers(), expected);
        QCOMPARE(rig.engines.model(2).counts().parameterWrites, 1);
        for (int n : {1, 3, 4, 5, 6})
            QCOMPARE(rig.engines.model(n).counts().parameterWrites, 0);
        QCOMPARE(status.size(), 2); // the write, then its read-back
        QCOMPARE(status.first().at(0).toString(), QString("Backup completed successfully ! "));

        // A register the FADEC does not keep is named after the read-back.
        editor.setValue(21, "9");
        connect(&editor, &ParameterEditor::exchangeChanged, this, [&rig, &editor] {
            if (editor.exchange() == Exchange::ReadBackSent) {
                Registers r = rig.engines.model(2).registers();
                r[21] = 4;
                rig.engines.model(2).setRegisters(r);
            }
        });
        editor.writeConfig();
        QTRY_COMPARE_WITH_TIMEOUT(editor.exchange(), Exchange::Idle, kWaitMs);
        QVERIFY2(editor.outcome().contains("NOT confirmed"), qPrintable(editor.outcome()));
        QVERIFY(editor.outcome().contains("21 (sent 9, holds 4)"));
        QCOMPARE(editor.markCount(), 1);
        QCOMPARE(editor.mark(21), QString("Sent 9, LE2 holds 4"));

        // The trace of LE2 alone: the bytes both ways, as they were sent and received.
        ProtocolTrace& trace = rig.station->protocolTrace();
        frames.clear();
        trace.setCapturing(true);
        for (int n = 1; n <= 6; ++n)
            trace.setEngineTraced(n, n == 2);
        QTRY_VERIFY_WITH_TIMEOUT(trace.rowCount() >= 20, kWaitMs);
        trace.setCapturing(false);
        const auto framesWhileTraced = frames.size();
        const QByteArray lastReply = QByteArray::fromStdString(rig.station->tables().at(1).rawReply);
        const QByteArray simulatorHeard = QByteArray::fromStdString(rig.engines.model(2).lastFrame());
        const int rows = trace.rowCount();
        QTest::qWait(300);
        QCOMPARE(trace.rowCount(), rows); // detached: nothing more comes

        QList<QByteArray> out, in;
        for (int r = 0; r < rows; ++r) {
            const auto& e = trace.entry(r);
            QCOMPARE(e.slot, 2);
            (e.direction == TraceDirection::Out ? out : in) << e.bytes;
        }
        QList<QByteArray> sentToLe2;
        for (const QVariantList& f : frames.mid(0, framesWhileTraced))
            if (f[0].toInt() == 2)
                sentToLe2 << f[1].toByteArray();
        QCOMPARE(out, sentToLe2);
        // What came in is what the simulator sent: 160 characters, "  123" in field 30.
        QVERIFY(!in.isEmpty());
        for (const QByteArray& r : in) {
            QCOMPARE(r.size(), 160);
            QCOMPARE(r.mid(150, 5), QByteArray("  123"));
        }
        QCOMPARE(in.last(), lastReply);
        QVERIFY(std::find(out.cbegin(), out.cend(), simulatorHeard) != out.cend());

        // The turnaround that answered a frame's reply.
        int frameRow = -1;
        for (int r = rows - 1; r >= 0 && frameRow < 0; --r)
            if (trace.entry(r).direction == TraceDirection::Out && trace.entry(r).turnaroundUs >= 0)
                frameRow = r;
        QVERIFY(frameRow >= 0);
        QVERIFY(trace.entry(frameRow).turnaroundUs >= 25'000); // the 30 ms sender delay

        // Saved: a header and one line a row.
        const QString path = rig.engines.dir.filePath("trace.txt");
        QVERIFY(trace.save(path));
        const QList<QByteArray> lines = test::readBytes(path).split('\n');
        QCOMPARE(lines.size(), rows + 2); // the last line end leaves an empty piece
        QVERIFY(lines[0].startsWith("Time\tLE\tDir\tTurnaround"));
    }

    // A read that gets no register block in time, or is withdrawn before it goes out, puts back
    // what the boxes held and says so; a block that comes after the notice changes nothing.
    void aReadWithoutAnswerPutsTheValuesBack_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("said");
        const QString back = "; the values held before the read are shown again";
        QTest::newRow("silent engine") << "silence 3 on" << "LE3 sent no reply in 5 s: the request was not sent" + back;
        QTest::newRow("status reply only") << "block-type 3 0" << "No answer from LE3 to the parameter read in 5 s" + back;
        QTest::newRow("answer after the notice") << "late" << "No answer from LE3 to the parameter read in 5 s" + back;
        QTest::newRow("another engine selected")
            << "select" << "Read of LE3 withdrawn: LE4 was selected before it went out; the values held before are shown again";
    }
    void aReadWithoutAnswerPutsTheValuesBack()
    {
        QFETCH(QString, command);
        QFETCH(QString, said);
        EngineStation rig;
        QVERIFY(rig.ready());
        ParameterEditor& editor = rig.station->parameterEditor();
        rig.station->selectEngine(3);
        editor.paramDefault();
        editor.setValue(18, "77");
        const QStringList before = editor.values();
        if (command == "late") {
            connect(&editor, &ParameterEditor::exchangeChanged, this, [&rig, &editor] {
                if (editor.exchange() == Exchange::ReadSent)
                    rig.engines.model(3).setSilent(true);
            });
        } else if (command != "select") {
            rig.engines.simulator->execute(command);
            QTest::qWait(1000); // a reply already on its way is answered before the engine falls silent
        }
        editor.answerTimer()->setInterval(1500); // the notice still names the 5 s of a station
        QSignalSpy outcomes(&editor, &ParameterEditor::outcomeChanged);
        editor.readConfig();
        QCOMPARE(editor.values(), QStringList(32, "0")); // while the read waits
        if (command == "select")
            rig.station->selectEngine(4);
        QTRY_COMPARE_WITH_TIMEOUT(editor.exchange(), Exchange::Idle, kWaitMs);
        QCOMPARE(editor.outcome(), said);
        QCOMPARE(outcomes.size(), 2); // "Reading...", then the verdict
        QCOMPARE(editor.values(), before);
        QCOMPARE(editor.source(), ParameterEditor::Source::None);
        QCOMPARE(rig.station->tables().commandCode, 0);
        if (command == "late") {
            rig.engines.model(3).setSilent(false);
            QTRY_VERIFY_WITH_TIMEOUT(!rig.engines.model(3).parameterBlockPending(), kWaitMs);
            const quint64 readings = rig.station->link().statusReadings(3);
            QTRY_VERIFY_WITH_TIMEOUT(rig.station->link().statusReadings(3) > readings, kWaitMs);
            QCOMPARE(editor.values(), before);
            QCOMPARE(editor.outcome(), said);
        }
        if (command == "select")
            for (int n : {3, 4})
                QCOMPARE(rig.engines.model(n).counts().parameterReads, 0);
    }

    // Values nobody chose for an engine, and zeros over what it holds, are asked about first, with
    // each change; every write, declined or not, is in the history.
    void aWriteSendsOnlyWhatWasChosenForThatEngine()
    {
        EngineStation rig;
        QVERIFY(rig.ready());
        ParameterEditor& editor = rig.station->parameterEditor();
        Registers held = defaultRegisters();
        held[18] = 7;
        rig.engines.model(2).setRegisters(held);
        rig.station->selectEngine(2);
        QSignalSpy questions(rig.station.get(), &Station::question);
        const auto history = [&rig] { return QString::fromLatin1(test::readBytes(rig.station->files().pathOf("\\Histo.txt"))); };

        // Never read: the form says so, and a write asks, listing every value it would send.
        QVERIFY(editor.sourceText().startsWith("Not read: these values are not LE2's"));
        editor.writeConfig();
        QCOMPARE(editor.exchange(), Exchange::ConfirmAsked);
        QCOMPARE(questions.size(), 1);
        const QString asked = questions.last().at(2).toString();
        QVERIFY2(asked.startsWith("Write the registers of LE2?\n\nThese values were not read from LE2 or loaded from a file."),
                 qPrintable(asked));
        QVERIFY(asked.contains("Registers 1 to 31 would be:\n1=0, 2=0,"));
        QTest::qWait(300); // frames go on meanwhile, none with the write
        rig.station->answer(questions.last().at(0).toInt(), false);
        QCOMPARE(rig.engines.model(2).counts().parameterWrites, 0);
        QVERIFY(history().contains("Register write to LE2 declined: not read before, registers 1=0 2=0 3=0"));

        // Read, then edited: written at once, each change in the history.
        editor.readConfig();
        QTRY_COMPARE_WITH_TIMEOUT(editor.exchange(), Exchange::Idle, kWaitMs);
        editor.setValue(19, "33");
        editor.writeConfig();
        QTRY_COMPARE_WITH_TIMEOUT(editor.exchange(), Exchange::Idle, kWaitMs);
        QCOMPARE(questions.size(), 1);
        QVERIFY(editor.outcome().contains("write confirmed"));
        QVERIFY(history().contains("Registers written to LE2: 19 20->33"));
        editor.writeConfig(); // the same again
        QTRY_COMPARE_WITH_TIMEOUT(editor.exchange(), Exchange::Idle, kWaitMs);
        QVERIFY(history().contains("Registers written to LE2: no change"));

        // Zero after a read: asked, because registers LE2 holds would go to 0; yes writes them.
        editor.paramZero();
        editor.writeConfig();
        QCOMPARE(questions.size(), 2);
        const QString zeros = questions.last().at(2).toString();
        QVERIFY2(zeros.contains("Registers 8, 18, 19, 20, 21, 23, 24, 25, 26, 27, 28, 30, 31 would go to 0."), qPrintable(zeros));
        QVERIFY(zeros.contains("\n18 z1 Generator Start Delay: 7 \u2192 0\n"));
        rig.station->answer(questions.last().at(0).toInt(), true);
        QTRY_COMPARE_WITH_TIMEOUT(editor.exchange(), Exchange::Idle, kWaitMs);
        QVERIFY(history().contains("Registers written to LE2: 8 16->0, 18 7->0, 19 33->0"));

        // Another engine: asked; an answer after the selection moved on writes nothing.
        editor.paramDefault();
        rig.station->selectEngine(3);
        QVERIFY(editor.sourceText().endsWith("LE3 is selected, a write to it asks first"));
        editor.writeConfig();
        QCOMPARE(questions.size(), 3);
        QVERIFY(questions.last().at(2).toString().contains("These values were read from LE2, not from LE3."));
        rig.station->selectEngine(4);
        rig.station->answer(questions.last().at(0).toInt(), true);
        QVERIFY(history().contains("Register write to LE3 refused: LE4 was selected meanwhile"));
        QCOMPARE(rig.station->tables().commandCode, 0);

        // Another engine chosen before a write went out: withdrawn, so no engine gets it.
        rig.station->selectEngine(2);
        editor.writeConfig();
        rig.station->selectEngine(3);
        QCOMPARE(rig.station->tables().commandCode, 0);
        QVERIFY(history().contains("Register write to LE2 withdrawn: LE3 was selected before it went out"));

        // LE2 falls silent once its write went out: not confirmed, and said so.
        rig.station->selectEngine(2);
        connect(&editor, &ParameterEditor::exchangeChanged, this, [&rig, &editor] {
            if (editor.exchange() == Exchange::ReadBackAsked)
                rig.engines.model(2).setSilent(true);
        });
        editor.answerTimer()->setInterval(1500);
        editor.writeConfig(); // Default over what LE2 holds: nothing goes to 0, so at once
        QTRY_COMPARE_WITH_TIMEOUT(editor.exchange(), Exchange::Idle, kWaitMs);
        QCOMPARE(questions.size(), 3);
        QVERIFY2(editor.outcome().endsWith("could not be read back in 5 s: not confirmed"), qPrintable(editor.outcome()));
        QVERIFY(history().contains("Register write to LE2 not confirmed: no read-back in 5 s"));
    }

    void traceKeepsItsBound()
    {
        ManualClock clock;
        TraceTap* attached = nullptr;
        ProtocolTrace trace(clock, [&attached](TraceTap* t) { attached = t; });
        trace.setCapturing(true);
        QCOMPARE(attached, &trace);
        const std::string frame(34, 'x');
        for (int i = 0; i < ProtocolTrace::kCapacity + 500; ++i)
            trace.traced(1 + i % 6, TraceDirection::Out, frame);
        QCOMPARE(trace.rowCount(), 0); // nothing reaches the view before its batch
        trace.flush();
        QCOMPARE(trace.rowCount(), ProtocolTrace::kCapacity);
        trace.traced(3, TraceDirection::In, "abc");
        trace.flush();
        QCOMPARE(trace.rowCount(), ProtocolTrace::kCapacity);
        QCOMPARE(trace.entry(trace.rowCount() - 1).bytes, QByteArray("abc"));
        trace.setPaused(true);
        trace.traced(3, TraceDirection::In, "def");
        trace.flush();
        QCOMPARE(trace.skippedWhilePaused(), 1u);
        QCOMPARE(trace.entry(trace.rowCount() - 1).bytes, QByteArray("abc"));
        trace.setCapturing(false);
        QCOMPARE(attached, nullptr);
    }
};

TARVEK_TEST(ParameterExchangeTest)
#include "tst_parameters.moc"
