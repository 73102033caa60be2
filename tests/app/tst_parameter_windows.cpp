// The maintenance windows on the main window: FadecParameters, ValeurDesParam and the protocol
// trace, their menu entries and guards.
#include "app/common/colours.h"
#include "app/common/question_window.h"
#include "app/service/fadec_parameters.h"
#include "app/service/protocol_trace_window.h"
#include "app/setpoints/saisie.h"
#include "app/service/valeur_des_param.h"
#include "test_registry.h"
#include "test_support.h"
#include "window_rig.h"

#include <QAction>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QTableView>

using namespace tarvek;

namespace {
QMessageBox* lastWarning(QWidget* parent)
{
    const auto boxes = parent->findChildren<QMessageBox*>("MessageWarning");
    return boxes.isEmpty() ? nullptr : boxes.last();
}
} // namespace

class ParameterWindowsTest : public QObject {
    Q_OBJECT
private slots:
    void entriesAreGuarded()
    {
        WindowRig rig;
        QVERIFY(rig.start(true, true));
        QVERIFY(rig.station->logIn("dolphin"));
        // Read LE Settings opens the same read-out (for a user too, when the Functions menu is given).
        rig.window->action("mnuVdesParam")->trigger();
        QVERIFY(rig.get<ValeurDesParam>("ValeurDesParam") && rig.get<ValeurDesParam>("ValeurDesParam")->isVisible());

        // Not in phase 0: refused with the warning, no form.
        rig.station->selectEngine(1);
        rig.station->engineOperation().press(1);
        QTRY_VERIFY_WITH_TIMEOUT(rig.station->tables().at(0).Phase != 0, kRigWaitMs);
        rig.window->action("mnuParameters")->trigger();
        QVERIFY(!rig.get<FadecParameters>("FadecParameters"));
        QMessageBox* box = lastWarning(rig.window.get());
        QVERIFY(box);
        QCOMPARE(box->text(), QString("LE is not in phase 0 "));

        // LE2 at rest: the form opens on it. Never read: said at the top, on an orange framed cell.
        rig.station->selectEngine(2);
        rig.window->action("mnuParameters")->trigger();
        auto* form = rig.get<FadecParameters>("FadecParameters");
        QVERIFY(form && form->isVisible());
        auto* source = form->findChild<QLabel*>("LabelSource");
        QCOMPARE(colours::background(source), colours::fault());

        // Read through the form: the values and the mark of a register that differs from the file.
        Registers held = defaultRegisters();
        held[19] = 42;
        rig.engines.model(2).setRegisters(held);
        QTest::mouseClick(form->findChild<QPushButton*>("ReadConfig"), Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(form->findChild<QLineEdit*>("Text51")->text(), QString("42"), kRigWaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(form->findChild<QLabel*>("Mark51")->text(), QString("\u2260"), kRigWaitMs);
        QCOMPARE(form->findChild<QLabel*>("Mark50")->text(), QString());
        QVERIFY(form->findChild<QLabel*>("LabelOutcome")->text().contains("1 differs from ParamSt.ini"));
        QCOMPARE(source->frameWidth(), 1);

        // Zero asks in the question window before anything is written.
        QTest::mouseClick(form->findChild<QPushButton*>("ParamZero"), Qt::LeftButton);
        QTest::mouseClick(form->findChild<QPushButton*>("WriteConfig"), Qt::LeftButton);
        auto* fen = rig.get<FenQuestion>("FenQuestion");
        QVERIFY(fen && fen->isVisible());
        QVERIFY(fen->question().startsWith("Write the registers of LE2?"));
        QTest::mouseClick(fen->findChild<QPushButton*>("NonQuestion"), Qt::LeftButton);
        QVERIFY(!fen->isVisible());
        QCOMPARE(historyLines(*rig.station, "Register write to LE2 declined: 8 16->0, 18 50->0"), 1);
        QCOMPARE(rig.engines.model(2).counts().parameterWrites, 0);

        // Read-out of LE2 in both directions: position 8 carries an alarm reset out, the FADEC
        // reports its relay off.
        rig.station->tables().at(1).AlarmResetCommand = 1;
        rig.window->action("mnuRFPCtoStamp")->trigger();
        auto* readOut = rig.get<ValeurDesParam>("ValeurDesParam");
        QVERIFY(readOut && readOut->isVisible());
        QTest::mouseClick(readOut->findChild<QPushButton*>("LireLP2"), Qt::LeftButton);
        QCOMPARE(readOut->findChild<QLabel*>("LabelSelected")->text(), QString("Selected LE : 2"));
        auto* list2 = readOut->findChild<QListWidget*>("List2");
        QTRY_COMPARE_WITH_TIMEOUT(list2->item(8)->text(), QString("08     1"), kRigWaitMs);
        QCOMPARE(readOut->findChild<QListWidget*>("List1")->count(), 0);
        // The registers LE1's start read, register 31 first.
        auto* started = readOut->findChild<QListWidget*>("ListParameters");
        QCOMPARE(started->count(), 32);
        QCOMPARE(started->item(0)->text(), ParameterList::line(31, 15));
        QCOMPARE(started->item(31)->text(), ParameterList::line(0, 2));
        rig.window->action("mnuRFStamptoPC")->trigger();
        QVERIFY(readOut->findChild<QRadioButton*>("OptionStampToPc")->isChecked());
        // The raw last block LE2 sent.
        QTRY_COMPARE_WITH_TIMEOUT(list2->item(8)->text(), QString("08     0"), kRigWaitMs);
        QTest::mouseClick(readOut->findChild<QPushButton*>("LireLP3"), Qt::LeftButton);
        QTest::mouseClick(readOut->findChild<QPushButton*>("LireLP1"), Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(readOut->findChild<QListWidget*>("List1")->item(1)->text(),
                                  IoReadOut::line(1, rig.station->tables().at(0).lastReceived[1]), kRigWaitMs);
        readOut->reject();
        QVERIFY(!rig.station->ioReadOut().timer1()->isActive());

        // The trace captures while its window is open.
        QVERIFY(!rig.station->link().traceTap());
        rig.window->action("mnuProtocolTrace")->trigger();
        auto* trace = rig.get<ProtocolTraceWindow>("ProtocolTraceWindow");
        QVERIFY(trace && trace->isVisible());
        QVERIFY(rig.station->link().traceTap());
        auto* view = trace->findChild<QTableView*>("TraceView");
        QTRY_VERIFY_WITH_TIMEOUT(view->model()->rowCount() > 40, kRigWaitMs);
        // A selected reply shows whole below the table: its 160 characters and their hex.
        QTest::mouseClick(trace->findChild<QPushButton*>("TracePause"), Qt::LeftButton);
        ProtocolTrace& model = rig.station->protocolTrace();
        int reply = 0;
        while (model.entry(reply).bytes.size() != kReplyLength)
            ++reply;
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->visualRect(view->model()->index(reply, 0)).center());
        const QStringList lines = trace->findChild<QPlainTextEdit*>("TraceDetail")->toPlainText().split('\n');
        QVERIFY(lines.first().startsWith(model.cell(reply, ProtocolTrace::Engine) + "  in  "));
        QString text, hex;
        for (const QString& line : lines) {
            if (line.contains('|'))
                text += line.section('|', 1, 1);
            else if (line.size() > 6 && line.at(3).isDigit() && !line.contains("bytes"))
                hex += (hex.isEmpty() ? "" : " ") + line.mid(6);
        }
        QCOMPARE(text, ProtocolTrace::printable(model.entry(reply).bytes));
        QCOMPARE(hex, ProtocolTrace::hex(model.entry(reply).bytes));
        QVERIFY(rig.station->protocolTrace().paused());
        QTest::mouseClick(trace->findChild<QPushButton*>("TraceClear"), Qt::LeftButton);
        QCOMPARE(view->model()->rowCount(), 0);
        trace->reject();
        QVERIFY(!rig.station->link().traceTap());
        rig.station->protocolTrace().setPaused(false);
    }

    // With the ports closed, reading or writing warns and leaves no request behind; the file
    // buttons save the factory values and load what a file holds; a register takes 0 to 255.
    void closedPortWarnsAndTheFileButtonsWork()
    {
        WindowRig rig;
        QVERIFY(rig.start(false));
        QVERIFY(rig.station->logIn("dolphin"));
        ParameterEditor& editor = rig.station->parameterEditor();
        QSignalSpy warnings(rig.station.get(), &Station::warning);
        editor.readConfig(); // no engine chosen: nothing is done
        QCOMPARE(warnings.size(), 0);
        rig.station->selectEngine(5);
        FadecParameters* form = rig.window->openFadecParameters();
        const auto click = [form](const char* name) {
            QTest::mouseClick(form->findChild<QPushButton*>(name), Qt::LeftButton);
        };
        click("ParamDefault");
        QCOMPARE(form->findChild<QLineEdit*>("Text40")->text(), QString("16"));
        click("WriteConfHdd");
        QCOMPARE(rig.station->files().readValues("\\ParamSt.ini"), editor.values());
        QCOMPARE(historyLines(*rig.station, "Register write to LE5 refused: its port is not open"), 0);
        for (const char* exchange : {"WriteConfig", "ReadConfig"}) {
            click(exchange);
            QCOMPARE(warnings.size(), 1);
            warnings.clear();
            QMessageBox* box = lastWarning(rig.window.get());
            QVERIFY(box);
            QCOMPARE(box->text(), QString("The Port Com5 is not activated ! "));
            QCOMPARE(rig.station->tables().commandCode, 0); // no request left behind
            QCOMPARE(editor.exchange(), ParameterEditor::Exchange::Idle);
            box->close();
        }
        QCOMPARE(form->findChild<QLineEdit*>("Text40")->text(), QString("0"));
        QCOMPARE(historyLines(*rig.station, "Register write to LE5 refused: its port is not open"), 1);

        // A short file fills what it has; the rest reads "0"; a text that is no number travels as 0.
        test::writeBytes(rig.station->files().pathOf("\\ParamSt.ini"), "7\r\n8\r\nx9\r\n");
        click("ReadParamHdd");
        QCOMPARE(editor.values().mid(0, 4), (QStringList{"7", "8", "x9", "0"}));
        QCOMPARE(editor.values().mid(3), QStringList(29, "0"));
        QCOMPARE(form->findChild<QLabel*>("LabelSource")->text(), QString("Loaded from ParamSt.ini"));
        click("ParamZero");
        QCOMPARE(editor.values(), QStringList(32, "0"));

        ValeurDesParam* readOut = rig.window->openValeurDesParam(true);
        QTest::mouseClick(readOut->findChild<QPushButton*>("LireLP3"), Qt::LeftButton);
        QMessageBox* box = lastWarning(rig.window.get());
        QVERIFY(box);
        QCOMPARE(box->text(), QString("The Port Com3 is not activated ! "));
        QCOMPARE(readOut->findChild<QListWidget*>("List3")->count(), 0);

        // A register takes 0 to 255 through the Saisie form.
        auto* text50 = form->findChild<QLineEdit*>("Text50");
        const QString range = "Input error, Value < Min or > Max ";
        const struct {
            const char* typed;
            const char* stored; // what the register holds after: refused entries keep the last
            QString refusal;
        } cases[] = {{"256", "0", range}, {"0", "0", {}},     {"99", "99", {}},     {"10000", "99", range},
                     {"", "99", range},   {"255", "255", {}}, {"-5", "255", "Input error, use number 0-9"},
                     {"007", "7", {}}};
        for (const auto& c : cases) {
            QTest::mouseClick(text50, Qt::LeftButton);
            auto* saisie = rig.get<Saisie>("Saisie");
            QVERIFY(saisie && saisie->isVisible());
            QCOMPARE(saisie->findChild<QLabel*>("LabelHint")->text(), QString("Register 18: z1 Generator Start Delay"));
            saisie->findChild<QLineEdit*>("Text1")->setText(c.typed);
            QTest::mouseClick(saisie->findChild<QPushButton*>("ValidationSaisie"), Qt::LeftButton);
            QCOMPARE(saisie->isVisible(), !c.refusal.isEmpty());
            if (!c.refusal.isEmpty()) {
                QVERIFY(saisie->messageBox());
                QCOMPARE(saisie->messageBox()->text(), c.refusal);
                saisie->messageBox()->close();
                QTest::mouseClick(saisie->findChild<QPushButton*>("AnnulerSaisie"), Qt::LeftButton);
            }
            QCOMPARE(text50->text(), QString(c.stored));
        }
        click("CDMQuitter");
        QVERIFY(!form->isVisible());
    }
};

TARVEK_TEST(ParameterWindowsTest)
#include "tst_parameter_windows.moc"
