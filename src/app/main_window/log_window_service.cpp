// The main window's side of the service windows: mnuCoeff opens Coefficients, mnuArdwUptime opens
// Usures, mnuEspion opens EspionStart and mnuTestMateriel opens TestsMateriel on the selected
// engine once it is at rest. All four are for service mode only.
#include "app/service/coefficients_form.h"
#include "app/service/espion_start_form.h"
#include "app/main_window/log_window.h"
#include "app/service/tests_materiel_form.h"
#include "app/service/usures_form.h"

#include <QAction>
#include <QStatusBar>

#include <array>
#include <functional>
#include <initializer_list>

namespace tarvek {

namespace {
template <class Form> Form* present(Form* form)
{
    form->show();
    form->raise();
    form->activateWindow();
    return form;
}
} // namespace

void LogWindow::wireService()
{
    const std::array<std::pair<const char*, std::function<void()>>, 4> entries{{
        {"mnuCoeff", [this] { openCoefficients(); }},
        {"mnuArdwUptime", [this] { openUsures(); }},
        {"mnuEspion", [this] { openEspionStart(); }},
        {"mnuTestMateriel", [this] { openTestsMateriel(); }},
    }};
    for (const auto& [name, open] : entries) {
        QAction* a = action(QString::fromLatin1(name));
        connect(a, &QAction::triggered, this, open);
        // They change the display, the counters' file or the engine's relays: service mode only.
        addControl(a, Access::ServiceFunctions, true);
    }
    connect(&station_.coefficients(), &CoefficientsEditor::applied, this, &LogWindow::refreshDisplay);
    // Leaving service mode (a log-in as user, the service time-out) closes them and ends a test.
    connect(&station_, &Station::modeChanged, this, [this](int mode) {
        if (mode == static_cast<int>(OperatingMode::Service))
            return;
        station_.hardwareTests().abort(QStringLiteral("service mode ended"));
        for (QDialog* form : std::initializer_list<QDialog*>{coefficientsForm_, usures_, espion_, testsMateriel_})
            if (form)
                form->close();
    });
    applyMode();
}

CoefficientsForm* LogWindow::openCoefficients()
{
    if (!coefficientsForm_)
        coefficientsForm_ = new CoefficientsForm(station_.coefficients(), station_.tables(), this);
    coefficientsForm_->reload();
    return present(coefficientsForm_.data());
}

UsuresForm* LogWindow::openUsures()
{
    if (!usures_)
        usures_ = new UsuresForm(station_, this);
    usures_->refresh();
    return present(usures_.data());
}

EspionStartForm* LogWindow::openEspionStart()
{
    if (!espion_)
        espion_ = new EspionStartForm(station_.startSpy(), station_.clock(), station_.displayTimer(), this);
    espion_->follow(station_.tables().selectedEngine);
    return present(espion_.data());
}

TestsMaterielForm* LogWindow::openTestsMateriel()
{
    const int engine = station_.tables().selectedEngine;
    if (engine < 1 || engine > kEngines) {
        statusBar()->showMessage(QStringLiteral("Select an engine first"), 10'000);
        return nullptr;
    }
    if (!station_.hardwareTests().checkPhase(engine))
        return nullptr;
    if (!testsMateriel_)
        testsMateriel_ = new TestsMaterielForm(station_.hardwareTests(), station_.clock(), this);
    testsMateriel_->setEngine(engine);
    return present(testsMateriel_.data());
}

} // namespace tarvek
