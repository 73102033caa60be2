// The station's side of the links: each engine's link state, and closing the links on purpose.
#include "station/station.h"

namespace tarvek {

LinkState Station::computeLinkState(int engine) const
{
    const SerialLink& link = *link_;
    if (!link.enabled(engine))
        return LinkState::No;
    if (closedByOperator_ && !link.connected())
        return LinkState::Closed;
    const bool answeredBefore = tables_.at(engine - 1).everReported;
    if (watchdog_->linkLost(engine) || (link.reconnecting(engine) && answeredBefore))
        return LinkState::Lost;
    // Live only while readings come: an overdue reply makes it "no" at once, not at the loss.
    if (link.portOpen(engine) && link.answered(engine) && link.fresh(engine))
        return LinkState::Yes;
    return LinkState::No;
}

bool Station::stale(int engine) const
{
    return linkState(engine) == LinkState::No && link_->portOpen(engine) && link_->answered(engine) &&
           tables_.at(engine - 1).everReported;
}

void Station::updateLinkStates()
{
    for (int k = 1; k <= kEngines; ++k) {
        const LinkState now = computeLinkState(k);
        LinkState& held = linkStates_.at(static_cast<std::size_t>(k - 1));
        if (now != held) {
            held = now;
            emit linkStateChanged(k, now);
        }
    }
}

QList<int> Station::runningEngines() const
{
    QList<int> running;
    for (int k = 1; k <= kEngines; ++k) {
        const LightEngineRecord& r = tables_.at(k - 1);
        if (link_->portOpen(k) && r.everReported && r.Phase >= 1 && r.Phase <= 6)
            running << k;
    }
    return running;
}

void Station::requestLinkToggle()
{
    if (!link_->connected()) {
        closedByOperator_ = false;
        link_->connectLink();
        updateLinkStates();
        return;
    }
    const QList<int> running = runningEngines();
    if (running.isEmpty()) {
        closeLinks();
        return;
    }
    QStringList names;
    for (int k : running)
        names << QStringLiteral("LE%1").arg(k);
    const QString text = QStringLiteral("%1 running. Close the links? The engines keep running without the station.")
                             .arg(names.join(QStringLiteral(", ")) + (running.size() == 1 ? QStringLiteral(" is") : QStringLiteral(" are")));
    ask(QStringLiteral(" Warning!"), text, [this](bool yes) {
        if (yes && link_->connected())
            closeLinks();
    });
}

void Station::closeLinks()
{
    closedByOperator_ = true;
    link_->disconnectLink();
    journalLink(QStringLiteral("Links closed by the operator"));
    updateLinkStates();
}

} // namespace tarvek
