// tarvek-station: the control and monitoring station for light engines LE1..LE6.
#include "app/log_window.h"
#include "app/messages_error.h"
#include "app/software_settings_form.h"
#include "app/station.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QStandardPaths>
#include <QStyleFactory>
#include <QTimer>

#include <cstdio>

using namespace tarvek;

namespace {
// The station folder when none is given: the user's application data folder, which is writable
// on every system (the settings files, "Img" and "Datalogger" live there).
QString defaultFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
}

bool saveShot(QWidget* w, const QString& file)
{
    const bool ok = w->grab().save(file, "PNG");
    std::fprintf(stderr, ok ? "screenshot saved: %s\n" : "cannot save screenshot: %s\n",
                 qPrintable(QDir::toNativeSeparators(file)));
    return ok;
}
} // namespace

int main(int argc, char** argv)
{
    // Pictures and help need no screen: without a display they are made off screen.
    const bool headless = qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (headless && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        for (int i = 1; i < argc; ++i) {
            const QByteArray arg(argv[i]);
            if (arg.startsWith("--screenshot") || arg == "--help" || arg == "-h" || arg == "--version" ||
                arg == "-v")
                qputenv("QT_QPA_PLATFORM", "offscreen");
        }
    }
    // Qt's own event dispatcher times the 30 ms senders to a fraction of a millisecond and wakes
    // less often than the GLib one, which sleeps in whole milliseconds.
    if (qEnvironmentVariableIsEmpty("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("tarvek-station"));
    QApplication::setApplicationVersion(QString::fromLatin1(Station::kVersion).trimmed());
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Tarvek Light Engine Control station"));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption folderOption(
        QStringLiteral("folder"),
        QStringLiteral("Station folder holding the settings files, Img and Datalogger (default: %1).")
            .arg(QDir::toNativeSeparators(defaultFolder())),
        QStringLiteral("DIR"));
    const QCommandLineOption loginOption(
        QStringLiteral("login-file"),
        QStringLiteral("Log-in file with the user and service passwords (default: Name.inc in the station folder)."),
        QStringLiteral("FILE"));
    const QCommandLineOption shotOption(
        QStringLiteral("screenshot"),
        QStringLiteral("Save a PNG picture of the main window (or of --screenshot-form) once started, then exit."),
        QStringLiteral("FILE"));
    const QCommandLineOption formOption(
        QStringLiteral("screenshot-form"),
        QStringLiteral("Window to picture with --screenshot: Log (default), ParamLogicielVB or MessagesError."),
        QStringLiteral("NAME"), QStringLiteral("Log"));
    const QCommandLineOption quitOption(
        QStringLiteral("quit-after"),
        QStringLiteral("Exit after SECONDS (the screenshot is taken just before; default 2 with --screenshot)."),
        QStringLiteral("SECONDS"));
    const QCommandLineOption comOption(
        QStringLiteral("com"),
        QStringLiteral("Device for a COM number, e.g. 3=/dev/ttyUSB0; may be repeated. Overrides "
                       "ComDevices.ini in the station folder for this run."),
        QStringLiteral("N=DEVICE"));
    const QCommandLineOption statsOption(
        QStringLiteral("link-stats"),
        QStringLiteral("On exit, print each port's frames and its reply-to-frame delay inside the station."));
    parser.addOptions({folderOption, loginOption, shotOption, formOption, quitOption, comOption, statsOption});
    parser.process(app);

    const QString folder = parser.isSet(folderOption) ? parser.value(folderOption) : defaultFolder();
    if (!QDir().mkpath(folder)) {
        std::fprintf(stderr, "cannot create the station folder %s\n", qPrintable(folder));
        return 1;
    }
    const QString form = parser.value(formOption);
    if (form != QLatin1String("Log") && form != QLatin1String("ParamLogicielVB") &&
        form != QLatin1String("MessagesError")) {
        std::fprintf(stderr, "--screenshot-form: Log, ParamLogicielVB or MessagesError\n");
        return 2;
    }
    double quitAfter = -1;
    if (parser.isSet(quitOption)) {
        bool ok = false;
        quitAfter = parser.value(quitOption).toDouble(&ok);
        if (!ok || quitAfter < 0) {
            std::fprintf(stderr, "--quit-after: a number of seconds\n");
            return 2;
        }
    } else if (parser.isSet(shotOption)) {
        quitAfter = 2;
    }

    SystemClock clock;
    Station station(folder, parser.value(loginOption), clock);
    const QStringList badCom = station.setComOverrides(parser.values(comOption));
    if (!badCom.isEmpty()) {
        std::fprintf(stderr, "--com: N=DEVICE with N from 1 to 14, not %s\n", qPrintable(badCom.join(", ")));
        return 2;
    }
    LogWindow window(station);
    QObject::connect(&station, &Station::finished, &app, &QApplication::quit, Qt::QueuedConnection);
    window.show();

    int exitCode = 0;
    if (quitAfter >= 0) {
        const QString shot = parser.value(shotOption);
        QTimer::singleShot(static_cast<int>(quitAfter * 1000), &app, [&] {
            if (!shot.isEmpty()) {
                QWidget* target = &window;
                if (form == QLatin1String("ParamLogicielVB"))
                    target = window.openSoftwareSettings();
                else if (form == QLatin1String("MessagesError"))
                    target = window.openMessagesError();
                if (!saveShot(target, shot))
                    exitCode = 1;
            }
            station.quit();
        });
    }
    const int rc = app.exec();
    if (parser.isSet(statsOption)) {
        for (int k = 1; k <= 6; ++k) {
            const auto d = station.link().replyToFrameDelays(k);
            std::printf("link COM%d - frames %llu, reply to frame inside the station: median %.3f ms, "
                        "p99 %.3f ms, max %.3f ms\n",
                        k, static_cast<unsigned long long>(d.count), static_cast<double>(d.medianUs) / 1000.0,
                        static_cast<double>(d.p99Us) / 1000.0, static_cast<double>(d.maxUs) / 1000.0);
        }
        std::fflush(stdout);
    }
    return exitCode != 0 ? exitCode : rc;
}
