#pragma once
// The editing behind the form Coefficients: a working copy of "\Coefficients.ini", a preview of
// a raw value as the main window would show it with that copy, and the save that puts it in use.
#include "settings/display_coefficients.h"

#include <QObject>

namespace tarvek {

class SettingsFiles;
struct StationSettings;

class CoefficientsEditor : public QObject {
    Q_OBJECT
public:
    static QString fileName() { return QStringLiteral("\\Coefficients.ini"); }

    CoefficientsEditor(SettingsFiles& files, StationSettings& settings, QObject* parent = nullptr);

    // The working copy starts as the values in use.
    void reload();
    const coefficients::Values& edited() const { return edited_; }
    coefficients::Values inUse() const;
    bool modified() const { return edited_ != inUse(); }
    // Sets one value; decimals are kept within 0..6. Returns the value kept.
    int set(int row, int column, int value);
    void restoreDefaults();

    // A raw value as the main window would show it with the working copy.
    QString preview(int raw, int row) const { return coefficients::shown(raw, edited_, row); }
    // Whether the main window applies the coefficients at all ("\CocheSelect.ini").
    bool displayUsesCoefficients() const;

    // Writes the working copy (replacing the file atomically) and puts it in use at once.
    // False, with the values in use unchanged, when the file cannot be written.
    bool save();

signals:
    void editedChanged();
    // The values in use changed: the main display shows them from now on.
    void applied();
    // A save went through: which quantities changed, each value old to new, for the history.
    void saved(const QString& what);
    void warning(const QString& caption, const QString& text);

private:
    SettingsFiles& files_;
    StationSettings& settings_;
    coefficients::Values edited_{};
};

} // namespace tarvek
