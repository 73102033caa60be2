// The main window's side of the set-points: PowerSetPoints opens PW6Sliders, Label9 opens the
// motor-speed entry Saisie, and the " We" values follow every confirmed change.
#include "app/main_window/log_window.h"
#include "app/setpoints/pw6_sliders.h"
#include "app/setpoints/saisie.h"

#include <QPushButton>

namespace tarvek {

void LogWindow::wireSetPoints()
{
    connect(findChild<QPushButton*>(QStringLiteral("PowerSetPoints")), &QPushButton::clicked, this,
            [this] { openPowerSetPoints(); });
    connect(findChild<QPushButton*>(QStringLiteral("Label9")), &QPushButton::clicked, this,
            [this] { openMotorSpeedEntry(); });
    connect(&station_.powerSetPoints(), &PowerSetPoints::changed, this, &LogWindow::refreshDisplay);
    setWired(QStringLiteral("PowerSetPoints"));
    setWired(QStringLiteral("Label9"));
}

PW6Sliders* LogWindow::openPowerSetPoints()
{
    if (!sliders_)
        sliders_ = new PW6Sliders(station_.powerSetPoints(), station_.tables(), this);
    sliders_->reload();
    sliders_->show();
    sliders_->raise();
    sliders_->activateWindow();
    return sliders_;
}

Saisie* LogWindow::saisie()
{
    if (!saisie_)
        saisie_ = new Saisie(station_.valueEntry(), this);
    return saisie_;
}

Saisie* LogWindow::openMotorSpeedEntry()
{
    auto request = station_.powerSetPoints().motorSpeedEntry();
    if (!request)
        return nullptr;
    Saisie* form = saisie();
    station_.valueEntry().open(std::move(*request));
    return form;
}

} // namespace tarvek
