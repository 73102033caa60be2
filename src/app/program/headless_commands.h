#pragma once
// What the station program does without showing a window: the administrator's password reset, the
// historian's export, the check of the ports, and the pictures of each window that --screenshot takes.
#include <QList>
#include <QStringList>

class QWidget;

namespace tarvek {

struct Options;
class LogWindow;
class Station;

// --reset-passwords: the log-in file gets its defaults back; the old one stays beside it.
int resetPasswords(const Options& options);
// --export-history: the historian's rows of one engine over a range as CSV.
int exportHistory(const Options& options);
// --check-ports: each enabled port's device and whether this user can open it; 0 when all can.
int checkPorts(const Options& options);

// Every window --screenshot-form can picture, by name ("Log" is the main window).
QStringList screenshotFormNames();
// --screenshot-start: each engine named is started as its START button does, once it answers at rest.
void startForPicture(Station& station, const QList<int>& engines);
// What is done a moment before the picture: the mode of --screenshot-mode entered, and what the form
// needs time for (a read answered, lines recorded, links closed). Returns the milliseconds to let
// pass before takeScreenshot, 0 when there is nothing to wait for.
int stageScreenshot(LogWindow& window, Station& station, const Options& options);
// Opens that window as the operator would and saves its picture; false when it could not.
bool takeScreenshot(LogWindow& window, Station& station, const QString& form, const QString& file);

} // namespace tarvek
