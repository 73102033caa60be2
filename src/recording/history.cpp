#include "recording/history.h"

#include "recording/named_timer.h"
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
#include <utility>

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

// Cuts bytes into lines (CR LF or LF); `total` is how many.
QList<QByteArrayView> cutLines(const QByteArray& bytes, qsizetype& total)
{
    QList<QByteArrayView> raw;
    raw.reserve(bytes.count('\n') + 1);
    qsizetype from = 0;
    while (from < bytes.size()) {
        qsizetype end = bytes.indexOf('\n', from);
        const qsizetype next = end < 0 ? bytes.size() : end + 1;
        if (end < 0)
            end = bytes.size();
        if (end > from && bytes.at(end - 1) == '\r')
            --end;
        raw.append(QByteArrayView(bytes).sliced(from, end - from));
        from = next;
    }
    total = raw.size();
    return raw;
}

QByteArray encode(const QStringList& lines)
{
    QByteArray bytes;
    for (const QString& line : lines)
        bytes += line.toUtf8() + kLineEnd;
    return bytes;
}

} // namespace

History::History(const SettingsFiles& files, const Clock& clock, QObject* parent)
    : QObject(parent), files_(files), clock_(clock)
{
    retry_ = namedTimer(this, QStringLiteral("TimerHistoRetry"), kRetryMs, true);
    connect(retry_, &QTimer::timeout, this, &History::writeHeld);
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
    held_.append(lineFor(code, text));
    return writeHeld();
}

bool History::writeHeld()
{
    if (held_.isEmpty())
        return true;
    const QString file = path();
    QDir().mkpath(QFileInfo(file).absolutePath());
    // Unbuffered: a refused write is seen at write(), and cut back so no torn line stays behind.
    QFile f(file);
    bool written = false;
    QString reason;
    if (f.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
        const qint64 before = f.size();
        const QByteArray bytes = encode(held_);
        written = f.write(bytes) == bytes.size();
        if (written) {
            syncToDisk(f);
        } else {
            reason = f.errorString();
            f.resize(before);
        }
    } else {
        reason = f.errorString();
    }
    if (!written) {
        if (!failing_)
            emit problem(QStringLiteral("Cannot write the history %1: %2; its lines are held and written as soon as it can be")
                             .arg(QDir::toNativeSeparators(file), reason));
        failing_ = true;
        retry_->start();
        return false;
    }
    const QStringList lines = std::exchange(held_, {});
    retry_->stop();
    for (const QString& line : lines)
        emit appended(line);
    if (failing_)
        emit recovered(QStringLiteral("The history is written again: %1 held line(s) added to %2")
                           .arg(lines.size())
                           .arg(QDir::toNativeSeparators(file)));
    failing_ = false;
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

    // The newest kMaxLines lines are shown; the older ones stay in the file.
    qsizetype total = 0;
    QList<QByteArrayView> raw = cutLines(bytes, total);
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    if (total > kMaxLines) {
        result.limitReached = true;
        result.olderLeftOut = static_cast<int>(total - kMaxLines);
        raw = raw.sliced(total - kMaxLines);
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
    if (!result.limitReached && (!exists || rewrite != bytes)) {
        QSaveFile out(file);
        if (out.open(QIODevice::WriteOnly) && out.write(rewrite) == rewrite.size() && out.commit())
            result.rewritten = true;
        else
            emit fileError(file, out.errorString());
    }

    // Lines the disk still refuses come after the file's.
    writeHeld();
    result.entries += held_;
    result.lineCount += static_cast<int>(held_.size());
    lineCount_ = result.lineCount;

    emit loaded(result.lineCount, result.limitReached);
    if (result.lineCount == 0)
        emit information(emptyCaption(), emptyText());
    if (result.limitReached)
        emit warning(limitCaption(), limitText());
    return result;
}

QString History::archivePath() const
{
    const QString base = QFileInfo(path()).absolutePath() + QStringLiteral("/Histo-") +
                         clock_.now().toString(QStringLiteral("yyyy-MM-dd-HHmmss"));
    QString name = base + QStringLiteral(".txt");
    for (int n = 2; QFileInfo::exists(name); ++n)
        name = base + QStringLiteral("-%1.txt").arg(n);
    return name;
}

QStringList History::archives() const
{
    const QDir folder(QFileInfo(path()).absolutePath());
    QStringList names;
    for (const QFileInfo& info :
         folder.entryInfoList({QStringLiteral("Histo-*.txt")}, QDir::Files, QDir::Name | QDir::Reversed))
        names << info.absoluteFilePath();
    return names;
}

QStringList History::readLines(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    const QByteArray bytes = f.readAll();
    qsizetype total = 0;
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QStringList rows;
    appendDecoded(rows, cutLines(bytes, total), utf8);
    return rows;
}

bool History::clear(const QString& who)
{
    const QString file = path();
    writeHeld();
    QByteArray bytes;
    if (QFileInfo::exists(file)) {
        QFile in(file);
        if (!in.open(QIODevice::ReadOnly)) {
            emit fileError(file, in.errorString());
            return false;
        }
        bytes = in.readAll();
    }
    bytes += encode(held_); // still refused by the disk: they go to the archive too

    // The old lines are safe in their archive before the journal loses them.
    QString archive;
    if (!bytes.isEmpty()) {
        archive = archivePath();
        QSaveFile out(archive);
        if (!(out.open(QIODevice::WriteOnly) && out.write(bytes) == bytes.size() && out.flush() && out.commit())) {
            emit warning(QStringLiteral(" Warning!"),
                         QStringLiteral("The history is not emptied: its lines cannot be archived in %1 (%2).")
                             .arg(QDir::toNativeSeparators(archive), out.errorString()));
            return false;
        }
    }
    const QString first = lineFor(QStringLiteral("0"),
                                  archive.isEmpty() ? QStringLiteral("History cleared in %1").arg(who)
                                                    : QStringLiteral("History cleared in %1; older lines in %2")
                                                          .arg(who, QFileInfo(archive).fileName()));
    const QByteArray firstBytes = encode({first});
    QSaveFile out(file);
    if (!(out.open(QIODevice::WriteOnly) && out.write(firstBytes) == firstBytes.size() && out.flush() &&
          out.commit())) {
        emit warning(QStringLiteral(" Warning!"),
                     QStringLiteral("The history is not emptied (%1 cannot be written: %2); its lines are also in %3.")
                         .arg(QDir::toNativeSeparators(file), out.errorString(),
                              QDir::toNativeSeparators(archive)));
        return false;
    }
    held_.clear();
    retry_->stop();
    failing_ = false;
    lineCount_ = 1;
    emit appended(first);
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
