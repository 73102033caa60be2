#pragma once
// The checked entry of one whole number (the form Saisie): the motor speed of the selected engine,
// or one parameter register. The caller gives the hint, the minimum and maximum as texts and what
// to do with an accepted entry; the form shows what this class emits.
//
// The checks run in this order, the first refusal wins and the entry stays open as typed:
//   1. every character a digit 0-9 (signs, blanks and decimal points refused);
//   2. the entry compared with the minimum and maximum as texts, limits included, so an entry of
//      another length is judged by its leading characters ("900" sorts above "4000");
//   3. for the motor speed, the number itself within 1000..4000 rpm.
// An empty entry passes the digit check and sorts below any minimum: it is refused by step 2.
//
// Timer17 runs while the entry is open and every edit restarts it: an entry left untouched is
// cancelled, so a forgotten dialog never keeps the STOP buttons of the main window out of reach.
#include <QObject>
#include <QString>

#include <functional>

class QTimer;

namespace tarvek {

namespace entry_timing {
inline constexpr int kIdleCancelMs = 60'000; // Timer17
} // namespace entry_timing

namespace entry_texts {
inline const QString kCaption = QStringLiteral(" Warning!");
inline const QString kNotDigits = QStringLiteral("Input error, use number 0-9");
inline const QString kOutsideLimits = QStringLiteral("Input error, Value < Min or > Max ");
inline const QString kOutsideMotorRange = QStringLiteral("Standard input, 1000-4000 RPM ");
} // namespace entry_texts

enum class EntryCheck { Accepted, NotDigits, OutsideLimits, OutsideMotorRange };

struct EntryRequest {
    QString hint;
    QString minimum; // kept and compared as text
    QString maximum;
    bool motorSpeed = false;
    // Called once with the accepted text; a cancelled entry calls nothing.
    std::function<void(const QString& text)> onAccepted;
    // Compare with the limits as numbers instead of texts: a register's "0".."255" as texts would
    // refuse 99 and let 10000 through.
    bool numericLimits = false;
    QString subject{}; // what is asked for, in words: the engine, the quantity and its unit
    // What an entry would become, told while it is typed (empty: nothing to tell).
    std::function<QString(const QString& text)> note{};
};

class ValueEntry : public QObject {
    Q_OBJECT
public:
    static constexpr int kMotorMinRpm = 1000;
    static constexpr int kMotorMaxRpm = 4000;

    explicit ValueEntry(QObject* parent = nullptr);

    static EntryCheck check(const QString& text, const QString& minimum, const QString& maximum, bool motorSpeed);
    static EntryCheck check(const QString& text, const EntryRequest& request);
    // The warning text of a refusal; empty for an accepted entry.
    static QString message(EntryCheck verdict);

    // Opens an entry; one that was open is cancelled first.
    void open(EntryRequest request);
    bool isOpen() const { return open_; }
    const EntryRequest& request() const { return request_; }
    QTimer* timer17() const { return timer17_; }

public slots:
    // ValidationSaisie: refuses with warning(), or stops Timer17, hands the text over and closes.
    bool validate(const QString& text);
    // AnnulerSaisie: closes without storing anything.
    void cancel();
    // The operator typed: the idle time starts again, and the request's note follows the text.
    void edited(const QString& text = QString());

signals:
    void opened(const QString& hint, const QString& minimum, const QString& maximum);
    void warning(const QString& caption, const QString& text);
    void closed(bool accepted);
    void noteChanged(const QString& note);

private:
    void close(bool accepted);

    EntryRequest request_;
    bool open_ = false;
    QTimer* timer17_;
};

} // namespace tarvek
