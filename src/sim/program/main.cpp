// fadec-sim: simulated FADEC controllers for the station, on pseudo-terminals or TCP ports.
#include "common/termination_signals.h"
#include "console.h"
#include "sim/simulator.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

#include <csignal>
#include <cstdio>

using namespace tarvek::sim;
using tarvek::TerminationSignals;

namespace {
void say(const QString& text)
{
    if (text.isEmpty())
        return;
    std::fputs(text.toLocal8Bit().constData(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("fadec-sim"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Simulated FADEC controllers for Tarvek Light Engine Control.\n\n"
                       "Each engine LEn answers on its own pseudo-terminal, reachable through the "
                       "link DIR/COMn (point the station's COM map at it, e.g. 1=DIR/COM1), or on "
                       "TCP port BASEPORT+n-1 with --tcp. Each engine sends a 160-character status "
                       "reply, waits for the station's 34-byte frame (repeating its status after "
                       "1 s without one), and paces its output at 19200 baud.\n\n"
                       "While running, commands are read from standard input, one a line:\n\n") +
        Simulator::helpText());
    parser.addHelpOption();
    const QCommandLineOption engines(QStringLiteral("engines"),
                                     QStringLiteral("Number of engines, 1..6 (default 6)."),
                                     QStringLiteral("N"), QStringLiteral("6"));
    const QCommandLineOption dir(QStringLiteral("dir"),
                                 QStringLiteral("Folder for the COM1..COM6 links (default ./sim-ports)."),
                                 QStringLiteral("DIR"), QStringLiteral("sim-ports"));
    const QCommandLineOption unpaced(QStringLiteral("unpaced"),
                                     QStringLiteral("Send each reply at once instead of at the line rate."));
    const QCommandLineOption tcp(QStringLiteral("tcp"),
                                 QStringLiteral("Serve engine n on TCP port BASEPORT+n-1 instead of a "
                                                "pseudo-terminal."),
                                 QStringLiteral("BASEPORT"));
    const QCommandLineOption script(QStringLiteral("script"),
                                    QStringLiteral("Run timed commands from FILE, lines \"SECONDS COMMAND\" "
                                                   "(e.g. \"2.5 fault 3 7\"); # starts a comment."),
                                    QStringLiteral("FILE"));
    const QCommandLineOption quiet(QStringLiteral("quiet"),
                                   QStringLiteral("Print only answers to commands, not phase and link events."));
    const QCommandLineOption seed(QStringLiteral("seed"),
                                  QStringLiteral("Seed of the sensor noise (default 1)."),
                                  QStringLiteral("N"), QStringLiteral("1"));
    parser.addOptions({engines, dir, unpaced, tcp, script, quiet, seed});
    parser.process(app);

    SimulatorOptions options;
    bool ok = false;
    options.engines = parser.value(engines).toInt(&ok);
    if (!ok || options.engines < 1 || options.engines > tarvek::kEngines) {
        std::fputs("fadec-sim: --engines takes 1..6\n", stderr);
        return 2;
    }
    options.directory = parser.value(dir);
    options.paced = !parser.isSet(unpaced);
    if (parser.isSet(tcp)) {
        const int base = parser.value(tcp).toInt(&ok);
        if (!ok || base < 1 || base + options.engines - 1 > 65535) {
            std::fputs("fadec-sim: --tcp takes a port number 1..65530\n", stderr);
            return 2;
        }
        options.tcpBasePort = static_cast<quint16>(base);
    }
    options.seed = parser.value(seed).toUInt(&ok);
    if (!ok) {
        std::fputs("fadec-sim: --seed takes a whole number\n", stderr);
        return 2;
    }

    Simulator simulator(options);
    const bool quietly = parser.isSet(quiet);
    QObject::connect(&simulator, &Simulator::quitRequested, &app, &QCoreApplication::quit,
                     Qt::QueuedConnection);

    QString error;
    if (parser.isSet(script) && !simulator.runScript(parser.value(script), &error)) {
        std::fprintf(stderr, "fadec-sim: %s\n", error.toLocal8Bit().constData());
        return 2;
    }
    if (!simulator.start(&error)) {
        std::fprintf(stderr, "fadec-sim: %s\n", error.toLocal8Bit().constData());
        return 1;
    }
    for (const QString& where : simulator.locations())
        say(where);
    if (!quietly)
        QObject::connect(&simulator, &Simulator::event, &app, [](const QString& text) { say(text); });

    Console console;
    QObject::connect(&console, &Console::line, &app,
                     [&simulator](const QString& text) { say(simulator.execute(text)); });
    console.listen();
    // A clean end on SIGINT, SIGTERM or SIGHUP, so the COMn links are removed.
    TerminationSignals ending({SIGINT, SIGTERM, SIGHUP});
    QObject::connect(&ending, &TerminationSignals::received, &app, [] { QCoreApplication::quit(); });
    if (!quietly)
        say(QStringLiteral("Type help for the commands."));
    return app.exec();
}
