#pragma once
// The main window's pages (the engine columns, the trend graphs) behind a row of tabs.
//
// A tab bar over a stacked widget rather than a QTabWidget: a QTabWidget repaints itself and its
// whole page on every layout request from inside, and each changing value label sends one, which
// made the display refresh cost the station twice the CPU of the frame cycle.
#include <QWidget>

class QStackedWidget;
class QTabBar;

namespace tarvek {

class PageTabs : public QWidget {
    Q_OBJECT
public:
    explicit PageTabs(QWidget* parent = nullptr);

    int addTab(QWidget* page, const QString& caption) { return insertTab(count(), page, caption); }
    int insertTab(int index, QWidget* page, const QString& caption);
    // Takes the page out of the tabs; the page is not deleted.
    void removeTab(int index);
    int count() const;
    QWidget* widget(int index) const;
    int currentIndex() const;
    void setCurrentIndex(int index);
    QString tabText(int index) const;
    QString tabToolTip(int index) const;
    void setTabToolTip(int index, const QString& tip);
    QTabBar* tabBar() const { return bar_; }

signals:
    void currentChanged(int index);

private:
    QTabBar* bar_;
    QStackedWidget* stack_;
};

} // namespace tarvek
