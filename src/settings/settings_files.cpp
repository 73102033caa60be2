#include "settings/settings_files.h"

#include "recording/clock.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <optional>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

namespace tarvek {

namespace {
QStringList repeat(const QString& value, int count)
{
    QStringList lines;
    for (int i = 0; i < count; ++i)
        lines << value;
    return lines;
}

QStringList coefficientDefaults()
{
    // Twelve rows of offset, factor, decimals: LPC, LFC, VIS, IR, RH, SBV, VCC, MAT, SHT, M, V1, V2.
    // The battery row scales its reading by four with two decimals.
    QStringList lines;
    for (int row = 0; row < 12; ++row)
        lines << (row == 5 ? QStringList{"0", "4", "2"} : QStringList{"0", "1", "0"});
    return lines;
}

QStringList registerDefaults()
{
    return {"0",  "0",  "0",  "0", "0", "0",  "0",  "0",  "16", "0",   "0",
            "0",  "0",  "0",  "0", "0", "0",  "0",  "50", "20", "15",  "3",
            "0",  "50", "35", "70", "115", "25", "60", "0", "50", "15"};
}
} // namespace

SettingsFiles::SettingsFiles(const QString& folder, const QString& loginFile, QObject* parent)
    : QObject(parent), folder_(QDir::cleanPath(folder)), loginFile_(loginFile)
{
    if (loginFile_.isEmpty()) {
#ifdef Q_OS_WIN
        loginFile_ = QStringLiteral("C:/WINDOWS/system32/Name.inc");
#else
        loginFile_ = folder_ + QStringLiteral("/Name.inc");
#endif
    }
}

QString SettingsFiles::loginFileName()
{
    return QStringLiteral("C:\\WINDOWS\\system32\\Name.inc");
}

const std::vector<SettingsFileEntry>& SettingsFiles::index()
{
    using L = LineFormat;
    static const std::vector<SettingsFileEntry> files = {
        {"\\ConsignePW.ini", L::Plain, repeat("50", 6), true},
        {"\\StatusHalogen.ini", L::Plain, repeat("0", 6), true},
        {"\\ParamComx.ini", L::Quoted, repeat("0", 12), true},
        {"\\Consigne.ini", L::Plain, {"220"}, true},
        {"\\ConsSliderLCF.ini", L::Plain, QStringList{"130", "30"} + repeat("0", 7), true},
        {"\\NS.ini", L::Plain, {"1.01", "0", "0", "1"}, true},
        // File type flag, then the column flags 0..16.
        {"\\TypeFile.ini", L::Plain, repeat("0", 18), true},
        {"\\CocheSelect.ini", L::Plain, {"1"}, true},
        {"\\Coefficients.ini", L::Plain, coefficientDefaults(), true},
        {"\\StartHalogen.ini", L::Plain, {"0"}, true},
        {"\\Histo.txt", L::Text, {}, true},
        {"\\ParamSt.ini", L::Plain, registerDefaults(), true},
        {loginFileName(), L::Quoted, {"harvests", "dolphin"}, true},
        {"\\SHTConsigne.ini", L::Plain, {"40"}, true},
        {"\\SHTPCStatusHal.ini", L::Plain, QStringList{"1"} + repeat("0", 10) + QStringList{"1"} +
                                               repeat("0", 8), true},
        {"\\ParamLogStart.ini", L::Plain, {}, false},
        {"\\Display.ini", L::Plain, {"14"}, false},
        // The plant view: publishing off, broker 127.0.0.1:1883; an empty station name is the host's.
        {"\\Plant.ini", L::Quoted, {"0", "127.0.0.1", "1883", "", "", "", ""}, false},
    };
    return files;
}

const SettingsFileEntry* SettingsFiles::entry(const QString& name)
{
    for (const auto& s : index())
        if (s.name == name || s.name == name.trimmed())
            return &s;
    return nullptr;
}

QString SettingsFiles::pathOf(const QString& name) const
{
    if (name == loginFileName())
        return loginFile_;
    QString file = name.trimmed(); // "\Consigne.ini " loses its trailing blank, as on Windows
    while (file.startsWith('\\') || file.startsWith('/'))
        file.remove(0, 1);
    file.replace('\\', '/');
    return folder_ + '/' + file;
}

std::optional<SettingsFiles::Stamp> SettingsFiles::stamp(const QString& name) const
{
#ifdef Q_OS_UNIX
    // QFileInfo keeps the times to the millisecond: a change of the same size within one would pass.
    struct stat st{};
    if (::stat(QFile::encodeName(pathOf(name)).constData(), &st) == 0)
        return Stamp{static_cast<qint64>(st.st_dev), static_cast<qint64>(st.st_ino), static_cast<qint64>(st.st_size),
                     static_cast<qint64>(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec,
                     static_cast<qint64>(st.st_ctim.tv_sec) * 1'000'000'000 + st.st_ctim.tv_nsec};
#else
    Q_UNUSED(name);
#endif
    return std::nullopt;
}

QByteArray SettingsFiles::render(const QStringList& values, LineFormat format)
{
    QByteArray bytes;
    for (const QString& v : values) {
        if (format == LineFormat::Quoted)
            bytes += '"' + v.toLatin1() + '"';
        else
            bytes += v.toLatin1();
        bytes += "\r\n";
    }
    return bytes;
}

QString SettingsFiles::unquote(QString line)
{
    while (line.endsWith('\r') || line.endsWith('\n'))
        line.chop(1);
    const QStringView t = QStringView(line).trimmed();
    if (t.size() >= 2 && t.startsWith(u'"') && t.endsWith(u'"'))
        return t.mid(1, t.size() - 2).toString();
    return line;
}

std::optional<int> SettingsFiles::toNumber(const QString& value)
{
    bool ok = false;
    const QString t = unquote(value).trimmed();
    const int n = t.toInt(&ok);
    if (ok)
        return n;
    const double d = t.toDouble(&ok);
    if (ok && d > -2147483648.0 && d < 2147483647.0)
        return static_cast<int>(d < 0 ? d - 0.5 : d + 0.5);
    return std::nullopt;
}

bool SettingsFiles::ensure(const QString& name)
{
    const QString path = pathOf(name);
    if (QFileInfo::exists(path))
        return true;
    QDir().mkpath(QFileInfo(path).absolutePath());
    const auto* s = entry(name);
    if (!s)
        return writeValues(name, {}, LineFormat::Plain);
    return writeValues(name, s->defaults, s->format);
}

void SettingsFiles::ensureAll()
{
    for (const auto& s : index())
        if (s.createdAtStart)
            ensure(s.name);
}

QString SettingsFiles::damage(const QString& name) const
{
    QFile file(pathOf(name));
    if (!file.open(QIODevice::ReadOnly))
        return {}; // missing or unreadable: told by the reader
    const QByteArray head = file.read(kMaxFileBytes);
    const auto* s = entry(name);
    const bool mayBeEmpty = s ? s->defaults.isEmpty() : name != loginFileName();
    if (head.isEmpty())
        return mayBeEmpty ? QString() : QStringLiteral("is empty");
    for (const char c : head)
        if (static_cast<unsigned char>(c) < 0x20 && c != '\r' && c != '\n' && c != '\t')
            return QStringLiteral("holds bytes that are not text");
    if (name == loginFileName()) {
        int records = 0;
        for (const QByteArray& line : head.split('\n'))
            records += unquote(QString::fromLatin1(line)).trimmed().isEmpty() ? 0 : 1;
        if (records < 2)
            return QStringLiteral("does not hold two passwords");
    }
    return {};
}

QString SettingsFiles::repair(const QString& name, const QString& why)
{
    const QString path = pathOf(name);
    const QDateTime now = clock_ ? clock_->now() : QDateTime::currentDateTime();
    const QString aside = path + QStringLiteral(".damaged-") + now.toString(QStringLiteral("yyyy-MM-dd-HHmmss"));
    if (!QFile::rename(path, aside)) {
        report(name, Op::Read, QStringLiteral("%1 %2 and cannot be kept aside; the values held are kept")
                                   .arg(QDir::toNativeSeparators(path), why));
        return {};
    }
    const auto* s = entry(name);
    writeValues(name, s ? s->defaults : QStringList{}, s ? s->format : LineFormat::Plain);
    report(name, Op::Read, QStringLiteral("%1 %2: kept aside as %3 and written again with its defaults")
                               .arg(QDir::toNativeSeparators(path), why, QFileInfo(aside).fileName()));
    return aside;
}

ReadLines SettingsFiles::readLines(QIODevice& in, qint64 limit)
{
    ReadLines out;
    qint64 total = 0;
    QByteArray buffer(static_cast<qsizetype>(limit) + 1, Qt::Uninitialized); // one line at most
    while (total < limit) {
        // At most the room left (readLine keeps one byte of its size for a terminator).
        const qint64 n = in.readLine(buffer.data(), limit - total + 1);
        if (n <= 0)
            break;
        total += n;
        const QLatin1StringView line(buffer.constData(), static_cast<qsizetype>(n));
        if (!line.endsWith('\n') && !in.atEnd()) {
            out.tooLong = true; // the line goes on past the limit: the cut part is no value
            return out;
        }
        out.values << unquote(QString(line));
    }
    out.tooLong = !in.atEnd();
    return out;
}

ReadLines SettingsFiles::read(const QString& name, bool& clean)
{
    ensure(name);
    clean = false;
    if (const QString why = damage(name); !why.isEmpty()) {
        // The passwords never fall back to their defaults: that would open the station to anyone
        // who can spoil the file.
        if (name == loginFileName()) {
            report(name, Op::Read, QStringLiteral("The password file %1 cannot be read: it %2; log-in is "
                                                  "refused until it is reset with --reset-passwords")
                                       .arg(QDir::toNativeSeparators(pathOf(name)), why));
            return {};
        }
        // A file of the index gets its defaults back; another file's owner judges its lines
        // (a port map read as defaults would open other devices).
        if (entry(name))
            repair(name, why);
        else
            report(name, Op::Read, QStringLiteral("%1 %2").arg(QDir::toNativeSeparators(pathOf(name)), why));
    }
    QFile file(pathOf(name));
    if (!file.open(QIODevice::ReadOnly)) {
        emit fileError(name, file.errorString());
        report(name, Op::Read,
               QStringLiteral("Cannot read %1: %2").arg(QDir::toNativeSeparators(file.fileName()), file.errorString()));
        return {};
    }
    ReadLines lines = readLines(file);
    if (lines.tooLong) {
        emit fileError(name, QStringLiteral("longer than %1 KiB").arg(kMaxFileBytes / 1024));
        report(name, Op::Read, QStringLiteral("%1 is longer than %2 KiB: only its first lines were read")
                                   .arg(QDir::toNativeSeparators(file.fileName()))
                                   .arg(kMaxFileBytes / 1024));
    }
    clean = !lines.tooLong;
    return lines;
}

QStringList SettingsFiles::readValues(const QString& name)
{
    bool clean = false;
    ReadLines lines = read(name, clean);
    if (clean)
        settle(name, Op::Read);
    return lines.values;
}

int SettingsFiles::readNumbers(const QString& name, std::span<int> values)
{
    bool clean = false;
    const QStringList lines = read(name, clean).values;
    int read = 0;
    for (std::size_t i = 0; i < values.size() && i < static_cast<std::size_t>(lines.size()); ++i) {
        const QString& text = lines[static_cast<int>(i)];
        if (const auto n = toNumber(text)) {
            values[i] = *n;
        } else {
            clean = false;
            emit malformedValue(name, static_cast<int>(i) + 1, text);
            report(name, Op::Read, QStringLiteral("%1 line %2: \"%3\" is not a number; the value held is kept")
                                       .arg(QDir::toNativeSeparators(pathOf(name)))
                                       .arg(i + 1)
                                       .arg(text.left(40)));
        }
        ++read;
    }
    if (clean)
        settle(name, Op::Read);
    return read;
}

int SettingsFiles::readStrings(const QString& name, std::span<QString> values)
{
    const QStringList lines = readValues(name);
    int read = 0;
    for (std::size_t i = 0; i < values.size() && i < static_cast<std::size_t>(lines.size()); ++i) {
        values[i] = lines[static_cast<int>(i)];
        ++read;
    }
    return read;
}

bool SettingsFiles::writeValues(const QString& name, const QStringList& values, LineFormat format)
{
    const QString path = pathOf(name);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    const QByteArray bytes = render(values, format);
    // The bytes wait in the file's buffer until flushed; a disk that is full refuses them only
    // then, and a commit after a failed flush would put an empty file in place of the old one.
    // So the flush is checked before the new file may replace the old.
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush() && file.commit()) {
        settle(name, Op::Write);
        return true;
    }
    // The reason is the system's ("No space left on device"); the unfinished copy goes with `file`.
    const QString reason = file.errorString();
    emit fileError(name, reason);
    report(name, Op::Write, QStringLiteral("Cannot write %1: %2; the file keeps its old values")
                                .arg(QDir::toNativeSeparators(path), reason));
    return false;
}

bool SettingsFiles::writeValues(const QString& name, const QStringList& values)
{
    const auto* s = entry(name);
    return writeValues(name, values, s ? s->format : LineFormat::Plain);
}

bool SettingsFiles::writeNumbers(const QString& name, std::span<const int> values)
{
    QStringList lines;
    for (int v : values)
        lines << QString::number(v);
    return writeValues(name, lines);
}

void SettingsFiles::report(const QString& name, Op op, const QString& text)
{
    auto& seen = reported_[name + (op == Op::Read ? QLatin1Char('<') : QLatin1Char('>'))];
    if (seen.contains(text))
        return;
    seen.insert(text);
    emit problem(text);
}

void SettingsFiles::settle(const QString& name, Op op)
{
    reported_.remove(name + (op == Op::Read ? QLatin1Char('<') : QLatin1Char('>')));
}

} // namespace tarvek
