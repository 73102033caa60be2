#include "recording/history.h"

#include "settings/settings_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QSaveFile>
#include <QStringDecoder>

#include <algorithm>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace tarvek {

namespace {

const QByteArray kLineEnd = QByteArrayLiteral("\r\n");

// Lines written by this station are UTF-8; a line that is not (an older journal in the
// Windows code page) is shown as Latin-1 rather than with replacement characters.
QString decodeLine(QStringDecoder& utf8, QByteArrayView raw)
{
    utf8.resetState();
    QString text = utf8.decode(raw);
    if (utf8.hasError())
        return QString::fromLatin1(raw);
    return text;
}

// Appends the rows of the raw lines. The usual journal is valid UTF-8 throughout and is decoded
// in one pass; otherwise each line is decoded on its own.
void appendDecoded(QStringList& rows, const QList<QByteArrayView>& raw, QStringDecoder& utf8)
{
    if (raw.isEmpty())
        return;
    const char* begin = raw.first().data();
    const char* end = raw.last().data() + raw.last().size();
    const QString text = utf8.decode(QByteArrayView(begin, end - begin));
    if (utf8.hasError()) {
        for (const QByteArrayView line : raw)
            rows.append(decodeLine(utf8, line));
        return;
    }
    // Same cut as the raw lines: '\n' ends a line, one '\r' before it belongs to the line end.
    qsizetype from = 0;
    for (qsizetype i = 0; i < raw.size(); ++i) {
        qsizetype stop = text.indexOf(QLatin1Char('\n'), from);
        const qsizetype next = stop < 0 ? text.size() : stop + 1;
        if (stop < 0)
            stop = text.size();
        if (stop > from && text.at(stop - 1) == QLatin1Char('\r'))
            --stop;
        rows.append(text.sliced(from, stop - from));
        from = next;
    }
}

// Pushes the bytes past the operating system's cache; a power cut must not eat a closed line.
void syncToDisk(QFile& file)
{
#ifdef Q_OS_UNIX
    ::fsync(file.handle());
#else
    Q_UNUSED(file);
#endif
}

} // namespace

History::History(const SettingsFiles& files, const Clock& clock, QObject* parent)
    : QObject(parent), files_(files), clock_(clock)
{
}

QString History::path() const { return files_.pathOf(fileName()); }

QString History::formatLine(const QString& time, const QString& date, const QString& code,
                            const QString& text)
{
    const QString blanks4 = QStringLiteral("    ");
    return QStringLiteral("  ") + time + blanks4 + date + blanks4 +
           (QStringLiteral("000") + code).right(3) + blanks4 + text;
}

QString History::lineFor(const QString& code, const QString& text) const
{
    QString oneLine = text;
    oneLine.replace(QStringLiteral("\r\n"), QStringLiteral(" "));
    oneLine.replace(QLatin1Char('\r'), QLatin1Char(' '));
    oneLine.replace(QLatin1Char('\n'), QLatin1Char(' '));
    return formatLine(clock_.timeText(), clock_.dateText(), code, oneLine);
}

bool History::append(const QString& code, const QString& text)
{
    const QString line = lineFor(code, text);
    const QString file = path();
    QDir().mkpath(QFileInfo(file).absolutePath());
    QFile f(file);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Append)) {
        emit fileError(file, f.errorString());
        return false;
    }
    const QByteArray bytes = line.toUtf8() + kLineEnd;
    const bool written = f.write(bytes) == bytes.size() && f.flush();
    if (written)
        syncToDisk(f);
    f.close();
    if (!written || f.error() != QFileDevice::NoError) {
        emit fileError(file, f.errorString());
        return false;
    }
    emit appended(line);
    return true;
}

HistoryLoad History::load()
{
    HistoryLoad result;
    result.entries = listHeading();
    lineCount_ = 0;
    const QString file = path();

    QByteArray bytes;
    const bool exists = QFileInfo::exists(file);
    if (exists) {
        QFile f(file);
        if (!f.open(QIODevice::ReadOnly)) {
            result.readFailed = true;
            emit fileError(file, f.errorString());
            emit loaded(0, false);
            return result;
        }
        bytes = f.readAll();
    }

    // Cut into lines (CR LF or LF), keeping each one's bytes for the rewrite.
    QList<QByteArrayView> raw;
    raw.reserve(std::min<qsizetype>(bytes.count('\n') + 1, kMaxLines));
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    qsizetype from = 0;
    while (from < bytes.size()) {
        qsizetype end = bytes.indexOf('\n', from);
        const qsizetype next = end < 0 ? bytes.size() : end + 1;
        if (end < 0)
            end = bytes.size();
        if (end > from && bytes.at(end - 1) == '\r')
            --end;
        if (raw.size() == kMaxLines) {
            result.limitReached = true;
            break;
        }
        raw.append(QByteArrayView(bytes).sliced(from, end - from));
        from = next;
    }
    result.entries.reserve(raw.size() + result.entries.size());
    appendDecoded(result.entries, raw, utf8);
    result.lineCount = static_cast<int>(raw.size());
    lineCount_ = result.lineCount;

    // Write the journal back as the list holds it; skipped when that would not change a byte.
    QByteArray rewrite;
    rewrite.reserve(bytes.size() + raw.size());
    for (const QByteArrayView line : raw) {
        rewrite.append(line);
        rewrite.append(kLineEnd);
    }
    if (!exists || rewrite != bytes) {
        QSaveFile out(file);
        if (out.open(QIODevice::WriteOnly) && out.write(rewrite) == rewrite.size() && out.commit())
            result.rewritten = true;
        else
            emit fileError(file, out.errorString());
    }

    emit loaded(result.lineCount, result.limitReached);
    if (result.lineCount == 0)
        emit information(emptyCaption(), emptyText());
    if (result.limitReached)
        emit warning(limitCaption(), limitText());
    return result;
}

bool History::clear()
{
    const QString file = path();
    QFile f(file);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        emit fileError(file, f.errorString());
        return false;
    }
    f.close();
    lineCount_ = 0;
    emit cleared();
    return true;
}

QList<QStringList> History::paginate(const QStringList& listRows)
{
    const QStringList heading = listHeading();
    QStringList page{QString()};
    qsizetype first = 0;
    if (listRows.size() >= heading.size() && listRows.mid(0, heading.size()) == heading) {
        page += heading;
        first = heading.size();
    }
    QList<QStringList> pages;
    int onPage = 0;
    for (qsizetype i = first; i < listRows.size(); ++i) {
        if (onPage == kLinesPerPage) {
            pages.append(page);
            page = QStringList{QString(), QString(), title(), QString()};
            onPage = 0;
        }
        page.append(listRows.at(i));
        ++onPage;
    }
    pages.append(page);
    return pages;
}

bool History::print(const QList<QStringList>& pages, QPagedPaintDevice& device)
{
    QPainter painter;
    if (!painter.begin(&device))
        return false;

    // A fixed-pitch font keeps the columns of the journal aligned; it is shrunk until a full
    // page of lines fits the printable height.
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setStyleHint(QFont::Monospace);
    font.setPointSizeF(10.0);
    painter.setFont(font);
    const double height = device.height();
    const int linesOnFullPage = kHeadingLines + kLinesPerPage;
    double spacing = QFontMetricsF(painter.font(), &device).lineSpacing();
    if (spacing * linesOnFullPage > height && spacing > 0) {
        font.setPointSizeF(10.0 * height / (spacing * linesOnFullPage));
        painter.setFont(font);
        spacing = QFontMetricsF(painter.font(), &device).lineSpacing();
    }
    const double ascent = QFontMetricsF(painter.font(), &device).ascent();

    bool ok = true;
    for (qsizetype p = 0; p < pages.size() && ok; ++p) {
        if (p > 0 && !device.newPage()) {
            ok = false;
            break;
        }
        double y = ascent;
        for (const QString& line : pages.at(p)) {
            if (!line.isEmpty())
                painter.drawText(QPointF(0.0, y), line);
            y += spacing;
        }
    }
    return painter.end() && ok;
}

} // namespace tarvek
