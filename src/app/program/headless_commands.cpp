#include "app/program/headless_commands.h"

#include "app/alarms/messages_error.h"
#include "app/common/question_window.h"
#include "app/main_window/log_window.h"
#include "app/main_window/page_tabs.h"
#include "app/program/command_line.h"
#include "app/recording/datalogger_form.h"
#include "app/recording/graphique_screen.h"
#include "app/recording/histo_window.h"
#include "app/recording/trend_graph.h"
#include "app/service/change_password_form.h"
#include "app/service/coefficients_form.h"
#include "app/service/espion_start_form.h"
#include "app/service/fadec_parameters.h"
#include "app/service/protocol_trace_window.h"
#include "app/service/tests_materiel_form.h"
#include "app/service/usures_form.h"
#include "app/service/valeur_des_param.h"
#include "app/settings/configuration_rs232.h"
#include "app/settings/software_settings_form.h"
#include "app/setpoints/pw6_sliders.h"
#include "app/setpoints/saisie.h"
#include "historian/historian_export.h"
#include "historian/historian_store.h"
#include "maintenance/parameter_editor.h"
#include "maintenance/protocol_trace.h"
#include "serial/com_map.h"
#include "serial/device_check.h"
#include "serial/port_setup.h"
#include "settings/display_coefficients.h"
#include "settings/settings_files.h"
#include "setpoints/value_entry.h"
#include "station/engine_rows.h"
#include "station/station.h"

#include <QAbstractButton>
#include <QAction>
#include <QCoreApplication>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QMessageBox>
#include <QSaveFile>
#include <QSerialPort>
#include <QTableView>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <numeric>
#include <span>
#include <vector>

namespace tarvek {

int resetPasswords(const Options& o)
{
    SettingsFiles files(o.folder, o.loginFile);
    QString failure;
    QObject::connect(&files, &SettingsFiles::fileError, &files,
                     [&failure](const QString&, const QString& reason) { failure = reason; });
    const QString name = SettingsFiles::loginFileName();
    const QString path = QDir::toNativeSeparators(files.pathOf(name));
    const bool existed = QFileInfo::exists(files.pathOf(name));
    const QString aside = existed ? files.repair(name, QStringLiteral("is reset")) : QString();
    if (!(existed ? !aside.isEmpty() : files.ensure(name)) || !failure.isEmpty()) {
        std::fprintf(stderr, "tarvek-station: cannot reset the password file %s: %s\n", qPrintable(path),
                     qPrintable(failure.isEmpty() ? QStringLiteral("it cannot be moved aside") : failure));
        return 1;
    }
    std::printf("The password file %s holds the default passwords again%s.\n"
                "Log in to service mode and set new ones (Functions, Change Password).\n",
                qPrintable(path),
                qPrintable(aside.isEmpty() ? QString()
                                           : QStringLiteral("; the old one is kept as ") + QDir::toNativeSeparators(aside)));
    return 0;
}

namespace {
// A settings file's numbers when the file is there; nothing is created in the folder read.
// Returns how many lines it read.
int readIfPresent(const QString& path, std::span<int> values)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return 0;
    const QStringList lines = SettingsFiles::readLines(f).values;
    const int n = static_cast<int>(std::min<std::size_t>(values.size(), static_cast<std::size_t>(lines.size())));
    for (int i = 0; i < n; ++i)
        if (const auto v = SettingsFiles::toNumber(lines.at(i)))
            values[static_cast<std::size_t>(i)] = *v;
    return n;
}
} // namespace

int exportHistory(const Options& o)
{
    const QString target = QDir::toNativeSeparators(o.exportFile);
    if (const QString why = exportRefusal(o.exportFile, o.folder); !why.isEmpty())
        return usageError(QStringLiteral("--export-history: %1 %2; name a new file for the CSV").arg(target, why));
    HistorianStore store(QDir(o.folder).filePath(HistorianStore::fileName()));
    if (!store.openForReading(true)) {
        std::fprintf(stderr, "tarvek-station: cannot read the history: %s\n", qPrintable(store.lastError()));
        return 1;
    }
    // The values as the station shows them: its display coefficients, when it uses them.
    StationSettings settings;
    readIfPresent(QDir(o.folder).filePath(QStringLiteral("CocheSelect.ini")),
                  std::span<int>(&settings.displayWithCoefficients, 1));
    if (readIfPresent(QDir(o.folder).filePath(QStringLiteral("Coefficients.ini")), settings.coefficients) <
        coefficients::kValues)
        std::copy(coefficients::defaults().begin(), coefficients::defaults().end(), settings.coefficients.begin());
    // Written beside the target and renamed into place only when whole.
    QSaveFile out(o.exportFile);
    if (!out.open(QIODevice::WriteOnly)) {
        std::fprintf(stderr, "tarvek-station: cannot write %s: %s\n", qPrintable(target), qPrintable(out.errorString()));
        return 1;
    }
    std::vector<int> rows(kEngineRows);
    std::iota(rows.begin(), rows.end(), 0);
    const qint64 n = writeHistoryCsv(store, out, {o.exportEngine}, rows, o.exportFrom.toSecsSinceEpoch(),
                                     o.exportTo.toSecsSinceEpoch(), [&settings](int row, int raw) {
                                         return QString::number(engineRowValue(settings, row, raw), 'f',
                                                                engineRowDecimals(settings, row));
                                     });
    if (n < 0) {
        out.cancelWriting();
        std::fprintf(stderr, "tarvek-station: cannot read the history: %s; %s is left as it was\n",
                     qPrintable(store.lastError()), qPrintable(target));
        return 1;
    }
    if (!out.commit()) {
        std::fprintf(stderr, "tarvek-station: cannot write %s: %s\n", qPrintable(target), qPrintable(out.errorString()));
        return 1;
    }
    std::fprintf(stderr, "%lld rows written to %s\n", static_cast<long long>(n), qPrintable(target));
    return 0;
}

int checkPorts(const Options& o)
{
    SettingsFiles files(o.folder);
    StationSettings settings;
    settings.loadPorts(files);
    ComMap map;
    for (const QString& fault : map.load(files))
        std::fprintf(stderr, "%s\n", qPrintable(fault));
    map.applyOverrides(o.com);
    int refused = 0;
    for (std::size_t i = 0; i < settings.portNumbers.size(); ++i) {
        const QString number = settings.portNumbers[i].trimmed();
        if (SettingsFiles::toNumber(settings.portEnabled[i]).value_or(0) != 1) {
            std::printf("LE%d  off\n", static_cast<int>(i + 1));
            continue;
        }
        const QString device = map.deviceFor(number.toInt());
        DeviceVerdict verdict = inspectDevice(device);
        if (verdict.ok()) {
            QSerialPort port(device);
            if (!port.open(QIODevice::ReadWrite))
                verdict = explainOpenFailure(device, port.error(), port.errorString());
        }
        refused += verdict.ok() ? 0 : 1;
        std::printf("LE%d  COM%s  %s  %s\n", static_cast<int>(i + 1), qPrintable(number),
                    qPrintable(device.isEmpty() ? QStringLiteral("(no device)") : device),
                    qPrintable(PortSetup::describe(verdict, QStringLiteral("can be opened")).text));
    }
    return refused == 0 ? 0 : 1;
}

namespace {
// Every form --screenshot-form can picture, and how the main window opens it; one line a form.
// A form that shows what takes a moment (a read answered, lines recorded) is staged first, and
// opened for the picture kStageMs later.
struct ScreenshotForm {
    const char* name;
    std::function<QWidget*(LogWindow&, Station&)> open;
    std::function<void(LogWindow&, Station&)> stage = {};
};
constexpr int kStageMs = 1500;
constexpr int kModeMs = 300; // the window lays itself out for the mode entered

void click(QWidget* parent, const char* button)
{
    if (auto* b = parent ? parent->findChild<QAbstractButton*>(QString::fromLatin1(button)) : nullptr)
        b->click();
}
const std::vector<ScreenshotForm>& screenshotForms()
{
    using W = LogWindow;
    using S = Station;
    static const std::vector<ScreenshotForm> forms = {
        {"Log", [](W& w, S&) -> QWidget* { return &w; }},
        {"Graphs", [](W& w, S&) -> QWidget* {
             w.pages()->setCurrentIndex(1);
             // The picture shows a cursor too: LE1 read two thirds along what it has drawn.
             if (auto* g = w.findChild<TrendGraph*>(QStringLiteral("PictureLE1")); g && g->lastColumn() > 2)
                 g->setCursorColumn(g->lastColumn() * 2 / 3);
             return &w;
         }},
        {"ParamLogicielVB", [](W& w, S&) -> QWidget* { return w.openSoftwareSettings(); }},
        {"MessagesError", [](W& w, S&) -> QWidget* { return w.openMessagesError(); }},
        {"ChangePassword", [](W& w, S&) -> QWidget* { return w.openChangePassword(); }},
        {"GraphiqueScreen", [](W& w, S&) -> QWidget* { return w.openGraphiqueScreen(); }},
        {"PW6Sliders", [](W& w, S&) -> QWidget* { return w.openPowerSetPoints(); }},
        {"Saisie", [](W& w, S& s) -> QWidget* { s.selectEngine(1); return w.openMotorSpeedEntry(); }},
        // A speed the unit of 30 rpm rounds, as typed: the entry says what goes out.
        {"SaisieRounded", [](W& w, S& s) -> QWidget* {
             s.selectEngine(1);
             Saisie* form = w.openMotorSpeedEntry();
             if (auto* text = form ? form->findChild<QLineEdit*>(QStringLiteral("Text1")) : nullptr) {
                 text->setText(QStringLiteral("2500"));
                 s.valueEntry().edited(text->text());
             }
             return form;
         }},
        {"ConfigurationRS232", [](W& w, S&) -> QWidget* { return w.openPortConfiguration(); }},
        // STOP (RS232) answered Yes: the links closed by the operator while engines run on.
        {"LinksClosed", [](W& w, S&) -> QWidget* { return &w; },
         [](W& w, S& s) {
             s.requestLinkToggle();
             if (auto* box = w.findChild<QMessageBox*>(QStringLiteral("MessageQuestion")))
                 box->button(QMessageBox::Yes)->click();
         }},
        {"Histo", [](W& w, S&) -> QWidget* {
             HistoWindow* histo = w.openHistory();
             histo->loadList(); // what Timer1 does just after the window opens
             return histo;
         }},
        {"FenQuestion", [](W& w, S&) -> QWidget* {
             w.questions().ask(QStringLiteral(" Warning!"), QStringLiteral("STOP All LE"));
             return w.findChild<FenQuestion*>();
         }},
        {"Datalogger", [](W& w, S&) -> QWidget* { return w.openDatalogger(); }},
        {"Halogen", [](W& w, S&) { return w.openAlarmForm(QStringLiteral("Halogen")); }},
        {"SHTPC", [](W& w, S&) { return w.openAlarmForm(QStringLiteral("SHTPC")); }},
        {"ControlLfcAlarm", [](W& w, S&) { return w.openAlarmForm(QStringLiteral("ControlLfcAlarm")); }},
        {"AlarmSummary", [](W& w, S&) { return w.openAlarmForm(QStringLiteral("AlarmSummary")); }},
        {"BoiteDialogue", [](W& w, S&) { return w.openAlarmForm(QStringLiteral("BoiteDialogue")); }},
        {"FadecParameters", [](W& w, S& s) -> QWidget* {
             s.selectEngine(1);
             s.parameterEditor().paramDefault();
             return w.openFadecParameters();
         }},
        {"ValeurDesParam", [](W& w, S& s) -> QWidget* {
             QWidget* form = w.openValeurDesParam(true);
             for (int n = 1; n <= 6; ++n)
                 if (s.link().portOpen(n))
                     s.ioReadOut().read(n);
             return form;
         }},
        // The plant view's settings, as service mode opens them.
        {"PlantForm", [](W& w, S&) -> QWidget* {
             auto* entry = w.findChild<QAction*>(QStringLiteral("mnuPlant"));
             if (!entry)
                 return nullptr;
             entry->setEnabled(true);
             entry->trigger();
             return w.findChild<QDialog*>(QStringLiteral("PlantForm"));
         }},
        {"ProtocolTraceWindow", [](W& w, S&) -> QWidget* { return w.openProtocolTrace(); }},
        // The trace paused on the first reply that answers a recorded frame, shown whole below the table.
        {"TraceDetail", [](W& w, S& s) -> QWidget* {
             ProtocolTraceWindow* trace = w.openProtocolTrace();
             click(trace, "TracePause");
             auto* view = trace->findChild<QTableView*>(QStringLiteral("TraceView"));
             const ProtocolTrace& lines = s.protocolTrace();
             for (int row = 0; view && row < lines.rowCount(); ++row)
                 if (lines.entry(row).bytes.size() == kReplyLength && lines.entry(row).turnaroundUs >= 0) {
                     view->setCurrentIndex(lines.index(row, 0));
                     break;
                 }
             return trace;
         },
         [](W& w, S&) { w.openProtocolTrace(); }},
        // LE2's registers read, one emptied and one raised, Write FADEC pressed: a register going to 0
        // is asked first, with every change.
        {"FadecParametersQuestion", [](W& w, S& s) -> QWidget* {
             ParameterEditor& editor = s.parameterEditor();
             editor.setValue(20, QStringLiteral("0"));
             editor.setValue(26, QString::number(ParameterEditor::byteOf(editor.value(26)) + 5));
             click(w.findChild<FadecParameters*>(), "WriteConfig");
             return w.findChild<FenQuestion*>();
         },
         [](W& w, S& s) {
             s.selectEngine(2);
             click(w.openFadecParameters(), "ReadConfig");
         }},
        // The replay bar's list of the frames that differ from the recorded ones.
        {"ReplayDifferences", [](W& w, S&) -> QWidget* {
             click(&w, "ReplayDifferences");
             return w.findChild<QDialog*>(QStringLiteral("ReplayDifferencesList"));
         }},
        {"Coefficients", [](W& w, S&) -> QWidget* { return w.openCoefficients(); }},
        {"Usures", [](W& w, S&) -> QWidget* { return w.openUsures(); }},
        {"EspionStart", [](W& w, S& s) -> QWidget* { s.selectEngine(1); return w.openEspionStart(); }},
        // The picture shows the form itself, whatever phase LE1 is in.
        {"TestsMateriel", [](W& w, S& s) -> QWidget* {
             auto* form = new TestsMaterielForm(s.hardwareTests(), s.clock(), &w);
             form->setEngine(1);
             form->show();
             return form;
         }},
    };
    return forms;
}
} // namespace

QStringList screenshotFormNames()
{
    QStringList names;
    for (const ScreenshotForm& f : screenshotForms())
        names << QString::fromLatin1(f.name);
    return names;
}

void startForPicture(Station& station, const QList<int>& engines)
{
    for (int n : engines) {
        auto once = std::make_shared<QMetaObject::Connection>();
        const auto startAtRest = [&station, n, once](int engine, LinkState state) {
            if (engine != n || state != LinkState::Yes || station.tables().at(n - 1).Phase != 0)
                return;
            QObject::disconnect(*once);
            station.engineOperation().press(n);
        };
        *once = QObject::connect(&station, &Station::linkStateChanged, &station, startAtRest);
    }
}

int stageScreenshot(LogWindow& window, Station& station, const Options& options)
{
    if (options.screenshot.isEmpty())
        return 0;
    int wait = 0;
    if (options.screenshotMode >= 0) {
        station.enterMode(options.screenshotMode == 0 ? OperatingMode::User : OperatingMode::Service);
        wait = kModeMs;
    }
    for (const ScreenshotForm& f : screenshotForms())
        if (options.form == QLatin1String(f.name) && f.stage) {
            f.stage(window, station);
            wait = kStageMs;
        }
    return wait;
}

bool takeScreenshot(LogWindow& window, Station& station, const QString& form, const QString& file)
{
    QWidget* target = &window;
    for (const ScreenshotForm& f : screenshotForms())
        if (form == QLatin1String(f.name))
            target = f.open(window, station);
    // What the form was just given (a question's text, a row chosen) is laid out before it is drawn.
    QCoreApplication::processEvents();
    const bool ok = target && target->grab().save(file, "PNG");
    std::fprintf(stderr, ok ? "screenshot saved: %s\n" : "cannot save screenshot: %s\n",
                 qPrintable(QDir::toNativeSeparators(file)));
    return ok;
}

} // namespace tarvek
