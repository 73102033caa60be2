#include "historian/historian_export.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QIODevice>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace tarvek {

qint64 writeHistoryCsv(HistorianStore& store, QIODevice& out, const std::vector<int>& engines,
                       const std::vector<int>& rows, qint64 from, qint64 to,
                       const std::function<QString(int row, int raw)>& shown)
{
    static const char* const kLinks[] = {"no", "yes", "lost", "closed"};
    QStringList header = {QStringLiteral("Time"), QStringLiteral("Engine"), QStringLiteral("Link"),
                          QStringLiteral("Phase"), QStringLiteral("Fault code")};
    for (int r : rows) {
        const QString unit = engineRowUnit(r);
        header << (unit.isEmpty() ? engineRowName(r) : QStringLiteral("%1 (%2)").arg(engineRowName(r), unit));
    }
    out.write(header.join(QLatin1Char(',')).toUtf8() + "\r\n");
    qint64 count = 0;
    const bool read = store.forEachRow(engines, from, to, [&](const HistorianSample& s, bool hasValues) {
        QStringList line = {QDateTime::fromSecsSinceEpoch(s.time).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")),
                            QStringLiteral("LE%1").arg(s.engine),
                            QString::fromLatin1(kLinks[std::clamp(static_cast<int>(s.link), 0, 3)])};
        if (hasValues) {
            line << QString::number(s.phase) << QString::number(s.fault);
            for (int r : rows)
                line << shown(r, s.values[static_cast<std::size_t>(r)]);
        } else {
            for (std::size_t i = 0; i < rows.size() + 2; ++i)
                line << QString();
        }
        out.write(line.join(QLatin1Char(',')).toUtf8() + "\r\n");
        ++count;
    });
    return read ? count : -1;
}

QString exportRefusal(const QString& target, const QString& folder)
{
    const QFileInfo out(target);
    // Where the file is, or would be, through every link on the way.
    const QString parent = QFileInfo(out.absolutePath()).canonicalFilePath();
    const QString resolved = out.exists() ? out.canonicalFilePath()
                                          : (parent.isEmpty() ? out.absoluteFilePath() : QDir(parent).filePath(out.fileName()));
    const QString home = QFileInfo(folder).canonicalFilePath();
    const QString historian = home.isEmpty() ? QString() : QDir(home).filePath(HistorianStore::fileName());
    if (!historian.isEmpty() && (resolved == historian || resolved.startsWith(historian + QLatin1Char('-'))))
        return QStringLiteral("is the historian itself");
    if (out.isDir())
        return QStringLiteral("is a folder");
    if (out.exists()) {
        QFile f(target);
        if (f.open(QIODevice::ReadOnly) && f.read(16) == QByteArray("SQLite format 3", 16))
            return QStringLiteral("is an SQLite database");
    }
    if (home.isEmpty() || !resolved.startsWith(home + QLatin1Char('/')))
        return {};
    const QString inside = resolved.mid(home.size() + 1);
    static const QStringList folders = {QStringLiteral("Img"), QStringLiteral("Datalogger"), QStringLiteral("Recorder")};
    if (inside.contains(QLatin1Char('/'))) {
        const QString sub = inside.section(QLatin1Char('/'), 0, 0);
        return folders.contains(sub, Qt::CaseInsensitive) ? QStringLiteral("is in the station's %1 folder").arg(sub) : QString();
    }
    // Settings (.ini), the log-in file (.inc), the history and its archives, the historian and the
    // copies kept aside of damaged files.
    static const QRegularExpression owned(QStringLiteral("^(.*\\.(ini|inc)|Histo.*\\.txt|Historian\\..*|.*\\.(damaged|bad)-.*)$"),
                                          QRegularExpression::CaseInsensitiveOption);
    return owned.match(inside).hasMatch() ? QStringLiteral("is one of the station's own files") : QString();
}

std::optional<QDateTime> parseHistoryTime(const QString& text)
{
    const QDateTime t = QDateTime::fromString(text.trimmed(), QStringLiteral("yyyy-MM-dd hh:mm"));
    if (!t.isValid())
        return std::nullopt;
    return t;
}

} // namespace tarvek
