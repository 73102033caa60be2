#pragma once
// The lost-link warning box BoiteDialogue: the heading, then one line per engine lost, and OK
// (OkValide). Shown without blocking: the frame cycle goes on while it is open, and a later loss or
// return updates its text in place.
#include <QDialog>
#include <QStringList>

class QLabel;

namespace tarvek {

class BoiteDialogue : public QDialog {
    Q_OBJECT
public:
    explicit BoiteDialogue(QWidget* parent = nullptr);
    void setLines(const QString& caption, const QStringList& lines);
    QStringList lines() const;

private:
    QLabel* text_;
};

} // namespace tarvek
