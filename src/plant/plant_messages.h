#pragma once
// The JSON payloads of the plant topics, read from the station as the main window shows it.
//   tarvek/<station>/status            {"online":true,"version":..,"session":N,"engines":[1,..],"time":..}
//                                      (a heartbeat: its time is the station's clock), and
//                                      {"online":false} from the broker's last will or a clean exit
//   tarvek/<station>/engine/<n>/state  link, phase, fault, rows with units, set-points, times
//   tarvek/<station>/alarms            the alarms that hold, newest first
//   tarvek/<station>/history           {"seq":N,"session":N,"line":".."}
#include <QByteArray>
#include <QDateTime>
#include <QString>

namespace tarvek {

class Station;

namespace plant {

QString topic(const QString& station, const QString& leaf);
// The last will; a clean exit says when it ended.
QByteArray offlinePayload(const QDateTime& now = {});
QByteArray statusPayload(Station& station, qint64 session, const QDateTime& now);
// The engines in use, one bit each (LE1 the lowest): what makes a new status more than a heartbeat.
int enginesInUse(Station& station);

// The engine's link as its column shows it: "yes" (answering), "no" (not answering yet),
// "lost" (answered, then went silent), "closed" (the operator closed the links).
QString engineLink(Station& station, int engine);
// Whether this station started the engine (an engine found running was not).
bool startedHere(const Station& station, int engine);

// Everything of the engine's state but the publication time, as a JSON object's text; `lastReply`
// invalid before a first reply.
QByteArray engineState(Station& station, int engine, const QDateTime& lastReply);
// The state with the time it is published.
QByteArray withTime(const QByteArray& state, const QDateTime& now);

QByteArray alarmsPayload(Station& station, const QDateTime& now);
QByteArray historyPayload(qint64 seq, qint64 session, const QString& line);

} // namespace plant
} // namespace tarvek
