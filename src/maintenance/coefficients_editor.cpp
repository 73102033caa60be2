#include "maintenance/coefficients_editor.h"

#include "settings/settings_files.h"
#include "settings/station_settings.h"

#include <QDir>
#include <QStringList>

#include <algorithm>

namespace tarvek {

CoefficientsEditor::CoefficientsEditor(SettingsFiles& files, StationSettings& settings, QObject* parent)
    : QObject(parent), files_(files), settings_(settings)
{
    setObjectName(QStringLiteral("CoefficientsEditor"));
    reload();
}

coefficients::Values CoefficientsEditor::inUse() const { return coefficients::inUse(settings_); }

void CoefficientsEditor::reload()
{
    edited_ = inUse();
    emit editedChanged();
}

int CoefficientsEditor::set(int row, int column, int value)
{
    if (row < 0 || row >= coefficients::kRows || column < 0 || column >= coefficients::kColumns)
        return 0;
    if (column == coefficients::Decimals)
        value = std::clamp(value, 0, coefficients::kMaxDecimals);
    int& slot = coefficients::at(edited_, row, column);
    if (slot != value) {
        slot = value;
        emit editedChanged();
    }
    return value;
}

void CoefficientsEditor::restoreDefaults()
{
    edited_ = coefficients::defaults();
    emit editedChanged();
}

bool CoefficientsEditor::displayUsesCoefficients() const
{
    return settings_.displayWithCoefficients == 1;
}

bool CoefficientsEditor::save()
{
    if (!files_.writeNumbers(fileName(), edited_)) {
        emit warning(QStringLiteral(" Warning!"),
                     QStringLiteral("Cannot write ") + QDir::toNativeSeparators(files_.pathOf(fileName())) +
                         QStringLiteral(": the display keeps its coefficients"));
        return false;
    }
    // Which quantities changed, each column old to new, for the activity history.
    static const std::array<const char*, coefficients::kColumns> kColumnNames{"offset", "factor", "decimals"};
    const coefficients::Values before = inUse();
    QStringList rows;
    for (int row = 0; row < coefficients::kRows; ++row) {
        QStringList columns;
        for (int c = 0; c < coefficients::kColumns; ++c)
            if (coefficients::at(before, row, c) != coefficients::at(edited_, row, c))
                columns << QStringLiteral("%1 %2->%3")
                               .arg(QLatin1String(kColumnNames[static_cast<std::size_t>(c)]))
                               .arg(coefficients::at(before, row, c))
                               .arg(coefficients::at(edited_, row, c));
        if (!columns.isEmpty())
            rows << coefficients::rowName(row) + QLatin1Char(' ') + columns.join(QStringLiteral(", "));
    }
    std::copy(edited_.begin(), edited_.end(), settings_.coefficients.begin());
    emit saved(QStringLiteral("LE Data saved: ") + (rows.isEmpty() ? QStringLiteral("no change") : rows.join(QStringLiteral("; "))));
    emit applied();
    return true;
}

} // namespace tarvek
