#pragma once
// The set-up form of the data logger, "Datalogger".
//
// Step 1, the file type: OptionTxt (".txt", ",") or OptionCsv (".csv", ";"), and File1, the files
// of that type already in the folder (a click takes the file's name). Step 2, the interval:
// ListInterval, the eleven captions. Step 3, the engines and the name: CheckLE1..CheckLE6, the
// columns CheckLPC, CheckLFC, CheckVIS, CheckIR, CheckRH, CheckLOS, CheckSHT, CheckMAT, the name
// FileName with Enregistrer (takes the name, or "There is nothing to save! "), and EErase /
// EAppend for a file that exists. LabelStatus shows whether the steps are complete, LabelRunning
// what the logger is doing; CommandStart ("Press to START") starts, CommandClose closes.
#include <QDialog>

#include <array>

class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QRadioButton;

namespace tarvek {

class DataLogger;

class DataloggerForm : public QDialog {
    Q_OBJECT
public:
    explicit DataloggerForm(DataLogger& logger, QWidget* parent = nullptr);

public slots:
    // Shows the logger's choices and state again, and the file list of the chosen type.
    void refresh();

private:
    DataLogger& logger_;
    QRadioButton* txt_ = nullptr;
    QRadioButton* csv_ = nullptr;
    QListWidget* files_ = nullptr;
    QListWidget* intervals_ = nullptr;
    std::array<QCheckBox*, 6> engines_{};
    std::array<QCheckBox*, 8> columns_{};
    QLineEdit* name_ = nullptr;
    QRadioButton* erase_ = nullptr;
    QRadioButton* append_ = nullptr;
    QLabel* status_ = nullptr;
    QLabel* running_ = nullptr;
    QPushButton* start_ = nullptr;
    bool refreshing_ = false; // showing the logger's state is not a choice of the operator
};

} // namespace tarvek
