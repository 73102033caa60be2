#pragma once
// The port configuration form: per engine a COM number, an enabled box, the device and its state.
#include "serial/port_setup.h"
#include "serial/serial_devices.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QTimer;

namespace tarvek {

class ComMap;
class SerialLink;
class SettingsFiles;

// objectNames: Text1_0..Text1_5 (COM numbers), Check1_0..Check1_5 (enabled), Check2 ("All activated"),
// Command1 (save), Timer1 (applies "All activated"), Timer2 (port-number check),
// Device_0..Device_5 (the device chooser: the serial devices present, stable names first, the
// default of the COM number, or any path typed), DeviceState_0..DeviceState_5 (open, present,
// missing, refused and why, off).
class ConfigurationRS232 : public QDialog {
    Q_OBJECT
public:
    ConfigurationRS232(SerialLink& link, ComMap& map, SettingsFiles& files, QWidget* parent = nullptr);

    // The boxes show the link's form state: the assignment as loaded at start-up or last saved,
    // less the boxes that discovery cleared for slots that had not answered; the devices as the
    // map names them.
    void load();
    SerialDevices& devices() { return devices_; }
    PortSetup& setup() { return setup_; }

signals:
    void warning(const QString& caption, const QString& text, bool critical);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    PortSetup::Rows rows() const;
    void toLink();
    void fillChoices();
    void refreshStates();
    void numberEdited(int index);
    void deviceChosen(int index);
    void checkNumbers();

    SerialLink& link_;
    PortSetup setup_;
    SerialDevices devices_;
    QLineEdit* numbers_[6] = {};
    QCheckBox* enabled_[6] = {};
    QComboBox* devicesBox_[6] = {};
    QLabel* states_[6] = {};
    bool deviceEdited_[6] = {}; // the device was chosen here, not taken from the COM number
    QCheckBox* all_ = nullptr;
    QTimer* allTimer_ = nullptr;   // Timer1
    QTimer* checkTimer_ = nullptr; // Timer2
};

} // namespace tarvek
