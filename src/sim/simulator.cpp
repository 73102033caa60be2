#include "sim/simulator.h"

#include "sim/pty_transport.h"
#include "sim/tcp_transport.h"

#include <QDir>
#include <QFile>
#include <QTimer>

namespace tarvek::sim {

namespace {
QString onOff(bool on) { return on ? QStringLiteral("on") : QStringLiteral("off"); }

std::optional<bool> parseOnOff(const QString& word)
{
    if (word == QLatin1String("on"))
        return true;
    if (word == QLatin1String("off"))
        return false;
    return std::nullopt;
}

std::optional<int> parseInt(const QString& word, int low, int high)
{
    bool ok = false;
    const int v = word.toInt(&ok);
    if (!ok || v < low || v > high)
        return std::nullopt;
    return v;
}

const QStringList& commandWords()
{
    static const QStringList words = {"help",    "state",     "registers", "fault",
                                      "silence", "garbage",   "drop-byte", "nosync",
                                      "type",    "block-type", "block", "keep-running", "vanish",
                                      "stall", "sht", "lfc", "qth-fault", "start", "quit"};
    return words;
}
} // namespace

Simulator::Simulator(const SimulatorOptions& options, QObject* parent)
    : QObject(parent), options_(options)
{
    const int count = std::clamp(options.engines, 1, kEngines);
    for (int n = 1; n <= count; ++n) {
        std::unique_ptr<Transport> link;
        if (options.tcpBasePort != 0)
            link = std::make_unique<TcpTransport>(static_cast<quint16>(options.tcpBasePort + n - 1));
        else
            link = std::make_unique<PtyTransport>(
                QDir(options.directory).filePath(QStringLiteral("COM%1").arg(n)));
        auto engine = std::make_unique<SimulatedEngine>(n, std::move(link),
                                                        options.seed + static_cast<std::uint32_t>(n));
        engine->setPaced(options.paced);
        SimulatedEngine* e = engine.get();
        connect(e, &SimulatedEngine::phaseChanged, this, [this, n](int from, int to) {
            emit event(QStringLiteral("LE%1 phase %2 -> %3").arg(n).arg(from).arg(to));
        });
        connect(e, &SimulatedEngine::linkChanged, this, [this, e, n](bool open) {
            emit event(QStringLiteral("LE%1 link %2: %3")
                           .arg(n)
                           .arg(open ? QStringLiteral("open") : QStringLiteral("gone"),
                                e->transport().location()));
        });
        engines_.push_back(std::move(engine));
    }
}

Simulator::~Simulator() = default;

bool Simulator::start(QString* error)
{
    for (auto& e : engines_) {
        if (!e->start()) {
            if (error)
                *error = QStringLiteral("LE%1: %2").arg(e->number()).arg(e->transport().lastError());
            return false;
        }
    }
    return true;
}

SimulatedEngine* Simulator::engine(int number) const
{
    if (number < 1 || number > engineCount())
        return nullptr;
    return engines_[static_cast<std::size_t>(number - 1)].get();
}

QStringList Simulator::locations() const
{
    QStringList lines;
    for (const auto& e : engines_)
        lines << QStringLiteral("LE%1 on %2").arg(e->number()).arg(e->transport().location());
    return lines;
}

QString Simulator::stateLine(int number) const
{
    SimulatedEngine* e = engine(number);
    if (!e)
        return {};
    e->catchUp();
    const FadecModel& m = e->model();
    const auto f = m.statusFields();
    const auto& c = m.counts();
    return QStringLiteral("LE%1 phase %2 fault %3 run %4 power %5 motor %6/%7 fans %8/%9 MAT %10 "
                          "SHT %11 LPC %12 LFC %13 qth %14 regulation %15 mode %16 | replies %17 "
                          "frames %18 writes %19 reads %20 timeouts %21 discarded %22 | silence %23 "
                          "keep-running %24 type %25 | %26")
        .arg(number)
        .arg(m.phase())
        .arg(m.faultCode())
        .arg(m.runRequest())
        .arg(m.power())
        .arg(f[pos::TachoM])
        .arg(m.motorSetPoint())
        .arg(f[pos::TachoV1])
        .arg(f[pos::TachoV2])
        .arg(f[pos::Mat])
        .arg(f[pos::Sht])
        .arg(f[pos::Lpc])
        .arg(f[pos::Lfc])
        .arg(m.qth())
        .arg(m.regulation())
        .arg(m.mode())
        .arg(c.replies)
        .arg(c.frames)
        .arg(c.parameterWrites)
        .arg(c.parameterReads)
        .arg(e->timeouts())
        .arg(e->discardedBytes())
        .arg(onOff(m.silent()), onOff(m.keepsRunning()))
        .arg(m.replyType())
        .arg(e->transport().location());
}

QString Simulator::helpText()
{
    return QStringLiteral(
        "Commands (N is an engine number):\n"
        "  help                  this list\n"
        "  state [N]             phase, fault, speeds, temperatures, counters and link of N or all\n"
        "  registers N           the 32 parameter registers of N\n"
        "  fault N CODE          report fault CODE 0..20 (0 clears; an alarm reset also clears)\n"
        "  silence N on|off      N stops replying / replies again\n"
        "  garbage N             N's next reply is line noise\n"
        "  drop-byte N [POS]     one byte (at POS 0..159, else anywhere) of N's next reply is lost\n"
        "  nosync N              N's next reply lacks the synchronisation value 123\n"
        "  type N T              N's status replies carry reply type T at position 0 (0 = normal)\n"
        "  block-type N T        N answers a parameter read with reply type T (2 = normal)\n"
        "  block N [COUNT]       N's next COUNT replies (default 1) are its register block, unasked\n"
        "  keep-running N on|off N ignores stop requests / obeys them again\n"
        "  vanish N SECONDS      N's port disappears and comes back SECONDS later\n"
        "  stall N MS [POS]      N's next reply pauses MS ms after POS characters (default 80)\n"
        "  sht N DEGREES|off     N reports its SHT temperature as DEGREES 0..255 / as the model has it\n"
        "  lfc N VALUE|off       N reports its LFC level as VALUE 0..255 / as the model has it\n"
        "  qth-fault N on|off    N's QTH relay feedback reports the opposite of the command / follows it\n"
        "  start N               N starts from its own panel, without the station (at rest only)\n"
        "  quit                  remove the links and end");
}

SimulatedEngine* Simulator::engineArgument(const QStringList& words, int at, QString* error) const
{
    if (words.size() <= at) {
        *error = QStringLiteral("error: engine number missing");
        return nullptr;
    }
    const auto n = parseInt(words[at], 1, engineCount());
    if (!n) {
        *error = QStringLiteral("error: no engine %1 (1..%2)").arg(words[at]).arg(engineCount());
        return nullptr;
    }
    return engine(*n);
}

QString Simulator::execute(const QString& line)
{
    const QStringList words = line.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.isEmpty())
        return {};
    const QString& command = words[0];
    QString error;
    auto argumentCount = [&](int wanted) {
        if (words.size() == wanted)
            return true;
        error = QStringLiteral("error: %1 takes %2 argument(s); see help").arg(command).arg(wanted - 1);
        return false;
    };

    if (command == QLatin1String("help"))
        return helpText();
    if (command == QLatin1String("quit")) {
        emit quitRequested();
        return QStringLiteral("bye");
    }
    if (command == QLatin1String("state")) {
        if (words.size() == 1) {
            QStringList lines;
            for (int n = 1; n <= engineCount(); ++n)
                lines << stateLine(n);
            return lines.join(QLatin1Char('\n'));
        }
        SimulatedEngine* e = engineArgument(words, 1, &error);
        return e && argumentCount(2) ? stateLine(e->number()) : error;
    }
    if (!commandWords().contains(command))
        return QStringLiteral("error: unknown command %1; see help").arg(command);

    SimulatedEngine* e = engineArgument(words, 1, &error);
    if (!e)
        return error;
    FadecModel& m = e->model();
    const QString le = QStringLiteral("LE%1: ").arg(e->number());

    if (command == QLatin1String("registers")) {
        if (!argumentCount(2))
            return error;
        QStringList values;
        for (int r : m.registers())
            values << QString::number(r);
        return le + values.join(QLatin1Char(' '));
    }
    if (command == QLatin1String("fault")) {
        if (!argumentCount(3))
            return error;
        const auto code = parseInt(words[2], 0, kMaxFaultCode);
        if (!code)
            return QStringLiteral("error: fault codes are 0..%1").arg(kMaxFaultCode);
        m.setFaultCode(*code);
        return le + QStringLiteral("fault code %1").arg(*code);
    }
    if (command == QLatin1String("start")) {
        if (!m.startLocally())
            return QStringLiteral("error: LE%1 is not at rest (phase %2)").arg(e->number()).arg(m.phase());
        return le + QStringLiteral("started from its panel");
    }
    if (command == QLatin1String("silence") || command == QLatin1String("keep-running")) {
        if (!argumentCount(3))
            return error;
        const auto on = parseOnOff(words[2]);
        if (!on)
            return QStringLiteral("error: say on or off");
        if (command == QLatin1String("silence"))
            m.setSilent(*on);
        else
            m.setKeepRunning(*on);
        return le + command + QLatin1Char(' ') + onOff(*on);
    }
    if (command == QLatin1String("sht") || command == QLatin1String("lfc")) {
        if (!argumentCount(3))
            return error;
        const auto value = words[2] == QLatin1String("off") ? std::optional<int>(-1) : parseInt(words[2], 0, 255);
        if (!value)
            return QStringLiteral("error: say 0..255 or off");
        if (command == QLatin1String("sht"))
            m.forceSht(*value);
        else
            m.forceLfc(*value);
        return le + command + QLatin1Char(' ') + (*value < 0 ? QStringLiteral("off") : QString::number(*value));
    }
    if (command == QLatin1String("qth-fault")) {
        if (!argumentCount(3))
            return error;
        const auto on = parseOnOff(words[2]);
        if (!on)
            return QStringLiteral("error: say on or off");
        m.setQthRelayFault(*on);
        return le + QStringLiteral("QTH relay fault ") + onOff(*on);
    }
    if (command == QLatin1String("garbage")) {
        if (!argumentCount(2))
            return error;
        m.sendGarbage();
        return le + QStringLiteral("next reply is garbage");
    }
    if (command == QLatin1String("nosync")) {
        if (!argumentCount(2))
            return error;
        m.omitSync();
        return le + QStringLiteral("next reply without synchronisation value");
    }
    if (command == QLatin1String("drop-byte")) {
        if (words.size() == 2) {
            m.dropByte();
            return le + QStringLiteral("a byte of the next reply will be lost");
        }
        if (!argumentCount(3))
            return error;
        const auto at = parseInt(words[2], 0, kReplyLength - 1);
        if (!at)
            return QStringLiteral("error: positions are 0..%1").arg(kReplyLength - 1);
        m.dropByte(*at);
        return le + QStringLiteral("byte %1 of the next reply will be lost").arg(*at);
    }
    if (command == QLatin1String("type") || command == QLatin1String("block-type")) {
        if (!argumentCount(3))
            return error;
        const auto type = parseInt(words[2], 0, 99999);
        if (!type)
            return QStringLiteral("error: reply types are 0..99999");
        if (command == QLatin1String("type")) {
            m.setReplyType(*type);
            return le + QStringLiteral("reply type %1").arg(*type);
        }
        m.setBlockType(*type);
        return le + QStringLiteral("parameter blocks of reply type %1").arg(*type);
    }
    if (command == QLatin1String("block")) {
        if (words.size() != 2 && !argumentCount(3))
            return error;
        const auto count = words.size() == 3 ? parseInt(words[2], 1, 100000) : std::optional<int>(1);
        if (!count)
            return QStringLiteral("error: block N 1..100000");
        m.sendBlocks(*count);
        return le + QStringLiteral("next %1 replies are the register block").arg(*count);
    }
    if (command == QLatin1String("stall")) {
        if (words.size() != 3 && !argumentCount(4))
            return error;
        const auto ms = parseInt(words[2], 0, 60000);
        const auto at = words.size() == 4 ? parseInt(words[3], 1, kReplyLength - 1) : std::optional<int>(80);
        if (!ms || !at)
            return QStringLiteral("error: stall N 0..60000 [1..%1]").arg(kReplyLength - 1);
        e->stallNextReply(*ms, *at);
        return le + QStringLiteral("next reply pauses %1 ms after %2 characters").arg(*ms).arg(*at);
    }
    // vanish
    if (!argumentCount(3))
        return error;
    bool ok = false;
    const double seconds = words[2].toDouble(&ok);
    if (!ok || seconds < 0 || seconds > 3600)
        return QStringLiteral("error: vanish for 0..3600 seconds");
    e->vanish(static_cast<int>(seconds * 1000));
    return le + QStringLiteral("port gone for %1 s").arg(seconds);
}

bool Simulator::runScript(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    struct Step {
        int ms;
        QString command;
    };
    std::vector<Step> steps;
    int lineNumber = 0;
    while (!file.atEnd()) {
        ++lineNumber;
        const QString line = QString::fromUtf8(file.readLine()).simplified();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const qsizetype blank = line.indexOf(QLatin1Char(' '));
        bool ok = false;
        const double seconds = line.left(blank).toDouble(&ok);
        const QString command = blank > 0 ? line.mid(blank + 1) : QString();
        if (!ok || seconds < 0 || command.isEmpty() ||
            !commandWords().contains(command.section(QLatin1Char(' '), 0, 0))) {
            *error = QStringLiteral("%1:%2: expected \"SECONDS COMMAND\", got \"%3\"")
                         .arg(path)
                         .arg(lineNumber)
                         .arg(line);
            return false;
        }
        steps.push_back({static_cast<int>(seconds * 1000), command});
    }
    for (const Step& s : steps) {
        QTimer::singleShot(s.ms, this, [this, s] {
            emit event(QStringLiteral("script %1 s: %2\n%3")
                           .arg(s.ms / 1000.0)
                           .arg(s.command, execute(s.command)));
        });
    }
    return true;
}

} // namespace tarvek::sim
