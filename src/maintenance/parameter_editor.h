#pragma once
// The 32 parameter registers of the selected engine's FADEC, as the form FadecParameters edits them.
//
// The value boxes hold texts (what "\ParamSt.ini" keeps, line by line); a write carries them as
// bytes in the station's parameter entries with the next frame of the selected engine (register 0
// never travels: its byte carries the request code).
//
// A write never sends what nobody chose for that engine. The boxes know where their values come
// from (source()): a successful read of an engine in this form, or a loaded file, and the
// operator's edits, Default and Zero after it. A write goes at once only when the values were read
// from the engine it goes to (or loaded from a file) and no register would go from its last read
// value to 0; otherwise the station asks first, naming the engine and each register that changes.
//
// Reading and writing are small exchanges with the engine, each step watched by ParameterAnswer:
//   read:  ReadAsked --frame with 2 went out--> ReadSent --block came--> Idle (values shown, marked)
//          (no answer: the boxes get back what they held before the read)
//   write: [ConfirmAsked --yes-->] WriteAsked --frame with 1 went out--> ReadBackAsked
//          --frame with 2--> ReadBackSent --block came--> Idle (every register confirmed, or the
//          differing ones named)
// A request that has not gone out is withdrawn when another engine is selected or the form
// closes. A step that sees nothing within kAnswerMs ends the exchange and says so. A start's own
// read is not one of these: it waits for its answer as long as it takes. Every write sent, asked
// about and declined, refused or left unconfirmed is a line for the activity history (journal()).
#include "protocol/codec.h"
#include "protocol/engine.h"
#include "protocol/parameter_block.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>
#include <optional>

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
inline const QString kWriteQuestion = QStringLiteral("Write the registers of LE");
// "The Port Com2 is not activated ! " for LE2.
QString portClosed(int engine);
// "Selected LE : 2"
QString selected(int engine);
} // namespace parameter_texts

class ParameterEditor : public QObject {
    Q_OBJECT
public:
    using PortOpen = std::function<bool(int engine)>;
    enum class Exchange { Idle, ReadAsked, ReadSent, ConfirmAsked, WriteAsked, ReadBackAsked, ReadBackSent };
    // Where the values in the boxes come from.
    enum class Source { None, Read, File };
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
    // The operator sets a box's text; its mark goes, the value no longer being the one compared.
    void setValue(int reg, const QString& text);
    // The numeric value of a box as it travels: a text that is not a number gives 0.
    static std::uint8_t byteOf(const QString& text);

    void paramDefault();
    void paramZero();
    bool writeConfHdd();
    void readParamHdd();
    void readConfig();
    void writeConfig();
    // The answer to the question a write asked (question()); a stale token is ignored.
    void answer(int token, bool yes);
    // Another engine was chosen on the main window: a request not yet sent is withdrawn.
    void selectionChanged();
    // The form closes: a request not yet sent is withdrawn, a read's boxes get their values back,
    // and nothing more is watched.
    void quit();

    Source source() const { return source_; }
    int sourceEngine() const { return sourceEngine_; }
    // What the boxes hold, for the top of the form ("Not read: ...", "Read from LE2").
    QString sourceText() const;
    // The values were read from the selected engine or loaded from a file: a write may go at once.
    bool sourceChosen() const { return chosenFor(tables_.selectedEngine); }
    // The question a write asks starts so; the main window shows it in the question window.
    static bool isWriteQuestion(const QString& text);

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
    void sourceChanged();
    void warning(const QString& caption, const QString& text);
    // Yes or no before a write; the answer goes back through answer(token, yes).
    void question(int token, const QString& caption, const QString& text);
    // A line for the activity history.
    void journal(const QString& text);
    // The last exchange's end, or where it stands, in one line for the form.
    void outcomeChanged(const QString& text);
    void exchangeChanged();

private:
    // What the boxes hold and where it came from, to be put back after a read that failed.
    struct Held {
        std::array<QString, kParameterCount> values;
        std::array<QString, kParameterCount> marks;
        Source source = Source::None;
        int sourceEngine = 0;
        bool edited = false;
    };
    struct PendingWrite {
        int token = 0;
        int engine = 0;
        Registers bytes{};
    };

    void put(int reg, const QString& text);
    void setSource(Source s, int engine, bool edited);
    Held held() const;
    void restore(const Held& h);
    Registers entries() const;
    bool chosenFor(int engine) const;
    QStringList reasonsToAsk(int engine, const Registers& bytes) const;
    const std::optional<Registers>& known(int engine) const { return known_.at(static_cast<std::size_t>(engine - 1)); }
    void send(int engine, const Registers& bytes);
    void refuse(int engine, const QString& why);
    bool checkPort();
    bool mayBegin(int engine); // a servable engine and no exchange in progress (else says so)
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
    int engine_ = 0; // the engine the exchange talks to
    Source source_ = Source::None;
    int sourceEngine_ = 0;
    bool edited_ = false;
    Held beforeRead_;
    PendingWrite pending_;
    int nextToken_ = 1;
    // Per engine LE1..LE6: its registers as last read (or read back) in this form.
    std::array<std::optional<Registers>, kEngines> known_{};
    Reference reference_ = Reference::SavedFile;
    QString outcome_;
    QTimer* answer_;
};

} // namespace tarvek
