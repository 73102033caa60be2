#pragma once
// The parameter list of the read-out window ValeurDesParam, as a start fills it from the
// registers just read: one line a register, register 31 first.
#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>

namespace tarvek {

class ParameterList {
public:
    // "NN" (two digits), the value right-aligned in three characters, then "   ".
    static QString line(int index, int value);

    // Adds the 32 lines for registers 31 down to 0, clearing the list first when asked.
    void fill(const std::array<std::uint8_t, 33>& registers, bool clearFirst);
    void clear() { lines_.clear(); }
    const QStringList& lines() const { return lines_; }

    // The number in the last two characters of the line at position 3 (0 when there is none).
    int startParameter() const;

private:
    QStringList lines_;
};

} // namespace tarvek
