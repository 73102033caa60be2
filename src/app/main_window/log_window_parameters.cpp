// The main window's side of the controller maintenance: FadecParameters (mnuParameters, refused
// unless the selected LE is in phase 0), ValeurDesParam in both directions (mnuIOListData,
// mnuRFStamptoPC, mnuRFPCtoStamp) and the protocol trace (mnuProtocolTrace), all service mode only;
// Read LE Settings (mnuVdesParam) opens the same read-out wherever the Functions menu is given.
#include "app/service/fadec_parameters.h"
#include "app/main_window/log_window.h"
#include "app/service/protocol_trace_window.h"
#include "app/service/valeur_des_param.h"

#include <QAction>
#include <QMenu>

namespace tarvek {

void LogWindow::wireParameters()
{
    QAction* trace = functionsMenu_->addAction(QStringLiteral("Protocol Trace"));
    trace->setObjectName(QStringLiteral("mnuProtocolTrace"));
    addControl(trace, Access::ServiceFunctions);
    const auto wire = [this](const char* name, auto open) {
        const QString n = QString::fromLatin1(name);
        rules_[n].access = Access::ServiceFunctions;
        connect(action(n), &QAction::triggered, this, open);
        setWired(n);
    };
    wire("mnuParameters", [this] { openFadecParameters(); });
    wire("mnuIOListData", [this] { openValeurDesParam(true); });
    wire("mnuRFStamptoPC", [this] { openValeurDesParam(true); });
    wire("mnuRFPCtoStamp", [this] { openValeurDesParam(false); });
    wire("mnuProtocolTrace", [this] { openProtocolTrace(); });
    // Read LE Settings only reads, so it keeps the Functions menu's access: the engines'
    // raw blocks and the registers read at the last start.
    connect(action(QStringLiteral("mnuVdesParam")), &QAction::triggered, this, [this] { openValeurDesParam(true); });
    setWired(QStringLiteral("mnuVdesParam"));
}

FadecParameters* LogWindow::openFadecParameters()
{
    if (!station_.parameterEditor().mayOpen())
        return nullptr;
    if (!fadecParameters_) {
        fadecParameters_ = new FadecParameters(station_.parameterEditor(), station_.valueEntry(), station_.tables(),
                                               [this] { saisie(); }, this);
        connect(&station_, &Station::selectedCaptionChanged, fadecParameters_, &FadecParameters::showSelected);
    }
    fadecParameters_->show();
    fadecParameters_->raise();
    fadecParameters_->activateWindow();
    return fadecParameters_;
}

ValeurDesParam* LogWindow::openValeurDesParam(bool stampToPc)
{
    if (!valeurDesParam_)
        valeurDesParam_ = new ValeurDesParam(station_.ioReadOut(), station_.parameterList(), this);
    valeurDesParam_->showDirection(stampToPc);
    valeurDesParam_->show();
    valeurDesParam_->raise();
    valeurDesParam_->activateWindow();
    return valeurDesParam_;
}

ProtocolTraceWindow* LogWindow::openProtocolTrace()
{
    if (!trace_)
        trace_ = new ProtocolTraceWindow(station_.protocolTrace(), station_.files().folder(), this);
    trace_->show();
    trace_->raise();
    trace_->activateWindow();
    return trace_;
}

} // namespace tarvek
