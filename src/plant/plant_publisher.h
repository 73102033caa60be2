#pragma once
// Publishes the station's engines, alarms and history to the plant's broker. It observes the
// station's signals and reads its state; it sends nothing to the engines and subscribes to nothing.
//
// Each engine's state goes out when it changes, at most once a second, and at least every 10 s;
// the alarms when they change; each history line as it is written (kept while the broker is away,
// up to kHistoryBacklog lines, with consecutive sequence numbers so a reader sees any gap). After
// every connection all the retained topics go out again. The status is a heartbeat: it goes out
// every kHeartbeatMs with the station's time, so a reader can relate the station's time stamps to
// its own clock. Nothing is published before the station has started up, so the first status is
// already complete (version and engines).
#include "plant/mqtt_connection.h"
#include "plant/plant_settings.h"

#include <QByteArray>
#include <QDateTime>
#include <QElapsedTimer>
#include <QObject>
#include <QStringList>

#include <array>

class QTimer;

namespace tarvek {

class Station;

class PlantPublisher : public QObject {
    Q_OBJECT
public:
    static constexpr int kMinGapMs = 1000;
    static constexpr int kMaxGapMs = 10'000;
    static constexpr int kTickMs = 200;
    static constexpr int kEnginesPerTick = 2; // states built in one tick: all six within a second
    static constexpr int kHistoryBacklog = 1000;
    static constexpr int kHeartbeatMs = 10'000;

    explicit PlantPublisher(Station& station, QObject* parent = nullptr);

    // Starts (or restarts with new settings) publishing, or stops when they say off. Returns why
    // the settings cannot be used, or empty; the reason is also the state text.
    QString apply(const PlantSettings& settings);
    const PlantSettings& settings() const { return settings_; }
    // "Plant: connected to ...", "Plant: retrying in 4 s: ...", "Plant: off".
    QString stateText() const { return text_; }

signals:
    void stateChanged(const QString& text);
    // A fault worth telling the operator, once until it changes or the broker accepts again.
    void problem(const QString& text);

private:
    void setText(const QString& text, bool isProblem);
    QString startConnection();
    void connected();
    void publishStatus();
    void tick();
    // Whether the state was built (due, or forced), sent or not.
    bool publishEngine(int engine, bool force);
    void publishAlarms();
    void historyLine(const QString& line);
    void sendHistory();

    Station& station_;
    MqttConnection* mqtt_;
    QTimer* tick_;
    PlantSettings settings_;
    MqttConnection::Options options_; // waiting for the station's start-up while not started
    QString text_;
    QString told_;
    qint64 session_ = 0;
    qint64 seq_ = 0;
    QStringList backlog_; // history payloads not yet handed to the broker
    bool alarmsDirty_ = false;
    QElapsedTimer monotonic_;
    qint64 statusAtMs_ = 0;
    int statusSent_ = -1; // the engines in use it told, -1 before the first
    std::array<QByteArray, 6> sent_{}; // each engine's state as last sent, without its time
    std::array<qint64, 6> sentAtMs_{};
    std::array<qint64, 6> builtAtMs_{}; // when its state was last built, sent or not
    std::array<QDateTime, 6> lastReply_{};
};

} // namespace tarvek
