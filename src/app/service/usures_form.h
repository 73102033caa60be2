#pragma once
// The form Usures ("Hardware Uptime"): per engine the starts, running hours and lamp hours counted
// from the replies (kept in "\Usures.ini"). Controls per engine n 1..6: Starts<n>, Running<n>,
// Lamp<n>, and LampReplaced<n>, which asks and then starts that engine's lamp hours again from
// zero (the change goes to the history). Close: Command2.
#include <QDialog>

#include <array>

class QLabel;
class QPushButton;

namespace tarvek {

class Station;

class UsuresForm : public QDialog {
    Q_OBJECT
public:
    explicit UsuresForm(Station& station, QWidget* parent = nullptr);

    void refresh();

private:
    void askLampReplaced(int engine);

    Station& station_;
    struct Row {
        QLabel* starts = nullptr;
        QLabel* running = nullptr;
        QLabel* lamp = nullptr;
    };
    std::array<Row, 6> rows_{};
    QLabel* saved_;
};

} // namespace tarvek
