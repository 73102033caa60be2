#include "recorder/replay_view.h"

#include "settings/settings_files.h"
#include "settings/station_settings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace tarvek::recording {

ReplayView::ReplayView(const QString& source, const QString& loginFile)
    : dir_(QDir::temp().filePath(QStringLiteral("tarvek-replay-XXXXXX")))
{
    if (!dir_.isValid()) {
        error_ = QStringLiteral("cannot make a folder for the replay: %1").arg(dir_.errorString());
        return;
    }
    // The settings files and the history; not the historian, nor a data logger left running.
    const QDir from(source);
    for (const QFileInfo& f : from.entryInfoList(QDir::Files | QDir::Hidden)) {
        const QString name = f.fileName();
        if (name.startsWith(QStringLiteral("Historian.sqlite")) || name == QStringLiteral("DataloggerRun.ini"))
            continue;
        if (QFile::copy(f.absoluteFilePath(), dir_.filePath(name)))
            QFile::setPermissions(dir_.filePath(name), QFile::ReadOwner | QFile::WriteOwner);
    }
    if (!loginFile.isEmpty()) {
        QFile::remove(dir_.filePath(QStringLiteral("Name.inc")));
        if (QFile::copy(loginFile, dir_.filePath(QStringLiteral("Name.inc"))))
            QFile::setPermissions(dir_.filePath(QStringLiteral("Name.inc")), QFile::ReadOwner | QFile::WriteOwner);
    }
    // Every engine of the recording has a port: COM1..COM6, all on.
    SettingsFiles files(dir_.path(), QString());
    StationSettings settings;
    settings.loadAll(files);
    for (std::size_t i = 0; i < 6; ++i) {
        settings.portNumbers[i] = QString::number(i + 1);
        settings.portEnabled[i] = QStringLiteral("1");
    }
    if (!settings.savePorts(files))
        error_ = QStringLiteral("cannot write the replay's port settings in %1").arg(dir_.path());
}

} // namespace tarvek::recording
