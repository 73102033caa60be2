#pragma once
// The plant view's settings, "\Plant.ini", edited in service mode, with where the publisher stands.
// Controls: CheckPublish, TextHost, SpinPort, TextStation, TextUser, TextPasswordFile, TextCaFile,
// LabelState, Command1 (save and apply), Command2 (close).
#include <QDialog>

class QCheckBox;
class QLabel;
class QLineEdit;
class QSpinBox;

namespace tarvek {

class PlantPublisher;
class SettingsFiles;
struct PlantSettings;

class PlantForm : public QDialog {
    Q_OBJECT
public:
    PlantForm(PlantPublisher& publisher, SettingsFiles& files, QWidget* parent = nullptr);

    PlantSettings edited() const;

public slots:
    // Command1: checks, saves "\Plant.ini" and publishes with the new settings at once.
    void save();

private:
    PlantPublisher& publisher_;
    SettingsFiles& files_;
    QCheckBox* publish_;
    QLineEdit* host_;
    QSpinBox* port_;
    QLineEdit* station_;
    QLineEdit* user_;
    QLineEdit* passwordFile_;
    QLineEdit* caFile_;
    QLabel* state_;
};

} // namespace tarvek
