#pragma once
// Up to six simulated engines and the line commands that steer them (typed on the console of
// fadec-sim, or timed in a script file).
#include "sim/simulated_engine.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace tarvek::sim {

struct SimulatorOptions {
    int engines = kEngines;
    QString directory = QStringLiteral("sim-ports"); // where the COM1..COM6 links go
    bool paced = true;
    quint16 tcpBasePort = 0;                         // nonzero: engine n listens on base + n - 1
    std::uint32_t seed = 1;
};

class Simulator : public QObject {
    Q_OBJECT
public:
    explicit Simulator(const SimulatorOptions& options, QObject* parent = nullptr);
    ~Simulator() override;

    // Opens every engine's link; false (with the reason) when one could not be opened.
    bool start(QString* error = nullptr);
    int engineCount() const { return static_cast<int>(engines_.size()); }
    // Engine 1..engineCount(), or nullptr.
    SimulatedEngine* engine(int number) const;
    QStringList locations() const;

    // Carries out one command line and returns its answer; answers to bad lines begin "error:".
    QString execute(const QString& line);
    // One status line of an engine.
    QString stateLine(int number) const;
    static QString helpText();

    // Reads a script of lines "SECONDS COMMAND..." and runs each command that many seconds after
    // now. Nothing is scheduled when a line is malformed; the reason names its line.
    bool runScript(const QString& path, QString* error);

signals:
    // Something happened that an operator may want to see (phase changes, links, script lines).
    void event(const QString& text);
    void quitRequested();

private:
    SimulatedEngine* engineArgument(const QStringList& words, int at, QString* error) const;

    SimulatorOptions options_;
    std::vector<std::unique_ptr<SimulatedEngine>> engines_;
};

} // namespace tarvek::sim
