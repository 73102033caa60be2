#include "maintenance/parameter_list.h"

#include "settings/settings_files.h"

namespace tarvek {

QString ParameterList::line(int index, int value)
{
    return QStringLiteral("%1%2   ").arg(index, 2, 10, QLatin1Char('0')).arg(value, 3);
}

void ParameterList::fill(const std::array<std::uint8_t, 33>& registers, bool clearFirst)
{
    if (clearFirst)
        lines_.clear();
    for (int i = 31; i >= 0; --i)
        lines_ << line(i, registers[static_cast<std::size_t>(i)]);
}

int ParameterList::startParameter() const
{
    if (lines_.size() <= 3)
        return 0;
    // Converted leniently, like any number read from a list: blanks give 0.
    return SettingsFiles::toNumber(lines_[3].right(2)).value_or(0);
}

} // namespace tarvek
