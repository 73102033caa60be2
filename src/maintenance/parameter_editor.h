#pragma once
// The 32 parameter registers of the selected engine's FADEC, as the form FadecParameters edits them.
//
// The value boxes hold texts (what "\ParamSt.ini" keeps, line by line); every change is also put
// in the station's parameter entries, which the next write frame of the selected engine carries
// (register 0 never travels: its byte carries the request code).
//
// Reading and writing are small exchanges with the engine, each watched by ParameterAnswer:
//   read:  ReadAsked --frame with 2 went out--> ReadSent --block came--> Idle (values shown, marked)
//   write: WriteAsked --frame with 1 went out--> ReadBackAsked --frame with 2--> ReadBackSent
//          --block came--> Idle (every register confirmed, or the differing ones named)
// A step that sees nothing within kAnswerMs ends the exchange and says so. A start's own read is
// not one of these: it waits for its answer as long as it takes.
#include "protocol/codec.h"
#include "protocol/engine.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>

class QTimer;

namespace tarvek {

class SettingsFiles;

namespace parameter_timing {
inline constexpr int kAnswerMs = 5'000; // ParameterAnswer: one step of a read or a write
} // namespace parameter_timing

namespace parameter_texts {
inline const QString kFile = QStringLiteral("\\ParamSt.ini");
inline const QString kPhaseCaption = QStringLiteral(" Warning!");
inline const QString kNotInPhase0 = QStringLiteral("LE is not in phase 0 ");
inline const QString kPortCaption = QStringLiteral(" Warning ! ");
// "The Port Com2 is not activated ! " for LE2.
QString portClosed(int engine);
// "Selected LE : 2"
QString selected(int engine);
} // namespace parameter_texts

class ParameterEditor : public QObject {
    Q_OBJECT
public:
    using PortOpen = std::function<bool(int engine)>;
    enum class Exchange { Idle, ReadAsked, ReadSent, WriteAsked, ReadBackAsked, ReadBackSent };
    // What a read is compared with: the saved file or the factory defaults.
    enum class Reference { SavedFile, Defaults };
    static constexpr int kRegisters = kParameterCount;
    static constexpr int kFirstBox = 32; // value box of register r is r + 32

    ParameterEditor(EngineTables& tables, SettingsFiles& files, PortOpen portOpen, QObject* parent = nullptr);

    // The captions beside the boxes, blanks kept.
    static const std::array<QString, kParameterCount>& labels();

    // mnuParameters: true when the selected engine may be edited; warns otherwise.
    bool mayOpen();
    int selectedEngine() const { return tables_.selectedEngine; }

    QString value(int reg) const { return values_.at(static_cast<std::size_t>(reg)); }
    QStringList values() const;
    // Sets a box's text; its mark goes, the value no longer being the one compared.
    void setValue(int reg, const QString& text);
    // The numeric value of a box as it travels: a text that is not a number gives 0.
    static std::uint8_t byteOf(const QString& text);

    void paramDefault();
    void paramZero();
    bool writeConfHdd();
    void readParamHdd();
    void readConfig();
    void writeConfig();
    // The form closes: an exchange in progress is no longer watched.
    void quit();

    Exchange exchange() const { return exchange_; }
    int exchangeEngine() const { return engine_; }
    // Empty when the register is not marked; otherwise why, for the box's tip.
    QString mark(int reg) const { return marks_.at(static_cast<std::size_t>(reg)); }
    int markCount() const;
    void setReference(Reference r) { reference_ = r; }
    Reference reference() const { return reference_; }
    QString outcome() const { return outcome_; }
    QTimer* answerTimer() const { return answer_; }

public slots:
    // From the link: every frame that went out and every reply handled.
    void onFrameSent(int slot, const QByteArray& frame);
    void onReply(int slot, const tarvek::ReplyOutcome& outcome);

signals:
    void valuesChanged();
    void marksChanged();
    void warning(const QString& caption, const QString& text);
    // The last exchange's end, or where it stands, in one line for the form.
    void outcomeChanged(const QString& text);
    void exchangeChanged();

private:
    bool checkPort();
    void begin(Exchange e);
    void setExchange(Exchange e);
    void finish(const QString& text);
    void timedOut();
    void clearMarks();
    void showRead(const LightEngineRecord& r);
    void confirmWrite(const LightEngineRecord& r);
    std::array<QString, kParameterCount> referenceTexts(QString* name);

    EngineTables& tables_;
    SettingsFiles& files_;
    PortOpen portOpen_;
    std::array<QString, kParameterCount> values_;
    std::array<QString, kParameterCount> marks_;
    std::array<std::uint8_t, kParameterCount> written_{}; // the write frame's bytes, as they went out
    Exchange exchange_ = Exchange::Idle;
    int engine_ = 0; // the engine the exchange talks to, once its first frame went out
    Reference reference_ = Reference::SavedFile;
    QString outcome_;
    QTimer* answer_;
};

} // namespace tarvek
