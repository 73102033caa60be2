#include "settings/settings_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <optional>

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

const std::vector<SettingsFileSpec>& SettingsFiles::index()
{
    using L = LineFormat;
    static const std::vector<SettingsFileSpec> files = {
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
    };
    return files;
}

const SettingsFileSpec* SettingsFiles::entry(const QString& name)
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
    const QString t = line.trimmed();
    if (t.size() >= 2 && t.startsWith('"') && t.endsWith('"'))
        return t.mid(1, t.size() - 2);
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

QStringList SettingsFiles::readValues(const QString& name)
{
    ensure(name);
    QFile file(pathOf(name));
    QStringList values;
    if (!file.open(QIODevice::ReadOnly)) {
        emit fileError(name, file.errorString());
        return values;
    }
    const QByteArray all = file.readAll();
    QList<QByteArray> lines = all.split('\n');
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast(); // the final line end does not start another value
    for (const QByteArray& line : lines)
        values << unquote(QString::fromLatin1(line));
    return values;
}

int SettingsFiles::readNumbers(const QString& name, std::span<int> values)
{
    const QStringList lines = readValues(name);
    int read = 0;
    for (std::size_t i = 0; i < values.size() && i < static_cast<std::size_t>(lines.size()); ++i) {
        const auto n = toNumber(lines[static_cast<int>(i)]);
        if (n)
            values[i] = *n;
        else
            emit malformedValue(name, static_cast<int>(i) + 1, lines[static_cast<int>(i)]);
        ++read;
    }
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
    if (!file.open(QIODevice::WriteOnly)) {
        emit fileError(name, file.errorString());
        return false;
    }
    file.write(render(values, format));
    if (!file.commit()) {
        emit fileError(name, file.errorString());
        return false;
    }
    return true;
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

} // namespace tarvek
