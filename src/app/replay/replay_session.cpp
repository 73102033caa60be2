#include "app/replay/replay_session.h"

#include "app/replay/replay_bar.h"
#include "station/station.h"

#include <QDir>
#include <QFileInfo>
#include <QMainWindow>

#include <cstdio>

namespace tarvek {

ReplaySession::ReplaySession(const QString& recording, const QString& stationFolder, const QString& loginFile,
                             std::optional<QDateTime> from, int speed)
    : recording_(recording), view_(stationFolder, loginFile),
      player_(recording::recordingFiles(recording), from, speed)
{
    // Each thing the replay has to say, also for a run without a screen.
    QObject::connect(&player_, &recording::ReplayPlayer::notice, &player_,
                     [](const QString& text) { std::fprintf(stderr, "replay: %s\n", qPrintable(text)); });
}

QString ReplaySession::problem() const
{
    if (!view_.ok())
        return view_.error();
    if (player_.files().isEmpty())
        return QStringLiteral("no recording in %1").arg(QDir::toNativeSeparators(recording_));
    return {};
}

void ReplaySession::attach(Station& station)
{
    player_.attach(station.link(), station);
    QObject::connect(&station, &Station::startupFinished, &player_, &recording::ReplayPlayer::start);
}

void ReplaySession::showIn(QMainWindow& window, Station& station)
{
    auto* bar = new ReplayBar(player_, &window);
    window.addToolBar(Qt::TopToolBarArea, bar);
    const QString name = QFileInfo(recording_).fileName();
    const auto title = [&window, name](const QString& t) { window.setWindowTitle(t + QStringLiteral("  - REPLAY of ") + name); };
    title(station.title());
    QObject::connect(&station, &Station::titleChanged, &window, title);
}

QString ReplaySession::summary() const
{
    const auto& f = player_.frames();
    QString text = QStringLiteral("replay: %1 frames compared with the recording, %2 differ\n").arg(f.compared()).arg(f.differing());
    for (const QString& line : f.differences())
        text += QStringLiteral("replay: differs: %1\n").arg(line);
    return text;
}

} // namespace tarvek
