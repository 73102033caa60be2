#pragma once
// The QTH lamp button CommHalOperator: QthCommand of every checked engine with an open port,
// "\StartHalogen.ini" holding whether the operator left the lamps on, read back at start-up.
#include "operation/operation_context.h"

#include <QObject>

namespace tarvek {

class SettingsFiles;
struct StationSettings;

class QthLamps : public QObject {
    Q_OBJECT
public:
    static QString fileName() { return QStringLiteral("\\StartHalogen.ini"); }

    QthLamps(OperationContext& context, SettingsFiles& files, StationSettings& settings, QObject* parent = nullptr);

    bool on() const { return QthLampsOn != 0; }
    // The button is light orange once an engine was switched on, until one is switched off.
    bool orange() const { return orange_; }
    QString caption() const { return on() ? QStringLiteral("QTH-Stop") : QStringLiteral("QTH-Start"); }

public slots:
    void press();
    // Switching off, as the button does; STOP All also reports each checked engine whose port is
    // closed.
    void switchOff(bool reportClosed = false);
    // After a single stop: the button offers to switch on again (QthCommand stays as it is).
    void stopFollowUp();
    // Start-up: the lamps the operator left on are on again, for every checked engine.
    void restore();

signals:
    void changed();
    void warning(const QString& caption, const QString& text);

private:
    void switchOn();
    void save(int value);

    OperationContext& ctx_;
    SettingsFiles& files_;
    StationSettings& settings_;
    std::uint8_t QthLampsOn = 0;
    bool orange_ = false;
};

} // namespace tarvek
