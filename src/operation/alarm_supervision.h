#pragma once
// The alarms judged by the station from each engine's replies, with their limits and arming, and
// the alarm list that every alarm source feeds.
//
//   SHT   the SHT temperature is above the set-point of "\SHTConsigne.ini".
//   LFC   the lamp runs (phase 5) and its LFC level is below the low limit of "\ConsSliderLCF.ini".
//   QTH   the QTH relay feedback of the replies has differed from the QTH command sent for
//         kQthSettleMs: a relay that is just switching, and the frame that carries the new
//         command, never raise it; a relay that does not follow its command does.
// Each alarm holds until a reply says otherwise; "START All LE" clears them all.
//
// File layouts (the line counts and defaults of the station's settings index):
//   "\SHTConsigne.ini"     1 line: the SHT set-point in degrees C (40)
//   "\SHTPCStatusHal.ini"  20 lines: 1 the station judges SHT (1); 2..7 LE1..LE6 switched off (0);
//                          8..20 kept as read
//   "\ConsSliderLCF.ini"   9 lines: 1 the top of the low-limit slider (130); 2 the low limit (30);
//                          3..8 LE1..LE6 switched off (0); 9 kept as read
//   "\StatusHalogen.ini"   6 lines: LE1..LE6 armed (0: QTH lamps are optional, so opt-in)
#include "operation/alarm_state.h"
#include "operation/alarm_summary.h"
#include "operation/operation_context.h"
#include "operation/reply_alarms.h"
#include "settings/station_settings.h"

#include <QDateTime>
#include <QObject>

#include <array>
#include <functional>

namespace tarvek {

struct AlarmLimits {
    int shtSetPoint = 40;
    bool shtJudged = true;
    int lfcSliderTop = 130;
    int lfcLow = 30;
    std::array<bool, kEngines> shtArmed{true, true, true, true, true, true};
    std::array<bool, kEngines> lfcArmed{true, true, true, true, true, true};
    std::array<bool, kEngines> qthArmed{};

    // Why these limits cannot be kept, or empty.
    QString problem() const;
    bool operator==(const AlarmLimits&) const = default;
};

class AlarmSupervision : public QObject {
    Q_OBJECT
public:
    static constexpr int kQthSettleMs = 3000;
    static constexpr int kMaxShtSetPoint = 150;
    static constexpr int kMaxLfc = 255;

    using FaultText = std::function<QString(int code)>;
    AlarmSupervision(OperationContext& context, StationSettings& settings, SettingsFiles& files,
                     AlarmState& bytes, FaultText faultText, QObject* parent = nullptr);

    AlarmSummary& summary() { return *summary_; }
    const AlarmSummary& summary() const { return *summary_; }

    AlarmLimits limits() const;
    // Service mode only: stores the limits and arming and rewrites the four files. Returns why
    // nothing was saved, or empty.
    QString saveLimits(const AlarmLimits& limits);

    bool holds(int engine, AlarmSource source) const { return summary_->holds(engine, source); }
    // The menu entry of a source's window and its caption now ("SHT (FADEC and PC) *" while held).
    static QString menuOf(AlarmSource source);
    QString caption(AlarmSource source) const;

public slots:
    // A good status reply of engine 1..6 was decoded into its record.
    void onReply(int engine);
    void linkLost(int engine);
    void linkRestored(int engine);
    void stopAlarmRaised(int engine);
    // START All: the SHT, LFC, QTH and stop alarms end and the captions lose their marks.
    void resetForStartAll();

signals:
    void eventLine(const QString& line);
    void captionChanged(const QString& menu, const QString& caption);
    // Limits, arming or a held alarm changed: the alarm windows show it again.
    void changed();

private:
    void judgeSht(int engine);
    void judgeQth(int engine, const QDateTime& now);
    void judgeFault(int engine);
    void raise(int engine, AlarmSource source, const QString& line, const QString& text);
    void end(int engine, AlarmSource source);
    void updateCaption(AlarmSource source);
    void applyArming();

    OperationContext& ctx_;
    StationSettings& settings_;
    SettingsFiles& files_;
    AlarmState& bytes_;
    FaultText faultText_;
    AlarmSummary* summary_;
    ReplyAlarms replyAlarms_;
    std::array<QDateTime, kEngines> qthMismatchSince_{};
    std::array<bool, 3> marked_{}; // SHT, LFC, QTH captions carry "*"
};

} // namespace tarvek
