// The main window's live values: port labels and the engine columns, refreshed on every display tick.
#include "app/common/colours.h"
#include "app/main_window/log_window.h"
#include "app/main_window/page_tabs.h"
#include "settings/display_coefficients.h"

#include <QLabel>

namespace tarvek {

namespace {
const QString kStaleTip = QStringLiteral("No reply for more than half a second: the last values, not live");
} // namespace

void LogWindow::updatePortLabels()
{
    const StationSettings& s = station_.settings();
    SerialLink& link = station_.link();
    for (int i = 0; i < kEngines; ++i) {
        const auto k = static_cast<std::size_t>(i);
        const bool enabled = SettingsFiles::toNumber(s.portEnabled[k]).value_or(0) == 1;
        QString text = link.portLabel(i + 1);
        if (!enabled)
            text += QStringLiteral(" off");
        else if (link.deviceMissing(i + 1))
            text += QStringLiteral(" missing");
        engines_[k].port->setText(text);
        // Where the port leads and, for a technician, why it is not open.
        QString tip = link.deviceName(i + 1);
        if (link.portOpen(i + 1))
            tip += QStringLiteral(" (open)");
        else if (link.deviceMissing(i + 1))
            tip += QStringLiteral("\nthe device is missing; opened as soon as it is there");
        else if (link.reconnecting(i + 1))
            tip += QStringLiteral("\nlost, opened again as soon as it is back: ") + link.openError(i + 1);
        else if (!link.openError(i + 1).isEmpty())
            tip += QStringLiteral("\nnot open: ") + link.openError(i + 1);
        engines_[k].port->setToolTip(tip);
    }
}

QString LogWindow::scaled(int index, int position, int coefficientRow, const char* unit) const
{
    const int raw = station_.tables().at(index).reported[static_cast<std::size_t>(position)];
    const QString text = displayValue(station_.settings(), raw, coefficientRow);
    return text + QString::fromUtf8(unit);
}

void LogWindow::refreshEngine(int index)
{
    EngineWidgets& e = engines_.at(static_cast<std::size_t>(index));
    const LightEngineRecord& r = station_.tables().at(index);
    const auto k = static_cast<std::size_t>(index);
    const bool live = r.everReported && !station_.linkLost[k] && !portClosed_[k];
    const bool passive = station_.software().cooling == CoolingType::Passive;

    // A slot that is not enabled in the port configuration shows its heading greyed.
    e.title->setEnabled(
        SettingsFiles::toNumber(station_.settings().portEnabled[static_cast<std::size_t>(index)]).value_or(0) == 1);
    if (e.title->font().underline() != station_.tables().isSelected(index)) {
        QFont tf = e.title->font();
        tf.setUnderline(!tf.underline());
        e.title->setFont(tf);
    }

    e.status->setText(station_.engineStatusText(index));
    colours::paint(e.status, station_.engineStatusIdle(index) ? colours::idle() : QColor());
    e.power->setText(QString::number(r.PowerSetPoint * 10) + QStringLiteral(" We"));

    showLink(index);
    // An engine that runs on while the station does not operate it says so.
    const LinkState link = station_.linkState(index + 1);
    const bool lastRunning = r.everReported && r.Phase >= 1 && r.Phase <= 6;
    QString running;
    if (station_.engineOperation().foundRunning(index + 1) && link != LinkState::Closed)
        running = QStringLiteral("Running, not started here");
    else if (link == LinkState::Closed && lastRunning)
        running = QStringLiteral("Running, link closed");
    if (!running.isEmpty()) {
        e.status->setText(running);
        colours::attention(e.status, colours::foundRunning());
    } else if (e.status->frameWidth() > 1) {
        colours::attention(e.status, QColor());
        colours::paint(e.status, station_.engineStatusIdle(index) ? colours::idle() : QColor());
    }

    // Values whose next reply is overdue stay in view, in the look of a lost link: known, not live.
    const bool stale = live && station_.stale(index + 1);
    if (staleShown_[k] != stale) {
        staleShown_[k] = stale;
        for (QLabel* l : {e.phase, e.motor, e.fan1, e.fan2, e.mat, e.sht, e.lpc, e.lfc, e.vis, e.ir, e.rh, e.sbv, e.vcc}) {
            colours::attention(l, stale ? colours::alert() : QColor());
            l->setToolTip(stale ? kStaleTip : QString());
        }
    }
    if (!live) {
        // Links closed on purpose: the phase last reported stays, the engine did not stop for it.
        e.phase->setText(link == LinkState::Closed && lastRunning ? QString::number(r.Phase) : kNoValue);
        for (QLabel* l : {e.step, e.motor, e.fan1, e.fan2, e.mat, e.sht, e.lpc, e.lfc, e.vis,
                          e.ir, e.rh, e.sbv, e.vcc, e.fault})
            l->setText(kNoValue);
        e.fault->setToolTip(QString());
        colours::attention(e.fault, QColor());
        return;
    }
    e.phase->setText(QString::number(r.Phase));
    e.motor->setText(scaled(index, pos::TachoM, coefficients::M, ""));
    e.fan1->setText(passive ? QStringLiteral("n/a") : scaled(index, pos::TachoV1, coefficients::V1, ""));
    e.fan2->setText(passive ? QStringLiteral("n/a") : scaled(index, pos::TachoV2, coefficients::V2, ""));
    e.mat->setText(scaled(index, pos::Mat, coefficients::Mat, ""));
    e.sht->setText(scaled(index, pos::Sht, coefficients::Sht, ""));
    e.lpc->setText(scaled(index, pos::Lpc, coefficients::Lpc, ""));
    e.lfc->setText(scaled(index, pos::Lfc, coefficients::Lfc, ""));
    e.vis->setText(scaled(index, pos::Vis, coefficients::Vis, ""));
    e.ir->setText(scaled(index, pos::Ir, coefficients::Ir, ""));
    e.rh->setText(scaled(index, pos::Rh, coefficients::Rh, ""));
    e.sbv->setText(scaled(index, pos::Sbv, coefficients::Sbv, " V"));
    e.vcc->setText(scaled(index, pos::Vcc, coefficients::Vcc, " V"));
    const int code = r.FaultCode;
    const QString fault = (code >= 0 && code < kFaultTableSize && !station_.faultTexts()[static_cast<std::size_t>(code)].isEmpty())
                              ? station_.faultTexts()[static_cast<std::size_t>(code)]
                              : QStringLiteral("Code %1").arg(code);
    e.fault->setText(fault.trimmed().isEmpty() ? QStringLiteral(" ") : fault);
    e.fault->setToolTip(QStringLiteral("Fault code %1").arg(code));
    // At rest (0), stop activated (18) and the blank of a running engine (20) are states, not faults.
    const bool isFault = code != kFaultStopped && code != kFaultStopActivated && code != kFaultCodesFilled - 1;
    colours::attention(e.fault, stale ? colours::alert() : isFault ? colours::fault() : QColor());
}

void LogWindow::showLink(int index)
{
    QLabel* l = engines_.at(static_cast<std::size_t>(index)).link;
    // Lost and closed say so in words and in their own looks; otherwise the activity indicator.
    const LinkState state = station_.linkState(index + 1);
    const bool yes = station_.portIndicator(index + 1);
    switch (state) {
    case LinkState::Lost:
    case LinkState::Closed:
        l->setText(linkStateText(state));
        l->setToolTip(QString());
        colours::attention(l, state == LinkState::Lost ? colours::alert() : colours::closed());
        return;
    case LinkState::No:
    case LinkState::Yes:
        break;
    }
    if (station_.stale(index + 1)) {
        l->setText(QStringLiteral("late"));
        l->setToolTip(kStaleTip);
        colours::attention(l, colours::alert());
        return;
    }
    l->setText(yes ? QStringLiteral("yes") : QStringLiteral("no"));
    l->setToolTip(QString());
    if (l->lineWidth() > 1)
        colours::attention(l, QColor()); // back from lost, closed or late
    colours::paint(l, yes ? colours::linkYes() : QColor());
}

void LogWindow::refreshDisplay()
{
    if (freeze_ && freeze_->isChecked())
        return;
    // The columns are on the first page: while another is shown they wait, and turning back to
    // them refreshes them at once. Six columns of labels, restyled five times a second behind the
    // graphs, cost a sixth of the station's CPU.
    if (pages_ && pages_->currentIndex() != 0)
        return;
    updatePortLabels();
    for (int i = 0; i < kEngines; ++i)
        refreshEngine(i);
}

} // namespace tarvek
