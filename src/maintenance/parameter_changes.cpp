#include "maintenance/parameter_changes.h"

#include "maintenance/parameter_editor.h"

namespace tarvek::parameter_changes {

namespace {
constexpr std::size_t kFirst = 1; // register 0 carries the request code, never a value
} // namespace

QString journal(const std::optional<Registers>& held, const Registers& sent)
{
    QStringList parts;
    for (std::size_t i = kFirst; i < sent.size(); ++i) {
        if (!held)
            parts << QStringLiteral("%1=%2").arg(i).arg(sent[i]);
        else if ((*held)[i] != sent[i])
            parts << QStringLiteral("%1 %2->%3").arg(i).arg((*held)[i]).arg(sent[i]);
    }
    if (!held)
        return QStringLiteral("not read before, registers ") + parts.join(QLatin1Char(' '));
    return parts.isEmpty() ? QStringLiteral("no change") : parts.join(QStringLiteral(", "));
}

QStringList zeroed(const std::optional<Registers>& held, const Registers& sent)
{
    QStringList out;
    for (std::size_t i = kFirst; held && i < sent.size(); ++i)
        if ((*held)[i] != 0 && sent[i] == 0)
            out << QString::number(i);
    return out;
}

QString question(int engine, const QStringList& reasons, const std::optional<Registers>& held, const Registers& sent)
{
    QStringList lines{parameter_texts::kWriteQuestion + QStringLiteral("%1?").arg(engine), QString()};
    lines << reasons << QString();
    if (!held) {
        QStringList all;
        for (std::size_t i = kFirst; i < sent.size(); ++i)
            all << QStringLiteral("%1=%2").arg(i).arg(sent[i]);
        lines << QStringLiteral("LE%1 was not read here: what it holds is not known. Registers 1 to 31 would be:").arg(engine)
              << all.join(QStringLiteral(", "));
        return lines.join(QLatin1Char('\n'));
    }
    QStringList changed;
    for (std::size_t i = kFirst; i < sent.size(); ++i) {
        if ((*held)[i] == sent[i])
            continue;
        const QString label = ParameterEditor::labels()[i].trimmed();
        changed << QStringLiteral("%1%2: %3 \u2192 %4")
                       .arg(i)
                       .arg(label.isEmpty() ? QString() : QStringLiteral(" ") + label)
                       .arg((*held)[i])
                       .arg(sent[i]);
    }
    lines << (changed.isEmpty() ? QStringLiteral("No register changes from LE%1's last read.").arg(engine)
                                : QStringLiteral("Registers that change (last read from LE%1 \u2192 new):").arg(engine))
          << changed;
    return lines.join(QLatin1Char('\n'));
}

} // namespace tarvek::parameter_changes
