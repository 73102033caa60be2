#include "maintenance/parameter_editor.h"

#include "protocol/parameter_block.h"
#include "recording/named_timer.h"
#include "settings/settings_files.h"

namespace tarvek {

namespace parameter_texts {
QString portClosed(int engine)
{
    return QStringLiteral("The Port Com%1 is not activated ! ").arg(engine);
}
QString selected(int engine)
{
    return QStringLiteral("Selected LE : %1").arg(engine);
}
} // namespace parameter_texts

namespace {
bool servable(int engine) { return engine >= 1 && engine <= kEngines; }
} // namespace

ParameterEditor::ParameterEditor(EngineTables& tables, SettingsFiles& files, PortOpen portOpen, QObject* parent)
    : QObject(parent), tables_(tables), files_(files), portOpen_(std::move(portOpen))
{
    setObjectName(QStringLiteral("ParameterEditor"));
    values_.fill(QStringLiteral("0"));
    answer_ = namedTimer(this, QStringLiteral("ParameterAnswer"), parameter_timing::kAnswerMs);
    connect(answer_, &QTimer::timeout, this, &ParameterEditor::timedOut);
    for (int r = 0; r < kRegisters; ++r)
        tables_.parameterEntries[static_cast<std::size_t>(r)] = 0;
}

const std::array<QString, kParameterCount>& ParameterEditor::labels()
{
    static const QString blank40(40, QLatin1Char(' '));
    static const std::array<QString, kParameterCount> texts = {
        QStringLiteral("Index - Selection bank (0,1,2)          "),
        QStringLiteral("Reg. Seconds (DS1307)                   "),
        QStringLiteral("Reg. Minutes (DS1307)                   "),
        QStringLiteral("Reg. Hours (DS1307)                     "),
        QStringLiteral("Reg. D/wk (DS1307)                      "),
        QStringLiteral("Reg. J / month (DS1307)                 "),
        QStringLiteral("Reg. Months (DS1307)                    "),
        QStringLiteral("Reg. Years (DS1307)                     "),
        QStringLiteral("Reg. Status (DS1307)                    "),
        QString(), QString(), QString(), QString(), QString(), QString(), QString(), QString(), QString(),
        QStringLiteral("z1 Generator Start Delay                "),
        QStringLiteral("z2 Ramp-up Time                         "),
        QStringLiteral("z3 Lamp Start Time                      "),
        QStringLiteral("Max Start Number                        "),
        blank40,
        QStringLiteral("Magnetron Power Start                   "),
        QStringLiteral("Desactivated Magn. Temp                 "),
        QStringLiteral("Start Level LP (Ph = 5)                 "),
        QStringLiteral("Max. Temp. Magnetron                    "),
        blank40,
        QStringLiteral("Max. Temp. SHT (Holder)                 "),
        blank40,
        QStringLiteral("LPC Level   (50) in ph=3-4              "),
        QStringLiteral("LFC Level   (15) in ph=5                "),
    };
    return texts;
}

bool ParameterEditor::mayOpen()
{
    const int engine = tables_.selectedEngine;
    if (servable(engine) && tables_.at(engine - 1).Phase != 0) {
        emit warning(parameter_texts::kPhaseCaption, parameter_texts::kNotInPhase0);
        return false;
    }
    return true;
}

QStringList ParameterEditor::values() const
{
    return QStringList(values_.cbegin(), values_.cend());
}

std::uint8_t ParameterEditor::byteOf(const QString& text)
{
    return static_cast<std::uint8_t>(SettingsFiles::toNumber(text).value_or(0) & 0xFF);
}

void ParameterEditor::setValue(int reg, const QString& text)
{
    const auto i = static_cast<std::size_t>(reg);
    values_.at(i) = text;
    tables_.parameterEntries.at(i) = byteOf(text);
    if (!marks_[i].isEmpty()) {
        marks_[i].clear();
        emit marksChanged();
    }
    emit valuesChanged();
}

void ParameterEditor::paramDefault()
{
    clearMarks();
    const Registers& d = defaultRegisters();
    for (int r = 0; r < kRegisters; ++r)
        setValue(r, QString::number(d[static_cast<std::size_t>(r)]));
}

void ParameterEditor::paramZero()
{
    clearMarks();
    for (int r = 0; r < kRegisters; ++r)
        setValue(r, QStringLiteral("0"));
}

bool ParameterEditor::writeConfHdd()
{
    return files_.writeValues(parameter_texts::kFile, values(), LineFormat::Plain);
}

void ParameterEditor::readParamHdd()
{
    paramZero();
    const QStringList lines = files_.readValues(parameter_texts::kFile);
    for (int r = 0; r < kRegisters && r < lines.size(); ++r)
        setValue(r, lines[r]);
}

bool ParameterEditor::checkPort()
{
    const int engine = tables_.selectedEngine;
    if (!servable(engine))
        return false;
    if (!portOpen_(engine)) {
        emit warning(parameter_texts::kPortCaption, parameter_texts::portClosed(engine));
        return false;
    }
    return true;
}

void ParameterEditor::readConfig()
{
    clearMarks();
    for (int r = 0; r < kRegisters; ++r)
        setValue(r, QStringLiteral("0"));
    if (!checkPort())
        return;
    tables_.commandCode = static_cast<std::uint8_t>(CommandCode::ReadParameters);
    begin(Exchange::ReadAsked);
    finish(QStringLiteral("Reading the parameters of LE%1...").arg(tables_.selectedEngine));
}

void ParameterEditor::writeConfig()
{
    if (!checkPort())
        return;
    for (int r = 0; r < kRegisters; ++r)
        tables_.parameterEntries[static_cast<std::size_t>(r)] = byteOf(values_[static_cast<std::size_t>(r)]);
    tables_.commandCode = static_cast<std::uint8_t>(CommandCode::WriteParameters);
    clearMarks();
    begin(Exchange::WriteAsked);
    finish(QStringLiteral("Writing the parameters of LE%1...").arg(tables_.selectedEngine));
}

void ParameterEditor::quit()
{
    answer_->stop();
    setExchange(Exchange::Idle);
}

void ParameterEditor::begin(Exchange e)
{
    engine_ = 0;
    setExchange(e);
    answer_->start(); // also when the same request is asked again
}

void ParameterEditor::setExchange(Exchange e)
{
    if (e == exchange_)
        return;
    exchange_ = e;
    if (e == Exchange::Idle)
        answer_->stop();
    else
        answer_->start(); // each step has its own time to see its answer
    emit exchangeChanged();
}

void ParameterEditor::finish(const QString& text)
{
    outcome_ = text;
    emit outcomeChanged(text);
}

void ParameterEditor::onFrameSent(int slot, const QByteArray& frame)
{
    if (frame.isEmpty())
        return;
    const auto code = static_cast<std::uint8_t>(frame[0]);
    // The shared request goes with the selected engine's frame; a read-back asks its own engine.
    switch (exchange_) {
    case Exchange::ReadAsked:
        if (tables_.isSelected(slot - 1) && code == static_cast<std::uint8_t>(CommandCode::ReadParameters)) {
            engine_ = slot;
            setExchange(Exchange::ReadSent);
        }
        break;
    case Exchange::WriteAsked:
        if (tables_.isSelected(slot - 1) && code == static_cast<std::uint8_t>(CommandCode::WriteParameters)) {
            engine_ = slot;
            for (int i = 0; i < kRegisters && i < frame.size(); ++i)
                written_[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(frame[i]);
            tables_.at(slot - 1).parameterReadRequest = true;
            setExchange(Exchange::ReadBackAsked);
        }
        break;
    case Exchange::ReadBackAsked:
        if (slot == engine_ && code == static_cast<std::uint8_t>(CommandCode::ReadParameters))
            setExchange(Exchange::ReadBackSent);
        break;
    default: break;
    }
}

void ParameterEditor::onReply(int slot, const ReplyOutcome& outcome)
{
    if (!outcome.parametersRead || slot != engine_)
        return;
    const LightEngineRecord& r = tables_.at(slot - 1);
    if (exchange_ == Exchange::ReadSent)
        showRead(r);
    else if (exchange_ == Exchange::ReadBackSent)
        confirmWrite(r);
}

std::array<QString, kParameterCount> ParameterEditor::referenceTexts(QString* name)
{
    std::array<QString, kParameterCount> texts;
    if (reference_ == Reference::Defaults) {
        *name = QStringLiteral("Default");
        for (int i = 0; i < kRegisters; ++i)
            texts[static_cast<std::size_t>(i)] = QString::number(defaultRegisters()[static_cast<std::size_t>(i)]);
        return texts;
    }
    *name = QStringLiteral("ParamSt.ini");
    const QStringList lines = files_.readValues(parameter_texts::kFile);
    for (int i = 0; i < kRegisters; ++i)
        texts[static_cast<std::size_t>(i)] = i < lines.size() ? lines[i] : QStringLiteral("0");
    return texts;
}

void ParameterEditor::showRead(const LightEngineRecord& r)
{
    for (int i = 0; i < kRegisters; ++i)
        setValue(i, QString::number(r.ParameterImage[static_cast<std::size_t>(i)]));
    QString name;
    const auto reference = referenceTexts(&name);
    QStringList differing;
    // Register 0 reads back as the reply type, never as a stored value: it is not compared.
    for (int i = 1; i < kRegisters; ++i) {
        const auto idx = static_cast<std::size_t>(i);
        const auto expected = SettingsFiles::toNumber(reference[idx]);
        if (!expected || *expected != r.ParameterImage[idx]) {
            marks_[idx] = QStringLiteral("%1: %2").arg(name, reference[idx]);
            differing << QString::number(i);
        }
    }
    emit marksChanged();
    const int engine = engine_;
    setExchange(Exchange::Idle);
    finish(differing.isEmpty()
               ? QStringLiteral("LE%1: registers read, all as in %2").arg(engine).arg(name)
               : QStringLiteral("LE%1: registers read; %2 %3 from %4 (marked \u2260): %5")
                     .arg(engine)
                     .arg(differing.size())
                     .arg(differing.size() == 1 ? QStringLiteral("differs") : QStringLiteral("differ"))
                     .arg(name, differing.join(QStringLiteral(", "))));
}

void ParameterEditor::confirmWrite(const LightEngineRecord& r)
{
    QStringList differing;
    for (int i = 1; i < kRegisters; ++i) {
        const auto idx = static_cast<std::size_t>(i);
        if (r.ParameterImage[idx] != written_[idx]) {
            marks_[idx] = QStringLiteral("Sent %1, LE%2 holds %3").arg(written_[idx]).arg(engine_).arg(r.ParameterImage[idx]);
            differing << QStringLiteral("%1 (sent %2, holds %3)").arg(i).arg(written_[idx]).arg(r.ParameterImage[idx]);
        }
    }
    emit marksChanged();
    const int engine = engine_;
    setExchange(Exchange::Idle);
    finish(differing.isEmpty()
               ? QStringLiteral("LE%1: write confirmed, registers 1 to 31 read back as sent").arg(engine)
               : QStringLiteral("LE%1: write NOT confirmed, registers read back differently: %2")
                     .arg(engine)
                     .arg(differing.join(QStringLiteral(", "))));
}

void ParameterEditor::timedOut()
{
    const int engine = engine_ ? engine_ : tables_.selectedEngine;
    const int seconds = parameter_timing::kAnswerMs / 1000;
    QString text;
    switch (exchange_) {
    case Exchange::ReadAsked:
    case Exchange::WriteAsked:
        // Nothing went out: the engine sent no reply to answer. The request is withdrawn so it
        // cannot surprise anyone later.
        tables_.commandCode = 0;
        text = QStringLiteral("LE%1 sent no reply in %2 s: the request was not sent").arg(engine).arg(seconds);
        break;
    case Exchange::ReadSent:
        text = QStringLiteral("No answer from LE%1 to the parameter read in %2 s").arg(engine).arg(seconds);
        break;
    case Exchange::ReadBackAsked:
        tables_.at(engine - 1).parameterReadRequest = false;
        [[fallthrough]];
    case Exchange::ReadBackSent:
        text = QStringLiteral("Write sent to LE%1, but its registers could not be read back in %2 s: not confirmed")
                   .arg(engine)
                   .arg(seconds);
        break;
    case Exchange::Idle: return;
    }
    setExchange(Exchange::Idle);
    finish(text);
}

int ParameterEditor::markCount() const
{
    int n = 0;
    for (const QString& m : marks_)
        n += m.isEmpty() ? 0 : 1;
    return n;
}

void ParameterEditor::clearMarks()
{
    bool any = false;
    for (QString& m : marks_) {
        any = any || !m.isEmpty();
        m.clear();
    }
    if (any)
        emit marksChanged();
}

} // namespace tarvek
