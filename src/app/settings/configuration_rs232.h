#pragma once
// The port configuration form: a COM number and an enabled box per engine.
#include <QDialog>

class QCheckBox;
class QLabel;
class QLineEdit;
class QTimer;

namespace tarvek {

class SerialLink;

// objectNames: Text1_0..Text1_5 (COM numbers), Check1_0..Check1_5 (enabled), Check2 ("All activated"),
// Command1 (save), Timer1 (applies "All activated"), Timer2 (port-number check),
// Device_0..Device_5 (the device each number names and why a port did not open).
class ConfigurationRS232 : public QDialog {
    Q_OBJECT
public:
    explicit ConfigurationRS232(SerialLink& link, QWidget* parent = nullptr);

    // The boxes show the link's form state: the assignment as loaded at start-up or last saved,
    // less the boxes that discovery cleared for slots that had not answered.
    void load();

signals:
    void warning(const QString& caption, const QString& text, bool critical);

private:
    void toLink();
    void refreshDevices();
    void checkNumbers();

    SerialLink& link_;
    QLineEdit* numbers_[6] = {};
    QCheckBox* enabled_[6] = {};
    QLabel* devices_[6] = {};
    QCheckBox* all_ = nullptr;
    QTimer* allTimer_ = nullptr;   // Timer1
    QTimer* checkTimer_ = nullptr; // Timer2
};

} // namespace tarvek
