#include "plant/plant_publisher.h"

#include "plant/plant_messages.h"
#include "serial/serial_link.h"
#include "station/station.h"

#include <QTimer>

#include <algorithm>
#include <numeric>

namespace tarvek {

PlantPublisher::PlantPublisher(Station& station, QObject* parent)
    : QObject(parent), station_(station), mqtt_(new MqttConnection(this)), tick_(new QTimer(this))
{
    monotonic_.start();
    session_ = station.clock().now().toSecsSinceEpoch();
    tick_->setInterval(kTickMs);
    connect(tick_, &QTimer::timeout, this, [this] { station_.runWhenClear(this, [this] { tick(); }); });
    connect(mqtt_, &MqttConnection::connected, this, &PlantPublisher::connected);
    connect(mqtt_, &MqttConnection::stateChanged, this, [this](MqttConnection::State s, const QString& text) {
        if (s != MqttConnection::State::Off)
            setText(text, s == MqttConnection::State::Waiting || s == MqttConnection::State::Refused);
    });
    connect(&station.link(), &SerialLink::statusReading, this, [this](int slot) {
        if (slot >= 1 && slot <= kEngines)
            lastReply_[static_cast<std::size_t>(slot - 1)] = station_.clock().now();
    });
    connect(&station.alarmSupervision().summary(), &AlarmSummary::changed, this, [this] { alarmsDirty_ = true; });
    connect(&station.history(), &History::appended, this, &PlantPublisher::historyLine);
    connect(&station, &Station::startupFinished, this, [this] {
        if (settings_.enabled && mqtt_->state() == MqttConnection::State::Off && !options_.host.isEmpty())
            startConnection();
    });
}

void PlantPublisher::setText(const QString& text, bool isProblem)
{
    const QString full = QStringLiteral("Plant: ") + text;
    if (full != text_) {
        text_ = full;
        emit stateChanged(full);
    }
    // A retry says how long it waits: the reason alone decides whether it is news.
    const QString reason = text.section(QStringLiteral(": "), 1);
    if (isProblem && reason != told_) {
        told_ = reason;
        emit problem(full);
    } else if (!isProblem && mqtt_->state() == MqttConnection::State::Connected) {
        told_.clear();
    }
}

QString PlantPublisher::apply(const PlantSettings& settings)
{
    settings_ = settings;
    tick_->stop();
    // A clean end says when: the page reads "offline since" from it.
    mqtt_->stop(plant::offlinePayload(station_.clock().now()));
    options_ = {};
    told_.clear();
    if (!settings.enabled) {
        setText(QStringLiteral("off"), false);
        return {};
    }
    QString why = settings.problem();
    MqttConnection::Options o;
    if (why.isEmpty())
        o.password = settings.readPassword(&why);
    if (!why.isEmpty()) {
        setText(QStringLiteral("not publishing: ") + why, true);
        return why;
    }
    o.host = settings.host;
    o.port = settings.port;
    o.clientId = QStringLiteral("tarvek-") + settings.station;
    o.user = settings.user;
    o.caFile = settings.caFile;
    o.willTopic = plant::topic(settings.station, QStringLiteral("status"));
    o.willPayload = plant::offlinePayload();
    options_ = o;
    if (!station_.startedUp()) {
        setText(QStringLiteral("waiting for the station's start-up"), false);
        return {};
    }
    return startConnection();
}

QString PlantPublisher::startConnection()
{
    if (const QString why = mqtt_->start(options_); !why.isEmpty()) {
        setText(QStringLiteral("not publishing: ") + why, true);
        return why;
    }
    tick_->start();
    return {};
}

void PlantPublisher::publishStatus()
{
    // The heartbeat, and at once when what it says changes (the engines in use).
    // Looked at five times a second: the payload is built only when it goes out.
    const int engines = plant::enginesInUse(station_);
    if (engines == statusSent_ && monotonic_.elapsed() - statusAtMs_ < kHeartbeatMs)
        return;
    if (mqtt_->publish(plant::topic(settings_.station, QStringLiteral("status")),
                       plant::statusPayload(station_, session_, station_.clock().now()), 1, true)) {
        statusSent_ = engines;
        statusAtMs_ = monotonic_.elapsed();
    }
}

void PlantPublisher::connected()
{
    statusSent_ = -1;
    publishStatus();
    for (int n = 1; n <= kEngines; ++n)
        publishEngine(n, true);
    alarmsDirty_ = true;
    publishAlarms();
    sendHistory();
}

void PlantPublisher::tick()
{
    if (!mqtt_->isLinked())
        return;
    publishStatus();
    // The engines come due together (they start together): the ones waiting longest go first, a
    // few a tick, so that no tick holds the serial side up for all six.
    std::array<int, kEngines> order{};
    std::iota(order.begin(), order.end(), 1);
    std::stable_sort(order.begin(), order.end(), [this](int a, int b) {
        return builtAtMs_[static_cast<std::size_t>(a - 1)] < builtAtMs_[static_cast<std::size_t>(b - 1)];
    });
    int built = 0;
    for (int n : order)
        if (built < kEnginesPerTick && publishEngine(n, false))
            ++built;
    publishAlarms();
}

bool PlantPublisher::publishEngine(int engine, bool force)
{
    const auto k = static_cast<std::size_t>(engine - 1);
    const qint64 now = monotonic_.elapsed();
    const qint64 age = now - sentAtMs_[k];
    // Looked at once a second whether it went out or not: an engine whose state stays the same
    // takes its turn and leaves the next to the others.
    if (!force && now - builtAtMs_[k] < kMinGapMs)
        return false;
    builtAtMs_[k] = now;
    QByteArray state = plant::engineState(station_, engine, lastReply_[k]);
    if (!force && age < kMaxGapMs && state == sent_[k])
        return true;
    const QString leaf = QStringLiteral("engine/%1/state").arg(engine);
    if (mqtt_->publish(plant::topic(settings_.station, leaf), plant::withTime(state, station_.clock().now()), 0, true)) {
        sent_[k] = std::move(state);
        sentAtMs_[k] = monotonic_.elapsed();
    }
    return true;
}

void PlantPublisher::publishAlarms()
{
    if (!alarmsDirty_)
        return;
    if (mqtt_->publish(plant::topic(settings_.station, QStringLiteral("alarms")),
                       plant::alarmsPayload(station_, station_.clock().now()), 1, true))
        alarmsDirty_ = false;
}

void PlantPublisher::historyLine(const QString& line)
{
    if (!settings_.enabled)
        return;
    if (backlog_.size() >= kHistoryBacklog)
        backlog_.removeFirst(); // the sequence numbers show the gap
    backlog_.append(QString::fromUtf8(plant::historyPayload(++seq_, session_, line)));
    sendHistory();
}

void PlantPublisher::sendHistory()
{
    const QString t = plant::topic(settings_.station, QStringLiteral("history"));
    while (!backlog_.isEmpty() && mqtt_->publish(t, backlog_.constFirst().toUtf8(), 1, false))
        backlog_.removeFirst();
}

} // namespace tarvek
