#pragma once
// What the station program does without showing a window: the administrator's password reset, the
// historian's export, and the pictures of each window that --screenshot takes.
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

// Every window --screenshot-form can picture, by name ("Log" is the main window).
QStringList screenshotFormNames();
// Opens that window as the operator would and saves its picture; false when it could not.
bool takeScreenshot(LogWindow& window, Station& station, const QString& form, const QString& file);

} // namespace tarvek
