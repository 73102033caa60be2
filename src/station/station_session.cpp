// The station's session: a refused log-in, the log-out, and the operator screen's own settings.
#include "station/station.h"

#include <algorithm>

namespace tarvek {

void Station::refuseLogIn()
{
    // Told where the operator looks and journaled; the typed text goes nowhere.
    const QString text = QStringLiteral("Wrong password: the mode is unchanged");
    history_->append(QStringLiteral("0"), QStringLiteral("Log-in refused: wrong password"));
    emit logInRefused(text);
    emit statusText(text);
}

bool Station::logOut(const QString& why)
{
    if (tables_.mode == OperatingMode::NotLoggedIn)
        return false;
    const bool service = tables_.mode == OperatingMode::Service;
    timer8_->stop();
    timer9_->stop();
    serviceCounter_ = 1;
    serviceMarker_ = false;
    quitAvailable_ = false;
    functionsAvailable_ = false;
    tables_.mode = OperatingMode::NotLoggedIn;
    modeMenuCaption_ = QStringLiteral("Start in Mode (Password)");
    const QString reason = why.isEmpty() ? QStringLiteral("Logged out") : why;
    history_->append(QStringLiteral("0"),
                     QStringLiteral("%1 (%2 mode)").arg(reason, service ? QStringLiteral("service") : QStringLiteral("user")));
    emit modeChanged(static_cast<int>(tables_.mode));
    emit statusText(reason + QStringLiteral(": log in to operate the light engines"));
    return true;
}

bool Station::setScreenSettings(const ScreenSettings& s)
{
    screen_ = s;
    screen_.userLogoutMinutes = std::clamp(screen_.userLogoutMinutes, 0, ScreenSettings::kMaxLogoutMinutes);
    idleLogout_->setMinutes(screen_.userLogoutMinutes);
    idleLogout_->setWatching(tables_.mode == OperatingMode::User);
    const bool ok = screen_.save(files_);
    if (!ok)
        emit warning(QStringLiteral(" Warning!"),
                     QStringLiteral("Cannot write ") + files_.pathOf(QString::fromLatin1(ScreenSettings::kFileName)));
    emit screenSettingsChanged();
    return ok;
}


void Station::tellNotAtRest(const QString& purpose)
{
    const int engine = tables_.selectedEngine;
    if (engine < 1 || engine > kEngines)
        return;
    const LightEngineRecord& r = tables_.at(engine - 1);
    const QString phase = r.everReported ? QStringLiteral("phase %1").arg(r.Phase) : QStringLiteral("no reply yet");
    emit statusText(QStringLiteral("LE%1 is not at rest (%2): stop it and wait for phase 0 %3")
                        .arg(engine)
                        .arg(phase, purpose));
}

void Station::tellQthPortsClosed()
{
    QStringList closed;
    for (int n = 1; n <= kEngines; ++n)
        if (operation_->qthChecked(n) && !operation_->portOpen(n))
            closed << QStringLiteral("LE%1").arg(n);
    if (!closed.isEmpty())
        emit statusText(QStringLiteral("QTH lamps: the port of %1 is not open: connect it with START (RS232) or check Ports ...")
                            .arg(closed.join(QStringLiteral(", "))));
}

} // namespace tarvek
