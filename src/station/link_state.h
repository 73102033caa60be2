#pragma once
// What the station knows of one engine's link, for the engine columns and for whoever else
// reports on the engines.
#include <QMetaType>
#include <QString>

namespace tarvek {

enum class LinkState {
    No,     // not answering: never answered since the link was opened, its port is not in use,
            // or its next status reply is overdue (Station::stale)
    Yes,    // answering: its last good status reply is fresh
    Lost,   // answered, then went silent or its device went away
    Closed, // the operator closed the links; the engine runs on as its controller has it
};

inline QString linkStateText(LinkState state)
{
    switch (state) {
    case LinkState::Yes: return QStringLiteral("yes");
    case LinkState::Lost: return QStringLiteral("lost");
    case LinkState::Closed: return QStringLiteral("closed");
    case LinkState::No: break;
    }
    return QStringLiteral("no");
}

} // namespace tarvek

Q_DECLARE_METATYPE(tarvek::LinkState)
