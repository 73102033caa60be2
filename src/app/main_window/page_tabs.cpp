#include "app/main_window/page_tabs.h"

#include <QStackedWidget>
#include <QTabBar>
#include <QVBoxLayout>

namespace tarvek {

PageTabs::PageTabs(QWidget* parent) : QWidget(parent), bar_(new QTabBar), stack_(new QStackedWidget)
{
    bar_->setObjectName(QStringLiteral("PageTabBar"));
    bar_->setDrawBase(false);
    bar_->setExpanding(false);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(bar_);
    column->addWidget(stack_, 1);
    connect(bar_, &QTabBar::currentChanged, this, [this](int index) {
        stack_->setCurrentIndex(index);
        emit currentChanged(index);
    });
}

int PageTabs::insertTab(int index, QWidget* page, const QString& caption)
{
    const int at = stack_->insertWidget(index, page);
    bar_->insertTab(at, caption);
    stack_->setCurrentIndex(bar_->currentIndex());
    return at;
}

void PageTabs::removeTab(int index)
{
    if (QWidget* page = widget(index)) {
        stack_->removeWidget(page);
        page->setParent(nullptr);
    }
    bar_->removeTab(index);
}

int PageTabs::count() const { return bar_->count(); }
QWidget* PageTabs::widget(int index) const { return stack_->widget(index); }
int PageTabs::currentIndex() const { return bar_->currentIndex(); }
void PageTabs::setCurrentIndex(int index) { bar_->setCurrentIndex(index); }
QString PageTabs::tabText(int index) const { return bar_->tabText(index); }
QString PageTabs::tabToolTip(int index) const { return bar_->tabToolTip(index); }
void PageTabs::setTabToolTip(int index, const QString& tip) { bar_->setTabToolTip(index, tip); }

} // namespace tarvek
