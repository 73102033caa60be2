#include "maintenance/parameter_editor.h"

#include "maintenance/parameter_changes.h"
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

void ParameterEditor::put(int reg, const QString& text)
{
    const auto i = static_cast<std::size_t>(reg);
    values_.at(i) = text;
    if (!marks_[i].isEmpty()) {
        marks_[i].clear();
        emit marksChanged();
    }
    emit valuesChanged();
}

void ParameterEditor::setValue(int reg, const QString& text)
{
    put(reg, text);
    setSource(source_, sourceEngine_, true);
}

void ParameterEditor::setSource(Source s, int engine, bool edited)
{
    if (s == source_ && engine == sourceEngine_ && edited == edited_)
        return;
    source_ = s;
    sourceEngine_ = engine;
    edited_ = edited;
    emit sourceChanged();
}

ParameterEditor::Held ParameterEditor::held() const
{
    return Held{values_, marks_, source_, sourceEngine_, edited_};
}

void ParameterEditor::restore(const Held& h)
{
    for (int r = 0; r < kRegisters; ++r)
        put(r, h.values[static_cast<std::size_t>(r)]);
    marks_ = h.marks;
    emit marksChanged();
    setSource(h.source, h.sourceEngine, h.edited);
}

Registers ParameterEditor::entries() const
{
    Registers bytes{};
    for (int r = 1; r < kRegisters; ++r)
        bytes[static_cast<std::size_t>(r)] = byteOf(values_[static_cast<std::size_t>(r)]);
    return bytes;
}

bool ParameterEditor::chosenFor(int engine) const
{
    return source_ == Source::File || (source_ == Source::Read && sourceEngine_ == engine);
}

QString ParameterEditor::sourceText() const
{
    const int selected = tables_.selectedEngine;
    const QString edited = edited_ ? QStringLiteral(", then changed here") : QString();
    switch (source_) {
    case Source::Read:
        return QStringLiteral("Read from LE%1%2").arg(sourceEngine_).arg(edited) +
               (servable(selected) && selected != sourceEngine_
                    ? QStringLiteral(": LE%1 is selected, a write to it asks first").arg(selected)
                    : QString());
    case Source::File: return QStringLiteral("Loaded from ParamSt.ini") + edited;
    case Source::None: break;
    }
    return servable(selected)
               ? QStringLiteral("Not read: these values are not LE%1's. Read FADEC (or Load File) first.").arg(selected)
               : QStringLiteral("Not read: choose an LE on the main window, then Read FADEC.");
}

bool ParameterEditor::isWriteQuestion(const QString& text)
{
    return text.startsWith(parameter_texts::kWriteQuestion);
}

void ParameterEditor::paramDefault()
{
    clearMarks();
    const Registers& d = defaultRegisters();
    for (int r = 0; r < kRegisters; ++r)
        put(r, QString::number(d[static_cast<std::size_t>(r)]));
    setSource(source_, sourceEngine_, true);
}

void ParameterEditor::paramZero()
{
    clearMarks();
    for (int r = 0; r < kRegisters; ++r)
        put(r, QStringLiteral("0"));
    setSource(source_, sourceEngine_, true);
}

bool ParameterEditor::writeConfHdd()
{
    return files_.writeValues(parameter_texts::kFile, values(), LineFormat::Plain);
}

void ParameterEditor::readParamHdd()
{
    clearMarks();
    for (int r = 0; r < kRegisters; ++r)
        put(r, QStringLiteral("0"));
    const QStringList lines = files_.readValues(parameter_texts::kFile);
    for (int r = 0; r < kRegisters && r < lines.size(); ++r)
        put(r, lines[r]);
    setSource(Source::File, 0, false);
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

bool ParameterEditor::mayBegin(int engine)
{
    if (!servable(engine))
        return false;
    if (exchange_ != Exchange::Idle) {
        finish(QStringLiteral("LE%1: wait for the end of the exchange in progress").arg(engine_));
        return false;
    }
    return true;
}

void ParameterEditor::readConfig()
{
    const int engine = tables_.selectedEngine;
    if (!mayBegin(engine))
        return;
    beforeRead_ = held();
    clearMarks();
    for (int r = 0; r < kRegisters; ++r)
        put(r, QStringLiteral("0"));
    if (!checkPort()) {
        setSource(Source::None, 0, false); // the boxes hold the zeros of a read that never went
        return;
    }
    tables_.commandCode = static_cast<std::uint8_t>(CommandCode::ReadParameters);
    engine_ = engine;
    begin(Exchange::ReadAsked);
    finish(QStringLiteral("Reading the parameters of LE%1...").arg(engine));
}

void ParameterEditor::writeConfig()
{
    const int engine = tables_.selectedEngine;
    if (!mayBegin(engine))
        return;
    if (!checkPort()) {
        refuse(engine, QStringLiteral("its port is not open"));
        return;
    }
    const LightEngineRecord& r = tables_.at(engine - 1);
    if (r.everReported && r.Phase != 0) {
        emit warning(parameter_texts::kPhaseCaption, parameter_texts::kNotInPhase0);
        refuse(engine, QStringLiteral("not in phase 0 (phase %1)").arg(r.Phase));
        return;
    }
    const Registers bytes = entries();
    const QStringList reasons = reasonsToAsk(engine, bytes);
    if (reasons.isEmpty()) {
        send(engine, bytes);
        return;
    }
    pending_ = PendingWrite{nextToken_++, engine, bytes};
    engine_ = engine;
    setExchange(Exchange::ConfirmAsked);
    finish(QStringLiteral("Write to LE%1: answer the question first").arg(engine));
    emit question(pending_.token, parameter_texts::kPortCaption, parameter_changes::question(engine, reasons, known(engine), bytes));
}

QStringList ParameterEditor::reasonsToAsk(int engine, const Registers& bytes) const
{
    QStringList reasons;
    if (!chosenFor(engine))
        reasons << (source_ == Source::Read
                        ? QStringLiteral("These values were read from LE%1, not from LE%2.").arg(sourceEngine_).arg(engine)
                        : QStringLiteral("These values were not read from LE%1 or loaded from a file.").arg(engine));
    const QStringList zeroed = parameter_changes::zeroed(known(engine), bytes);
    if (!zeroed.isEmpty())
        reasons << QStringLiteral("Register%1 %2 would go to 0.")
                       .arg(zeroed.size() == 1 ? QString() : QStringLiteral("s"), zeroed.join(QStringLiteral(", ")));
    return reasons;
}

void ParameterEditor::answer(int token, bool yes)
{
    if (exchange_ != Exchange::ConfirmAsked || token != pending_.token)
        return;
    const PendingWrite p = pending_;
    pending_ = PendingWrite{};
    setExchange(Exchange::Idle);
    if (!yes) {
        emit journal(QStringLiteral("Register write to LE%1 declined: %2").arg(p.engine).arg(parameter_changes::journal(known(p.engine), p.bytes)));
        finish(QStringLiteral("Write to LE%1 not sent: declined").arg(p.engine));
        return;
    }
    // The shared request goes with the selected engine's frame, and what was asked is what goes.
    if (tables_.selectedEngine != p.engine)
        refuse(p.engine, QStringLiteral("LE%1 was selected meanwhile").arg(tables_.selectedEngine));
    else if (entries() != p.bytes)
        refuse(p.engine, QStringLiteral("the values changed while the question was open"));
    else if (!portOpen_(p.engine))
        refuse(p.engine, QStringLiteral("its port is not open"));
    else
        send(p.engine, p.bytes);
}

void ParameterEditor::send(int engine, const Registers& bytes)
{
    for (int r = 0; r < kRegisters; ++r)
        tables_.parameterEntries[static_cast<std::size_t>(r)] = bytes[static_cast<std::size_t>(r)];
    tables_.commandCode = static_cast<std::uint8_t>(CommandCode::WriteParameters);
    clearMarks();
    engine_ = engine;
    begin(Exchange::WriteAsked);
    finish(QStringLiteral("Writing the parameters of LE%1...").arg(engine));
}

void ParameterEditor::refuse(int engine, const QString& why)
{
    emit journal(QStringLiteral("Register write to LE%1 refused: %2").arg(engine).arg(why));
    finish(QStringLiteral("Write to LE%1 not sent: %2").arg(engine).arg(why));
}

void ParameterEditor::selectionChanged()
{
    emit sourceChanged(); // the top of the form names the selected engine
    const int now = tables_.selectedEngine;
    if (now == engine_)
        return;
    if (exchange_ == Exchange::ReadAsked) {
        tables_.commandCode = 0;
        setExchange(Exchange::Idle);
        restore(beforeRead_);
        finish(QStringLiteral("Read of LE%1 withdrawn: LE%2 was selected before it went out; the values held before are "
                              "shown again")
                   .arg(engine_)
                   .arg(now));
    } else if (exchange_ == Exchange::WriteAsked) {
        tables_.commandCode = 0;
        setExchange(Exchange::Idle);
        emit journal(QStringLiteral("Register write to LE%1 withdrawn: LE%2 was selected before it went out").arg(engine_).arg(now));
        finish(QStringLiteral("Write to LE%1 withdrawn: LE%2 was selected before it went out").arg(engine_).arg(now));
    }
}

void ParameterEditor::quit()
{
    switch (exchange_) {
    case Exchange::ReadAsked:
        tables_.commandCode = 0;
        [[fallthrough]];
    case Exchange::ReadSent:
        restore(beforeRead_);
        finish(QStringLiteral("Read of LE%1 stopped: the form was closed").arg(engine_));
        break;
    case Exchange::WriteAsked:
        tables_.commandCode = 0;
        emit journal(QStringLiteral("Register write to LE%1 withdrawn: the form was closed").arg(engine_));
        finish(QStringLiteral("Write to LE%1 withdrawn: the form was closed").arg(engine_));
        break;
    case Exchange::ConfirmAsked:
        emit journal(QStringLiteral("Register write to LE%1 declined: the form was closed").arg(engine_));
        finish(QStringLiteral("Write to LE%1 not sent: the form was closed").arg(engine_));
        break;
    default: break;
    }
    pending_ = PendingWrite{};
    setExchange(Exchange::Idle);
}

void ParameterEditor::begin(Exchange e)
{
    setExchange(e);
    answer_->start(); // also when the same request is asked again
}

void ParameterEditor::setExchange(Exchange e)
{
    if (e == exchange_)
        return;
    exchange_ = e;
    // Each step with the engine has its own time to see its answer; the operator's has none.
    if (e == Exchange::Idle || e == Exchange::ConfirmAsked)
        answer_->stop();
    else
        answer_->start();
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
        if (slot == engine_ && tables_.isSelected(slot - 1) && code == static_cast<std::uint8_t>(CommandCode::ReadParameters))
            setExchange(Exchange::ReadSent);
        break;
    case Exchange::WriteAsked:
        if (slot == engine_ && tables_.isSelected(slot - 1) && code == static_cast<std::uint8_t>(CommandCode::WriteParameters)) {
            Registers sent{};
            for (int i = 0; i < kRegisters && i < frame.size(); ++i)
                written_[static_cast<std::size_t>(i)] = sent[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(frame[i]);
            emit journal(QStringLiteral("Registers written to LE%1: %2").arg(slot).arg(parameter_changes::journal(known(slot), sent)));
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
    Registers read{};
    for (int i = 0; i < kRegisters; ++i) {
        read[static_cast<std::size_t>(i)] = r.ParameterImage[static_cast<std::size_t>(i)];
        put(i, QString::number(r.ParameterImage[static_cast<std::size_t>(i)]));
    }
    known_[static_cast<std::size_t>(engine_ - 1)] = read;
    setSource(Source::Read, engine_, false);
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
    Registers held{};
    for (int i = 0; i < kRegisters; ++i)
        held[static_cast<std::size_t>(i)] = r.ParameterImage[static_cast<std::size_t>(i)];
    known_[static_cast<std::size_t>(engine_ - 1)] = held;
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
    // The boxes hold what was sent to this engine: chosen for it, changed where it differs.
    setSource(Source::Read, engine, !differing.isEmpty());
    if (!differing.isEmpty())
        emit journal(QStringLiteral("Register write to LE%1 not confirmed: read back differently: %2")
                         .arg(engine)
                         .arg(differing.join(QStringLiteral(", "))));
    finish(differing.isEmpty()
               ? QStringLiteral("LE%1: write confirmed, registers 1 to 31 read back as sent").arg(engine)
               : QStringLiteral("LE%1: write NOT confirmed, registers read back differently: %2")
                     .arg(engine)
                     .arg(differing.join(QStringLiteral(", "))));
}

void ParameterEditor::timedOut()
{
    const int engine = engine_;
    const int seconds = parameter_timing::kAnswerMs / 1000;
    const Exchange step = exchange_;
    QString text;
    switch (step) {
    case Exchange::ReadAsked:
    case Exchange::WriteAsked:
        // Nothing went out: the engine sent no reply to answer. The request is withdrawn so it
        // cannot surprise anyone later.
        tables_.commandCode = 0;
        text = QStringLiteral("LE%1 sent no reply in %2 s: the request was not sent").arg(engine).arg(seconds);
        if (step == Exchange::WriteAsked)
            emit journal(QStringLiteral("Register write to LE%1 not sent: no reply in %2 s").arg(engine).arg(seconds));
        break;
    case Exchange::ReadSent:
        text = QStringLiteral("No answer from LE%1 to the parameter read in %2 s").arg(engine).arg(seconds);
        break;
    case Exchange::ReadBackAsked:
        tables_.at(engine - 1).parameterReadRequest = false;
        [[fallthrough]];
    case Exchange::ReadBackSent:
        // What the engine holds now is not known: the next write lists every register.
        known_[static_cast<std::size_t>(engine - 1)].reset();
        text = QStringLiteral("Write sent to LE%1, but its registers could not be read back in %2 s: not confirmed")
                   .arg(engine)
                   .arg(seconds);
        emit journal(QStringLiteral("Register write to LE%1 not confirmed: no read-back in %2 s").arg(engine).arg(seconds));
        break;
    case Exchange::Idle:
    case Exchange::ConfirmAsked: return;
    }
    setExchange(Exchange::Idle);
    if (step == Exchange::ReadAsked || step == Exchange::ReadSent) {
        restore(beforeRead_);
        text += QStringLiteral("; the values held before the read are shown again");
    }
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
