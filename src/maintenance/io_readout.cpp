#include "maintenance/io_readout.h"

#include "maintenance/parameter_editor.h"
#include "recording/named_timer.h"

namespace tarvek {

IoReadOut::IoReadOut(const EngineTables& tables, PortOpen portOpen, QObject* parent)
    : QObject(parent), tables_(tables), portOpen_(std::move(portOpen))
{
    setObjectName(QStringLiteral("IoReadOut"));
    timer1_ = namedTimer(this, QStringLiteral("Timer1"), readout_timing::kRefreshMs, false);
    connect(timer1_, &QTimer::timeout, this, &IoReadOut::refresh);
}

const std::array<QString, kReplyFields>& IoReadOut::labels()
{
    static const std::array<QString, kReplyFields> texts = {
        QStringLiteral("Index - Selection bank (0,1,2)     "),
        QStringLiteral("Phase (0,1,2,3,4,5,6)"),
        QStringLiteral("0 =Nul, 1 =Start, 2 =Stop from the PC  "),
        QStringLiteral("Confirmation of activation 0 =Nul, 1 =Yes"),
        QStringLiteral("Value PWR phase 5  "),
        QStringLiteral("No increase in MR    "),
        QStringLiteral("Relay (QTH) 0=OFF, 1 ON "),
        QStringLiteral("(QTH and IR) 0=OFF, 1=ON, 2=Alarm ON"),
        QStringLiteral("Relay (Alarm) 0=OFF, 1=ON"),
        QStringLiteral("Error Message"),
        QStringLiteral("\u00b0C Thermo DS1621 - MAT"),
        QStringLiteral("\u00b0C Thermo DS1621 - SHT"),
        QStringLiteral("AD0-0 LPC (PMS)"),
        QStringLiteral("AD0-1 LFC (LFC)"),
        QStringLiteral("AD0-2 Battery (SBV)"),
        QStringLiteral("AD0-3 VCC (PSP)"),
        QStringLiteral("AD1-0 VIS"),
        QStringLiteral("AD1-1 IR"),
        QStringLiteral("AD1-2 RH"),
        QStringLiteral("AD1-3 (not used)"),
        QStringLiteral("AD2-0 (not used)"),
        QStringLiteral("AD2-1 (not used)"),
        QStringLiteral("AD2-2 (not used)"),
        QStringLiteral("AD2-3 (not used)"),
        QStringLiteral("Vmot (3000/30 = 100 type) "),
        QStringLiteral("Return Fixed Speed M"),
        QStringLiteral("No version Stamp:  "),
        QStringLiteral("Frequency Tachy M   "),
        QStringLiteral("Frequency Tachy V1  "),
        QStringLiteral("Frequency Tacho V2  "),
        QStringLiteral("Synchro RS232 (Stamp)"),
        QStringLiteral("Enable cooling (M + V1 + V2)        "),
    };
    return texts;
}

QString IoReadOut::line(int index, int value)
{
    return (QStringLiteral("00") + QString::number(index)).right(2) + QStringLiteral("   ") +
           (QStringLiteral("   ") + QString::number(value)).right(3);
}

void IoReadOut::setDirection(Direction d)
{
    direction_ = d;
    emit refresh();
}

QString IoReadOut::directionCaption(Direction d)
{
    return d == Direction::StampToPc ? QStringLiteral("Read Fadec IO - Stamp to PC")
                                     : QStringLiteral("Read Fadec IO - PC to Stamp");
}

bool IoReadOut::read(int engine)
{
    if (engine < 1 || engine > kEngines)
        return false;
    if (!portOpen_(engine)) {
        emit warning(parameter_texts::kPortCaption, parameter_texts::portClosed(engine));
        return false;
    }
    shown_[static_cast<std::size_t>(engine - 1)] = true;
    last_ = engine;
    emit selectedChanged(engine);
    emit refresh();
    return true;
}

QStringList IoReadOut::lines(int engine) const
{
    const LightEngineRecord& r = tables_.at(engine - 1);
    const auto& block = direction_ == Direction::StampToPc ? r.lastReceived : r.lastSent;
    QStringList out;
    for (int i = 0; i < kShownEntries; ++i)
        out << line(i, block[static_cast<std::size_t>(i)]);
    return out;
}

void IoReadOut::setOpen(bool open)
{
    if (open)
        timer1_->start();
    else
        timer1_->stop();
}

} // namespace tarvek
