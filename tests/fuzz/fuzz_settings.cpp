// libFuzzer: the settings-file reader (lines, quotes, numbers) on any bytes a file may hold,
// in memory: the reader takes any QIODevice.
#include "settings/settings_files.h"

#include <QBuffer>

#include <cstdint>
#include <cstdlib>

using namespace tarvek;

namespace {
void check(bool ok)
{
    if (!ok)
        std::abort();
}

ReadLines readAll(QByteArray bytes, qint64 limit)
{
    QBuffer in(&bytes);
    // Unbuffered: a device buffer allocated for each input would cost more than the reading.
    in.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    return SettingsFiles::readLines(in, limit);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // A small limit, so that inputs (up to 640 bytes, see scripts/fuzz.sh) cross it often.
    constexpr qint64 kLimit = 512;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const ReadLines lines = readAll(bytes, kLimit);

    // A file within the limit is read whole, one value a line; a longer one is cut and said so.
    check(lines.tooLong == (bytes.size() > kLimit));
    qsizetype kept = 0;
    for (const QString& v : lines.values)
        kept += v.size();
    check(kept <= kLimit);
    if (!lines.tooLong)
        check(lines.values.size() == bytes.count('\n') + (bytes.isEmpty() || bytes.endsWith('\n') ? 0 : 1));

    for (const QString& v : lines.values) {
        // A number reads back the same once written out.
        if (const auto n = SettingsFiles::toNumber(v))
            check(SettingsFiles::toNumber(QString::number(*n)) == n);
    }

    // What the station writes in quotes, it reads back unchanged.
    const QByteArray quoted = SettingsFiles::render(lines.values, LineFormat::Quoted);
    check(readAll(quoted, quoted.size()).values == lines.values);
    return 0;
}
