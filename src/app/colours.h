#pragma once
// The colours that tell an operator a state at a glance.
#include <QColor>
#include <QPalette>
#include <QWidget>

namespace tarvek::colours {

inline QColor started() { return QColor(128, 255, 128); }   // a started engine
inline QColor linkYes() { return QColor(0, 255, 0); }        // a link indicator "yes": a frame went out
inline QColor qthOn() { return QColor(255, 192, 128); }     // QTH lamps on
inline QColor connected() { return QColor(128, 128, 255); } // a connected port (0xFF8080 as BGR)
inline QColor idle() { return QColor(192, 192, 192); }      // an idle status picture
inline QColor serviceMarker() { return QColor(255, 255, 128); }

// Paints a widget's background; an invalid colour gives it back the system button face.
inline void paint(QWidget* w, const QColor& colour)
{
    QPalette p = w->palette();
    const QColor c = colour.isValid() ? colour : QPalette().color(QPalette::Button);
    p.setColor(QPalette::Window, c);
    p.setColor(QPalette::Button, c);
    w->setPalette(p);
    w->setAutoFillBackground(true);
}

inline QColor background(const QWidget* w) { return w->palette().color(QPalette::Window); }

} // namespace tarvek::colours
