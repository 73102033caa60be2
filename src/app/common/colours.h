#pragma once
// The colours that tell an operator a state at a glance.
#include <QColor>
#include <QFrame>
#include <QPalette>
#include <QWidget>

namespace tarvek::colours {

inline QColor started() { return QColor(128, 255, 128); }   // a started engine
inline QColor linkYes() { return QColor(0, 255, 0); }        // a link indicator "yes": a frame went out
inline QColor qthOn() { return QColor(255, 192, 128); }     // QTH lamps on
inline QColor connected() { return QColor(128, 128, 255); } // a connected port (0xFF8080 as BGR)
inline QColor idle() { return QColor(192, 192, 192); }      // an idle status picture
inline QColor serviceMarker() { return QColor(192, 192, 192); } // a mode, not a fault: grey

// What needs attention, in hues that stay apart for red- and green-blind eyes (Okabe-Ito orange
// and vermillion); each also changes a text or a frame, so no reading rests on hue alone.
inline QColor fault() { return QColor(230, 159, 0); }  // a fault code that is a fault, black text
inline QColor alert() { return QColor(213, 94, 0); }   // a lost link, an alarm, white text
// Not a fault: links the operator closed (dark grey, white text) and an engine running without a
// start from this station (pale yellow, framed).
inline QColor closed() { return QColor(90, 90, 90); }
inline QColor foundRunning() { return QColor(255, 240, 140); }

// Paints a cell that asks for attention (a thick frame and the colour) or gives it back its
// plain look (sunken panel, system colours).
// Both leave a widget that already looks so untouched: the display refresh asks again and again,
// and a palette set anew is resolved and repainted even when it is the same.
inline void attention(QWidget* w, const QColor& colour)
{
    QPalette p = QPalette();
    if (colour.isValid()) {
        p.setColor(QPalette::Window, colour);
        p.setColor(QPalette::WindowText, colour == alert() || colour == closed() ? QColor(Qt::white) : QColor(Qt::black));
    }
    auto* frame = qobject_cast<QFrame*>(w);
    const int style = colour.isValid() ? (QFrame::Box | QFrame::Plain) : (QFrame::StyledPanel | QFrame::Sunken);
    const int width = colour.isValid() ? 3 : 1;
    if (w->palette() == p && w->autoFillBackground() == colour.isValid()
        && (!frame || (frame->frameStyle() == style && frame->lineWidth() == width)))
        return;
    w->setPalette(p);
    w->setAutoFillBackground(colour.isValid());
    if (frame) {
        frame->setFrameStyle(style);
        frame->setLineWidth(width);
    }
}

// Paints a widget's background; an invalid colour gives it back the system button face.
inline void paint(QWidget* w, const QColor& colour)
{
    QPalette p = w->palette();
    const QColor c = colour.isValid() ? colour : QPalette().color(QPalette::Button);
    if (w->autoFillBackground() && p.color(QPalette::Window) == c && p.color(QPalette::Button) == c)
        return;
    p.setColor(QPalette::Window, c);
    p.setColor(QPalette::Button, c);
    w->setPalette(p);
    w->setAutoFillBackground(true);
}

inline QColor background(const QWidget* w) { return w->palette().color(QPalette::Window); }

} // namespace tarvek::colours
