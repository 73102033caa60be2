#include "plant/plant_messages.h"

#include "station/engine_rows.h"
#include "station/station.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>
#include <ctime>

namespace tarvek::plant {

namespace {
// As Qt::ISODateWithMs in UTC ("2026-11-26T13:51:22.743Z"). Written by the C library: twice a
// second an engine, at a third of what QDateTime's own text costs through the locale's machinery.
QString iso(const QDateTime& t)
{
    if (!t.isValid())
        return {};
    const qint64 ms = t.toMSecsSinceEpoch();
    const qint64 seconds = ms >= 0 ? ms / 1000 : (ms - 999) / 1000;
    const auto whole = static_cast<std::time_t>(seconds);
    std::tm utc{};
    char text[48];
    if (!gmtime_r(&whole, &utc))
        return t.toUTC().toString(Qt::ISODateWithMs);
    const std::size_t n = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text + n, sizeof text - n, ".%03dZ", static_cast<int>(ms - seconds * 1000));
    return QString::fromLatin1(text);
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

QByteArray engineState(Station& station, int engine, const QDateTime& lastReply)
{
    // Six of these a second, from the thread that answers the engines: written straight out as
    // text, with the keys in order, the state costs a fifth of what it did as Qt's JSON objects,
    // built and then serialised.
    const int index = engine - 1;
    const LightEngineRecord& r = station.tables().at(index);
    const QString link = engineLink(station, engine);
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> json(text);
    const auto string = [&json](const QString& s) {
        const QByteArray utf8 = s.toUtf8();
        json.String(utf8.constData(), static_cast<rapidjson::SizeType>(utf8.size()));
    };
    const auto quantity = [&json](const char* name, int value, const char* unit) {
        json.Key(name);
        json.StartObject();
        json.Key("unit");
        json.String(unit);
        json.Key("value");
        json.Int(value);
        json.EndObject();
    };
    json.StartObject();
    json.Key("engine");
    json.Int(engine);
    // Values only while the engine answers: a silent engine has none rather than old ones.
    const bool answers = r.everReported && link == QLatin1String("yes");
    json.Key("fault");
    if (answers) {
        const int code = r.FaultCode;
        QString faultText = QStringLiteral("Code %1").arg(code);
        if (code >= 0 && code < kFaultTableSize && !station.faultTexts()[static_cast<std::size_t>(code)].isEmpty())
            faultText = station.faultTexts()[static_cast<std::size_t>(code)].trimmed();
        json.StartObject();
        json.Key("code");
        json.Int(code);
        json.Key("text");
        string(faultText);
        json.EndObject();
    } else {
        json.Null();
    }
    json.Key("lastReply");
    if (lastReply.isValid())
        string(iso(lastReply));
    else
        json.Null();
    json.Key("link");
    string(link);
    json.Key("phase");
    if (answers)
        json.Int(r.Phase);
    else
        json.Null();
    json.Key("rows");
    json.StartArray();
    if (answers)
        for (const ShownEngineRow& row : shownEngineRows(station.settings(), station.software(), r)) {
            json.StartObject();
            json.Key("name");
            string(row.name);
            json.Key("unit");
            string(row.unit);
            json.Key("value");
            string(row.value);
            json.EndObject();
        }
    json.EndArray();
    json.Key("setPoints");
    json.StartObject();
    quantity("motorSpeed", r.MotorSpeedSetPoint * 30, "rpm");
    quantity("power", r.PowerSetPoint * 10, "We");
    json.EndObject();
    json.Key("startedHere");
    json.Bool(startedHere(station, engine));
    json.Key("status");
    string(station.engineStatusText(index).trimmed());
    json.EndObject();
    return {text.GetString(), static_cast<qsizetype>(text.GetSize())};
}

QByteArray withTime(const QByteArray& state, const QDateTime& now)
{
    // The time closes the object, where a reader looks last.
    QByteArray text = state;
    text.insert(text.size() - 1, ",\"time\":\"" + iso(now).toLatin1() + '"');
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
