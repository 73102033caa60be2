// The main window from the keyboard: menu mnemonics, shortcuts for the frequent actions, a focus
// that shows, Escape that closes whatever form is in front, every input noted for the idle log-out,
// and text cursors that rest once nobody types.
#include "app/main_window/log_window.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>
#include <QSet>
#include <QShortcut>
#include <QStyleHints>
#include <QTimer>

namespace tarvek {

namespace {
// Entries whose captions the station rewrites while it runs (mode, alarm marks, countdowns): their
// texts are compared as they are, so they keep no ampersand and are reached with the arrow keys.
const QSet<QString> kLiveCaptions = {QStringLiteral("mnuStartperatorMode"), QStringLiteral("mnuAlarmHalogen"),
                                     QStringLiteral("mnuAlarmPlateau"), QStringLiteral("mnuAlarmLFC"),
                                     QStringLiteral("mnuStopAlarm")};

QChar mnemonicOf(const QString& text)
{
    const qsizetype at = text.indexOf(QLatin1Char('&'));
    return at >= 0 && at + 1 < text.size() ? text.at(at + 1).toUpper() : QChar();
}

// Gives each action without a mnemonic the first free letter or digit of its caption, word
// initials first; the caption reads the same, with one letter underlined.
void addMnemonics(const QList<QAction*>& actions)
{
    QSet<QChar> used;
    for (QAction* a : actions)
        if (const QChar c = mnemonicOf(a->text()); !c.isNull())
            used.insert(c);
    for (QAction* a : actions) {
        const QString text = a->text();
        if (a->isSeparator() || text.isEmpty() || text.contains(QLatin1Char('&')) ||
            kLiveCaptions.contains(a->objectName()))
            continue;
        QList<qsizetype> candidates;
        for (qsizetype i = 0; i < text.size(); ++i)
            if (text.at(i).isLetterOrNumber() && (i == 0 || !text.at(i - 1).isLetterOrNumber()))
                candidates << i;
        for (qsizetype i = 0; i < text.size(); ++i)
            if (text.at(i).isLetterOrNumber() && !candidates.contains(i))
                candidates << i;
        for (qsizetype i : candidates) {
            const QChar c = text.at(i).toUpper();
            if (used.contains(c))
                continue;
            used.insert(c);
            a->setText(text.left(i) + QLatin1Char('&') + text.mid(i));
            break;
        }
    }
}
// The desktop's cursor blink as the station found it, given back at the next key or click; 0
// where the desktop does not blink.
int desktopFlashMs()
{
    static const int ms = QGuiApplication::styleHints()->cursorFlashTime();
    return ms;
}
} // namespace

void LogWindow::wireKeys()
{
    // Menu titles now; each menu's entries when it opens, so entries added later get theirs too.
    QTimer::singleShot(0, this, [this] {
        addMnemonics(menuBar()->actions());
        for (QMenu* m : menuBar()->findChildren<QMenu*>()) {
            if (m->property("tarvekMnemonics").toBool())
                continue;
            m->setProperty("tarvekMnemonics", true);
            connect(m, &QMenu::aboutToShow, m, [m] { addMnemonics(m->actions()); });
        }
    });

    action(QStringLiteral("mnuStartperatorMode"))->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_L));
    action(QStringLiteral("mnuhisto"))->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_H));
    action(QStringLiteral("mnuQuit"))->setShortcut(QKeySequence::Quit);
    for (int n = 1; n <= kEngines; ++n) {
        auto* select = new QShortcut(QKeySequence(Qt::CTRL | (Qt::Key_0 + n)), this);
        select->setObjectName(QStringLiteral("ShortcutSelectLE%1").arg(n));
        connect(select, &QShortcut::activated, this, [this, n] {
            station_.selectEngine(n);
            refreshDisplay();
        });
    }
    selected_->setToolTip(selected_->toolTip() + QStringLiteral(" (Ctrl+1 .. Ctrl+6)"));

    // The keyboard focus outlined in a strong blue that stays visible on grey and on every state colour.
    QPalette p = QApplication::palette();
    p.setColor(QPalette::Highlight, QColor(0, 114, 178));
    QApplication::setPalette(p);

    // A window made while the cursors rest has them blink again.
    QGuiApplication::styleHints()->setCursorFlashTime(desktopFlashMs());
    cursorRest_ = new QTimer(this);
    cursorRest_->setObjectName(QStringLiteral("TimerCursorRest"));
    cursorRest_->setSingleShot(true);
    cursorRest_->setInterval(kCursorBlinkMs);
    connect(cursorRest_, &QTimer::timeout, this, [] { QGuiApplication::styleHints()->setCursorFlashTime(0); });
    if (desktopFlashMs() > 0)
        cursorRest_->start();

    qApp->installEventFilter(this);
}

bool LogWindow::eventFilter(QObject* watched, QEvent* event)
{
    // Escape closes the form in front. Dialogs do so themselves (reject()); this covers the
    // forms that are plain windows (history, screenshots, fault codes...).
    // Any key or click in any window of the station: the operator is there (idle log-out).
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::MouseButtonPress:
    case QEvent::Wheel:
        station_.noteInput();
        if (desktopFlashMs() > 0) {
            if (QGuiApplication::styleHints()->cursorFlashTime() != desktopFlashMs())
                QGuiApplication::styleHints()->setCursorFlashTime(desktopFlashMs());
            cursorRest_->start();
        }
        break;
    default:
        break;
    }
    if (event->type() == QEvent::KeyPress && watched->isWidgetType()) {
        auto* key = static_cast<QKeyEvent*>(event);
        QWidget* form = static_cast<QWidget*>(watched)->window();
        if (key->key() == Qt::Key_Escape && key->modifiers() == Qt::NoModifier && form->windowType() == Qt::Window &&
            !qobject_cast<QDialog*>(form) && !qobject_cast<LogWindow*>(form)) {
            form->close();
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

} // namespace tarvek
