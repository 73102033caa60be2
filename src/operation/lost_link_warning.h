#pragma once
// The warning box BoiteDialogue for engines that stopped answering, without ever blocking the
// station or stacking boxes: one box lists every engine lost now, one line each, and is updated in
// place. Each loss shows the box once (a box closed with OK comes back only for a new loss); an
// engine that answers again leaves the list, and the box closes itself once no engine is lost.
#include "recording/clock.h"

#include <QDateTime>
#include <QObject>
#include <QStringList>

#include <map>

namespace tarvek {

class LostLinkWarning : public QObject {
    Q_OBJECT
public:
    static QString caption() { return QStringLiteral(" Warning !"); }
    static QStringList heading() { return {QStringLiteral("No communication with machine"), QStringLiteral("         System!")}; }

    explicit LostLinkWarning(const Clock& clock, QObject* parent = nullptr);

    // The heading, then "LE3   <date> / <time>" per engine lost, in engine order.
    QStringList lines() const;
    bool shown() const { return shown_; }
    QList<int> lostEngines() const;

public slots:
    void lost(int engine);
    void restored(int engine);
    // The operator closed the box (OkValide).
    void dismissed();

signals:
    // Show the box, or bring its text up to date when it is on screen already.
    void show(int engine, const QString& caption, const QStringList& lines);
    void close();

private:
    const Clock& clock_;
    std::map<int, QString> lost_; // engine -> when it was lost
    bool shown_ = false;
};

} // namespace tarvek
