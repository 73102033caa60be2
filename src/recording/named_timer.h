#pragma once
// A timer with the name a test finds it by, one-shot unless told otherwise.
#include <QString>
#include <QTimer>

namespace tarvek {

inline QTimer* namedTimer(QObject* parent, const QString& name, int intervalMs, bool singleShot = true)
{
    auto* t = new QTimer(parent);
    t->setObjectName(name);
    t->setInterval(intervalMs);
    t->setSingleShot(singleShot);
    return t;
}

} // namespace tarvek
