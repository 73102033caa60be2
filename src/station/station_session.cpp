// The station's session: log-in, a refused log-in, the service-mode time-out, the log-out, and the
// operator screen's own settings.
#include "station/station.h"

#include "settings/passwords.h"

#include <algorithm>

namespace tarvek {

bool Station::logIn(const QString& password)
{
    // A damaged file opens nothing: never the default passwords, never the ones held before.
    if (const QString why = files_.damage(SettingsFiles::loginFileName()); !why.isEmpty()) {
        const QString text = QStringLiteral("The password file cannot be read (it %1): ask the administrator "
                                            "to reset it with --reset-passwords")
                                 .arg(why);
        if (!loginDamageTold_)
            history_->append(QStringLiteral("0"), text);
        loginDamageTold_ = true;
        emit logInRefused(text);
        emit statusText(text);
        emit statusText(text);
        return false;
    }
    loginDamageTold_ = false;
    // The file is read on every attempt so a password changed on disk takes effect at once.
    std::array<QString, 2> records = settings_.passwords;
    files_.readStrings(SettingsFiles::loginFileName(), records);
    settings_.passwords = records;

    // The attempt is judged while the mode reads "no valid log-in"; a failed one puts back what was.
    const OperatingMode before = tables_.mode;
    tables_.mode = OperatingMode::NotLoggedIn;

    const bool user = passwords::matches(records[0], password);
    const bool service = passwords::matches(records[1], password);
    if (!user && !service) {
        tables_.mode = before;
        refuseLogIn();
        return false;
    }
    // A station whose two passwords are the same logs in to service mode, the later check.
    grantMode(user, service, before);
    return true;
}

void Station::enterMode(OperatingMode mode)
{
    grantMode(mode == OperatingMode::User, mode == OperatingMode::Service);
}

void Station::grantMode(bool user, bool service, std::optional<OperatingMode> loggedInFrom)
{
    if (user) {
        tables_.mode = OperatingMode::User;
        timer8_->stop();
        timer9_->stop();
        serviceCounter_ = 1;
        serviceMarker_ = false;
        // A log-in only makes menus available: what an earlier log-in gave stays.
        functionsAvailable_ = functionsAvailable_ || software_.userModeOption;
        if (software_.userModeOption)
            modeMenuCaption_ = QStringLiteral("Start in Service Mode");
    }
    if (service) {
        tables_.mode = OperatingMode::Service;
        serviceMarker_ = software_.serviceModeOption;
        functionsAvailable_ = functionsAvailable_ || software_.serviceModeOption;
        quitAvailable_ = quitAvailable_ || software_.serviceModeOption;
        modeMenuCaption_ = QStringLiteral("Start in User Mode");
        serviceCounter_ = 1;
        timer8_->start();
        timer9_->start();
    }
    if (loggedInFrom) {
        const bool inService = tables_.mode == OperatingMode::Service;
        history_->append(QStringLiteral("0"),
                         QStringLiteral("Logged in (%1 mode)%2")
                             .arg(inService ? QStringLiteral("service") : QStringLiteral("user"),
                                  *loggedInFrom == OperatingMode::Service && !inService ? QStringLiteral(": service mode ended")
                                                                                        : QString()));
    }
    emit modeChanged(static_cast<int>(tables_.mode));
}

QString Station::changePassword(int record, const QString& password, const QString& again)
{
    if (tables_.mode != OperatingMode::Service || record < 0 || record > 1)
        return QStringLiteral("Passwords are changed in service mode.");
    std::array<QString, 2> records = settings_.passwords;
    files_.readStrings(SettingsFiles::loginFileName(), records);
    const auto r = static_cast<std::size_t>(record);
    const QString refused = passwords::refusal(password, again, records[1 - r]);
    if (!refused.isEmpty())
        return refused;
    records[r] = passwords::hashRecord(password);
    // A file that cannot be replaced is also reported on the status line and in List4.
    if (!files_.writeValues(SettingsFiles::loginFileName(), {records[0], records[1]}, LineFormat::Quoted))
        return QStringLiteral("Cannot write the log-in file.");
    settings_.passwords = records;
    const QString changed = record == 0 ? QStringLiteral("The user password was changed")
                                        : QStringLiteral("The service password was changed");
    history_->append(QStringLiteral("0"), changed);
    emit statusText(changed);
    return {};
}

void Station::serviceTick()
{
    if (software_.serviceTimeOut >= serviceCounter_) {
        ++serviceCounter_;
        timer9_->start();
        return;
    }
    enterUserMode();
}

void Station::enterUserMode()
{
    timer8_->stop();
    timer9_->stop();
    tables_.mode = OperatingMode::User;
    modeMenuCaption_ = QStringLiteral("Start in Service Mode");
    serviceCounter_ = 1;
    serviceMarker_ = false;
    quitAvailable_ = false;
    functionsAvailable_ = software_.userModeOption;
    const QString text = QStringLiteral("Service mode timed out: back in user mode");
    history_->append(QStringLiteral("0"), text);
    emit statusText(text);
    emit modeChanged(static_cast<int>(tables_.mode));
}

void Station::serviceNotice()
{
    if (tables_.mode != OperatingMode::Service)
        return;
    const int left = software_.serviceTimeOut - serviceCounter_ + 2;
    emit statusText(QStringLiteral("Service mode: about %1 min left").arg(left));
}

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
