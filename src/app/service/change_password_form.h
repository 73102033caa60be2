#pragma once
// The form ChangePassword (Service menu, service mode only): sets the user or the service
// password of the log-in file, typed twice; the station stores it hashed.
//
// Controls: OptionRecord_0 / OptionRecord_1 (user / service password), TextPassword and TextRepeat (the new
// password twice), LabelRefusal (why a password was refused), Command1 (save), Command2 (close).
#include <QDialog>

class QLabel;
class QLineEdit;
class QRadioButton;

namespace tarvek {

class Station;

class ChangePasswordForm : public QDialog {
    Q_OBJECT
public:
    explicit ChangePasswordForm(Station& station, QWidget* parent = nullptr);

    // Empties the entries and the refusal; the record choice stays.
    void reset();

public slots:
    // Command1: saves and closes, or shows why the password was refused and stays open.
    void save();

private:
    Station& station_;
    QRadioButton* user_ = nullptr;
    QRadioButton* service_ = nullptr;
    QLineEdit* first_ = nullptr;
    QLineEdit* second_ = nullptr;
    QLabel* refusal_ = nullptr;
};

} // namespace tarvek
