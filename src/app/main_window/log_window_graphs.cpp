// The main window's side of the trend graphs: the graph page, the Functions menu and the
// screenshot viewer GraphiqueScreen.
#include "app/recording/graphique_screen.h"
#include "app/main_window/log_window.h"
#include "app/main_window/page_tabs.h"
#include "app/recording/trend_graph.h"

#include <QAction>
#include <QMenu>
#include <QTimer>

namespace tarvek {

void LogWindow::wireGraphs()
{
    TrendGraphs& graphs = station_.trendGraphs();
    pages_->addTab(new TrendGraphPage(graphs), QStringLiteral("Graphs"));

    for (int ms : TrendGraphs::kScalesMs) {
        QAction* a = action(QStringLiteral("mnu%1").arg(ms));
        a->setChecked(ms == graphs.timeScale());
        connect(a, &QAction::triggered, &graphs, [&graphs, ms] { graphs.setTimeScale(ms); });
        setWired(a->objectName());
    }
    // A scale set elsewhere (the command line) moves the check mark too.
    connect(&graphs, &TrendGraphs::timeScaleChanged, this,
            [this](int ms) { action(QStringLiteral("mnu%1").arg(ms))->setChecked(true); });

    QAction* scroll = action(QStringLiteral("mnuScroll"));
    connect(scroll, &QAction::toggled, &graphs, &TrendGraphs::setScroll);
    QAction* autoSave = action(QStringLiteral("mnuAutoSaveScreen"));
    connect(autoSave, &QAction::toggled, &graphs, &TrendGraphs::setAutoSave);
    connect(action(QStringLiteral("mnuClearScreen")), &QAction::triggered, &graphs, &TrendGraphs::clear);
    // Freeze holds the graphs where they are, like the display.
    connect(freeze_, &QAction::toggled, &graphs, &TrendGraphs::setFrozen);
    for (const char* name : {"mnuScroll", "mnuAutoSaveScreen", "mnuClearScreen"})
        setWired(QString::fromLatin1(name));

    auto* menu = findChild<QMenu*>(QStringLiteral("mnuFonctions"));
    menu->addSeparator();
    QAction* view = menu->addAction(QStringLiteral("View screenshot"));
    view->setObjectName(QStringLiteral("mnuGraphiqueScreen"));
    addControl(view, Access::Operator, true);
    connect(view, &QAction::triggered, this, &LogWindow::openGraphiqueScreen);
    // A new file appears in an open viewer once its writer is done with it.
    connect(&graphs, &TrendGraphs::saveRequested, this, [this] {
        if (graphique_ && graphique_->isVisible())
            QTimer::singleShot(1000, graphique_.data(), &GraphiqueScreen::reload);
    });
}

GraphiqueScreen* LogWindow::openGraphiqueScreen()
{
    if (!graphique_) {
        graphique_ = new GraphiqueScreen(station_.trendGraphs().imageFolder(), this);
        graphique_->setAttribute(Qt::WA_DeleteOnClose);
    }
    graphique_->reload();
    graphique_->show();
    graphique_->raise();
    return graphique_;
}

} // namespace tarvek
