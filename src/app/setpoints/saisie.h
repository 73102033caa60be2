#pragma once
// The form Saisie: the checked entry of one whole number, shown for a ValueEntry.
//
// Controls: LabelHint (the caller's hint), LabelMin and LabelMax (the limits as given), Text1
// (the entry), LabelNote (what the entry becomes, while typed), ValidationSaisie (accept) and
// AnnulerSaisie (cancel). A refusal opens a warning
// box (objectName MessageWarning) over the form and leaves the entry as typed.
#include <QDialog>
#include <QMessageBox>
#include <QPointer>

class QLabel;
class QLineEdit;

namespace tarvek {

class ValueEntry;

class Saisie : public QDialog {
    Q_OBJECT
public:
    explicit Saisie(ValueEntry& entry, QWidget* parent = nullptr);

    QMessageBox* messageBox() const { return box_; }

public slots:
    // Escape and the window's close button cancel the entry like AnnulerSaisie.
    void reject() override;

private:
    void showEntry(const QString& hint, const QString& minimum, const QString& maximum);
    void showWarning(const QString& caption, const QString& text);

    ValueEntry& entry_;
    QLabel* subject_ = nullptr;
    QLabel* hint_ = nullptr;
    QLabel* minimum_ = nullptr;
    QLabel* maximum_ = nullptr;
    QLabel* note_ = nullptr;
    QLineEdit* text1_ = nullptr;
    QPointer<QMessageBox> box_;
};

} // namespace tarvek
