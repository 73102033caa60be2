#include "plant/plant_messages.h"

#include "station/engine_rows.h"
#include "station/station.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace tarvek::plant {

namespace {
QString iso(const QDateTime& t)
{
    return t.isValid() ? t.toUTC().toString(Qt::ISODateWithMs) : QString();
}
QByteArray bytes(const QJsonObject& o)
{
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}
bool portEnabled(Station& station, int engine)
{
    return SettingsFiles::toNumber(station.settings().portEnabled.at(static_cast<std::size_t>(engine - 1))).value_or(0) == 1;
}
} // namespace

QString topic(const QString& station, const QString& leaf)
{
    return QStringLiteral("tarvek/%1/%2").arg(station, leaf);
}

QByteArray offlinePayload(const QDateTime& now)
{
    QJsonObject o{{QStringLiteral("online"), false}};
    if (now.isValid())
        o.insert(QStringLiteral("time"), iso(now));
    return bytes(o);
}

int enginesInUse(Station& station)
{
    int mask = 0;
    for (int n = 1; n <= kEngines; ++n)
        if (portEnabled(station, n))
            mask |= 1 << (n - 1);
    return mask;
}

QByteArray statusPayload(Station& station, qint64 session, const QDateTime& now)
{
    QJsonArray engines;
    for (int n = 1; n <= kEngines; ++n)
        if (portEnabled(station, n))
            engines.append(n);
    return bytes(QJsonObject{{QStringLiteral("online"), true},
                             {QStringLiteral("version"), station.version().trimmed()},
                             {QStringLiteral("session"), session},
                             {QStringLiteral("engines"), engines},
                             {QStringLiteral("time"), iso(now)}});
}

QString engineLink(Station& station, int engine)
{
    return linkStateText(station.linkState(engine));
}

bool startedHere(const Station& station, int engine)
{
    return station.engineOperation().startedByUser(engine);
}

QJsonObject engineState(Station& station, int engine, const QDateTime& lastReply)
{
    const int index = engine - 1;
    const LightEngineRecord& r = station.tables().at(index);
    const QString link = engineLink(station, engine);
    QJsonObject o{{QStringLiteral("engine"), engine},
                  {QStringLiteral("link"), link},
                  {QStringLiteral("status"), station.engineStatusText(index).trimmed()},
                  {QStringLiteral("startedHere"), startedHere(station, engine)},
                  {QStringLiteral("lastReply"), lastReply.isValid() ? QJsonValue(iso(lastReply)) : QJsonValue()},
                  {QStringLiteral("setPoints"),
                   QJsonObject{{QStringLiteral("power"), QJsonObject{{QStringLiteral("value"), r.PowerSetPoint * 10},
                                                                     {QStringLiteral("unit"), QStringLiteral("We")}}},
                               {QStringLiteral("motorSpeed"),
                                QJsonObject{{QStringLiteral("value"), r.MotorSpeedSetPoint * 30},
                                            {QStringLiteral("unit"), QStringLiteral("rpm")}}}}}};
    // Values only while the engine answers: a silent engine has none rather than old ones.
    if (!r.everReported || link != QLatin1String("yes")) {
        o.insert(QStringLiteral("phase"), QJsonValue());
        o.insert(QStringLiteral("fault"), QJsonValue());
        o.insert(QStringLiteral("rows"), QJsonArray());
        return o;
    }
    const int code = r.FaultCode;
    QString text = QStringLiteral("Code %1").arg(code);
    if (code >= 0 && code < kFaultTableSize && !station.faultTexts()[static_cast<std::size_t>(code)].isEmpty())
        text = station.faultTexts()[static_cast<std::size_t>(code)].trimmed();
    o.insert(QStringLiteral("phase"), r.Phase);
    o.insert(QStringLiteral("fault"), QJsonObject{{QStringLiteral("code"), code}, {QStringLiteral("text"), text}});
    QJsonArray rows;
    for (const ShownEngineRow& row : shownEngineRows(station.settings(), station.software(), r))
        rows.append(QJsonObject{{QStringLiteral("name"), row.name},
                                {QStringLiteral("value"), row.value},
                                {QStringLiteral("unit"), row.unit}});
    o.insert(QStringLiteral("rows"), rows);
    return o;
}

QByteArray withTime(const QJsonObject& state, const QDateTime& now)
{
    // "time" sorts after every key of a state, so it closes the object just where an insert would
    // put it; the state is not copied and serialised a second time for it, once a second an engine.
    Q_ASSERT(state.isEmpty() || state.keys().constLast() < QLatin1String("time"));
    QByteArray text = bytes(state);
    text.insert(text.size() - 1, (state.isEmpty() ? QByteArray() : QByteArray(",")) + "\"time\":\"" + iso(now).toLatin1() + '"');
    return text;
}

QByteArray alarmsPayload(Station& station, const QDateTime& now)
{
    QJsonArray list;
    for (const AlarmEntry& e : station.alarmSupervision().summary().entries()) // newest first
        if (e.holds())
            list.append(QJsonObject{{QStringLiteral("engine"), e.engine},
                                    {QStringLiteral("text"), e.text.trimmed()},
                                    {QStringLiteral("raised"), iso(e.raised)},
                                    {QStringLiteral("acknowledged"),
                                     e.isAcknowledged() ? QJsonValue(iso(e.acknowledged)) : QJsonValue()}});
    return bytes(QJsonObject{{QStringLiteral("time"), iso(now)}, {QStringLiteral("alarms"), list}});
}

QByteArray historyPayload(qint64 seq, qint64 session, const QString& line)
{
    return bytes(QJsonObject{{QStringLiteral("seq"), seq},
                             {QStringLiteral("session"), session},
                             {QStringLiteral("line"), line}});
}

} // namespace tarvek::plant
