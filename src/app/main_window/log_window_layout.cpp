// The main window's size on the screen and the size of its live values.
#include "app/main_window/log_window.h"
#include "app/main_window/page_tabs.h"
#include "settings/display_settings.h"

#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <QScrollArea>
#include <QSplitter>
#include <QStyle>

#include <algorithm>
#include <utility>

namespace tarvek {

namespace {
constexpr int kPreferredWidth = 1366; // a common station screen, used whole
} // namespace

void LogWindow::fitToScreen(int widthTwips, int heightTwips)
{
    // Wide enough for the event lines beside the columns where the screen allows.
    QSize want = QSize(twips(widthTwips), twips(heightTwips)).expandedTo(sizeHint()).expandedTo(QSize(kPreferredWidth, 0));
    const QScreen* screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen();
    if (screen) {
        // Room for a title bar and borders, at least: before the window is shown, and on some
        // platforms after, the frame reads smaller than the window manager will make it.
        const QSize frame = (frameGeometry().size() - geometry().size())
                                .expandedTo(QSize(2 * style()->pixelMetric(QStyle::PM_MdiSubWindowFrameWidth),
                                                  style()->pixelMetric(QStyle::PM_TitleBarHeight) + 8));
        want = want.boundedTo(screen->availableGeometry().size() - frame);
    }
    resize(want.expandedTo(minimumSizeHint()));
    // Three quarters to the columns, a quarter to the event lines; each keeps its minimum.
    if (auto* body = findChild<QSplitter*>(QStringLiteral("Body"))) {
        const int columns = width() * 3 / 4;
        body->setSizes({columns, width() - columns});
    }
}

void LogWindow::scrollPages()
{
    // A page that needs more room than a small or scaled screen has scrolls, instead of pushing
    // the lists and buttons off the screen.
    for (int i = 0; i < pages_->count(); ++i) {
        QWidget* page = pages_->widget(i);
        if (qobject_cast<QScrollArea*>(page))
            continue;
        const QString caption = pages_->tabText(i);
        const QString tip = pages_->tabToolTip(i);
        const bool current = pages_->currentIndex() == i;
        pages_->removeTab(i);
        auto* scroll = new QScrollArea;
        scroll->setObjectName(page->objectName() + QStringLiteral("Scroll"));
        scroll->setWidgetResizable(true);
        scroll->setFrameShape(QFrame::NoFrame);
        scroll->setWidget(page);
        pages_->insertTab(i, scroll, caption);
        pages_->setTabToolTip(i, tip);
        if (current)
            pages_->setCurrentIndex(i);
    }
}

QLabel* LogWindow::valueLabel(const QString& name)
{
    auto* l = new QLabel(kNoValue);
    l->setObjectName(name);
    l->setAlignment(Qt::AlignCenter);
    l->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    l->setMinimumWidth(80);
    QFont f = l->font();
    f.setBold(true);
    l->setFont(f);
    return l;
}

void LogWindow::applyValueSize()
{
    DisplaySettings display;
    display.load(station_.files());
    preferredValueSize_ = display.valuePointSize;
    setValueFonts(preferredValueSize_);
    fittedRoom_ = QSize();
    fitTimer_->start();
}

void LogWindow::fitValues()
{
    // The largest size up to the chosen one at which every row and column shows: no scroll bar on
    // the columns in any mode (a lost link's frame, the service marker), down to a floor where a
    // screen too small for that scrolls after all.
    auto* scroll = findChild<QScrollArea*>(QStringLiteral("EngineScroll"));
    QWidget* panels = scroll ? scroll->widget() : nullptr;
    const QSize room = scroll ? scroll->maximumViewportSize() : QSize();
    const bool contentOnly = std::exchange(contentChanged_, false) && room == fittedRoom_;
    if (!panels || preferredValueSize_ == 0 || (room == fittedRoom_ && !contentOnly) || room.isEmpty())
        return;
    fittedRoom_ = room;
    const auto fits = [panels, room] {
        const QSize least = panels->minimumSizeHint();
        const int height = panels->hasHeightForWidth() ? panels->heightForWidth(room.width()) : panels->sizeHint().height();
        return least.width() <= room.width() && std::max(height, least.height()) <= room.height();
    };
    // A cell that grew (a thick frame, a second line) in the same room: smaller values when they no
    // longer fit, and nothing at all while they do, so the fit never wakes itself again.
    if (contentOnly && fits())
        return;
    int size = contentOnly ? valueSize_ : preferredValueSize_;
    setValueFonts(size);
    while (size > kSmallestValueSize && !fits())
        setValueFonts(--size);
}

void LogWindow::setValueFonts(int pointSize)
{
    valueSize_ = pointSize;
    QFont value = font();
    value.setBold(true);
    value.setPointSize(pointSize);
    QFont title = value;
    title.setPointSize(pointSize + 2);
    // Texts that wrap (status, fault) keep the plain size, so the longest fault takes two lines;
    // a larger value size takes them along.
    QFont text = font();
    text.setPointSize(std::max(text.pointSize(), (pointSize - DisplaySettings::kDefaultPointSize) / 2 + text.pointSize()));
    // Room for the widest value up front: a value that grows a digit then changes no column width,
    // so the page is not laid out and repainted again at every refresh.
    const int valueWidth = QFontMetrics(value).horizontalAdvance(QStringLiteral("-0000.00 We")) + 6;
    for (EngineWidgets& e : engines_) {
        QFont t = title;
        t.setUnderline(e.title->font().underline());
        e.title->setFont(t);
        for (QLabel* l : {e.link, e.phase, e.step, e.motor, e.fan1, e.fan2, e.mat, e.sht, e.lpc, e.lfc, e.vis,
                          e.ir, e.rh, e.sbv, e.vcc, e.power}) {
            l->setFont(value);
            l->setMinimumWidth(valueWidth);
        }
        for (QLabel* l : {e.status, e.fault})
            l->setFont(text);
        e.port->setFont(font());
        e.port->setWordWrap(true); // a narrow column shows the whole port on two lines
        e.fault->setMinimumHeight(2 * QFontMetrics(text).height() + 4);
    }
}

} // namespace tarvek
