#include "protocol/codec.h"

#include "protocol/parameter_block.h"

#include <cstdio>

namespace tarvek {

namespace {
bool isBlank(char c) { return c == ' ' || c == '\t'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr long kInt16Min = -32768;
constexpr long kInt16Max = 32767;
} // namespace

std::optional<long> parseNumber(std::string_view text)
{
    std::size_t i = 0;
    const std::size_t n = text.size();
    while (i < n && isBlank(text[i]))
        ++i;
    bool negative = false;
    if (i < n && (text[i] == '+' || text[i] == '-')) {
        negative = text[i] == '-';
        ++i;
    }
    long value = 0;
    bool digits = false;
    while (i < n && isDigit(text[i])) {
        if (value < 100000000)
            value = value * 10 + (text[i] - '0');
        digits = true;
        ++i;
    }
    if (i < n && text[i] == '.') {
        ++i;
        int first = -1;
        bool restNonZero = false;
        while (i < n && isDigit(text[i])) {
            if (first < 0)
                first = text[i] - '0';
            else if (text[i] != '0')
                restNonZero = true;
            digits = true;
            ++i;
        }
        if (first > 5 || (first == 5 && (restNonZero || (value & 1))))
            ++value;
    }
    while (i < n && isBlank(text[i]))
        ++i;
    if (!digits || i != n)
        return std::nullopt;
    return negative ? -value : value;
}

std::string_view replyField(std::string_view reply, int k)
{
    const auto start = static_cast<std::size_t>(k * kFieldWidth);
    if (start >= reply.size())
        return {};
    return reply.substr(start, kFieldWidth);
}

namespace {
// The usual field: blanks, then digits to its end. Anything else takes the lenient path.
inline bool fastField(const char* p, long& value)
{
    int i = 0;
    while (i < kFieldWidth && p[i] == ' ')
        ++i;
    if (i == kFieldWidth)
        return false;
    long v = 0;
    for (; i < kFieldWidth; ++i) {
        const unsigned d = static_cast<unsigned char>(p[i]) - '0';
        if (d > 9)
            return false;
        v = v * 10 + d;
    }
    value = v;
    return true;
}
} // namespace

ReplyOutcome decodeReply(EngineTables& tables, int index, std::string_view reply)
{
    LightEngineRecord& r = tables.at(index);
    ReplyOutcome out;
    r.rawReply.assign(reply);
    const bool full = reply.size() >= static_cast<std::size_t>(kReplyLength);
    bool syncRead = false;
    std::array<bool, kReplyFields> converted{};
    for (int k = 0; k < kReplyFields; ++k) {
        std::optional<long> value;
        long fast = 0;
        if (full && fastField(reply.data() + k * kFieldWidth, fast))
            value = fast;
        else
            value = parseNumber(replyField(reply, k));
        if (!value || *value < kInt16Min || *value > kInt16Max) {
            ++out.skippedFields;
            continue;
        }
        const auto v16 = static_cast<std::int16_t>(*value);
        if (k == pos::Sync)
            syncRead = true;
        r.frame[static_cast<std::size_t>(k)] = static_cast<std::uint16_t>(v16);
        converted[static_cast<std::size_t>(k)] = true;
    }
    for (std::size_t k = 0; k < kReplyFields; ++k)
        r.lastReceived[k] = static_cast<std::uint8_t>(r.frame[k] & 0xFF);

    // The synchronisation value must be in this reply: noise in its field keeps the last 123 in
    // the buffer, but the reply is not good for that.
    out.good = syncRead && r.frame[pos::Sync] == kSyncValue;
    r.ReplySeen = out.good ? static_cast<std::uint8_t>(kSyncValue) : 0;

    r.ReplyType = static_cast<std::uint8_t>(r.frame[pos::ReplyType]);
    out.replyType = static_cast<std::int16_t>(r.frame[pos::ReplyType]);
    // A reply of type 2 carries registers where a status reply carries readings: the frame buffer
    // and the last-received image take it like any reply, but the reading the station shows,
    // records and judges stays that of the last status reply.
    if (r.ReplyType != kParameterReplyType) {
        for (std::size_t k = 0; k < kReplyFields; ++k)
            if (converted[k])
                r.reported[k] = static_cast<std::int16_t>(r.frame[k]);
        r.everReported = true;
        r.Phase = static_cast<std::uint8_t>(r.frame[pos::Phase]);
        r.FaultCode = static_cast<std::int16_t>(r.frame[pos::FaultCode]);
        if (r.FaultCode >= 3 && r.FaultCode <= 6) {
            r.RunCommand = 2;
            out.stopRaised = true;
        }
    }

    // Only a good reply may load registers: a garbled block must not reach the parameter form.
    if (r.parameterReadPending && out.good && r.ReplyType == kParameterReplyType) {
        const auto registers = decodeParameterBlock(reply);
        for (std::size_t i = 0; i < registers.size(); ++i)
            r.ParameterImage[i] = registers[i];
        r.parameterReadPending = false;
        out.parametersRead = true;
    }
    // Handled: echoed back, a 2 at position 0 would ask the FADEC for its block again.
    if (r.ReplyType == kParameterReplyType)
        r.frame[pos::ReplyType] = 0;
    r.ReplyType = 0;
    return out;
}

SendOutcome composeFrame(EngineTables& tables, int index, bool portOpen)
{
    LightEngineRecord& r = tables.at(index);
    SendOutcome out;
    if (r.ReplySeen != kSyncValue) {
        out.blocked = true;
        return out;
    }
    const bool selected = tables.isSelected(index);
    if (selected)
        r.frame[0] = tables.commandCode;
    r.frame[pos::RunRequest] = r.RunCommand;
    if (r.Phase == 5)
        r.frame[pos::Power] = r.PowerSetPoint;
    r.frame[pos::QthRelay] = r.QthCommand;
    r.frame[pos::AlarmRelay] = r.AlarmResetCommand;
    r.frame[pos::Lpc] = r.RegulationCommand;
    r.frame[pos::MotorSpeedSetPoint] = r.MotorSpeedSetPoint;
    r.frame[pos::Cooling] = r.ModeCode;

    const bool writing = selected && tables.commandCode == static_cast<std::uint8_t>(CommandCode::WriteParameters);
    // A start's read goes to its own engine; a parameter write of the same engine goes first.
    const bool startRead = r.parameterReadRequest && !writing;
    if (startRead)
        r.frame[pos::ReplyType] = static_cast<std::uint8_t>(CommandCode::ReadParameters);
    if (writing) {
        r.frame[0] = 1;
        r.ParameterImage[0] = 1;
        for (std::size_t i = 1; i < kParameterCount; ++i) {
            r.frame[i] = tables.parameterEntries[i];
            r.ParameterImage[i] = tables.parameterEntries[i];
        }
        out.parameterBlockSent = true;
    }

    for (std::size_t i = 0; i < kReplyFields; ++i)
        out.bytes[i] = static_cast<char>(r.frame[i] & 0xFF);
    out.bytes[32] = '\r';
    out.bytes[33] = '\n';
    if (portOpen) {
        out.written = true;
        for (std::size_t i = 0; i < kReplyFields; ++i)
            r.lastSent[i] = static_cast<std::uint8_t>(r.frame[i] & 0xFF);
        if (startRead || (selected && tables.commandCode == static_cast<std::uint8_t>(CommandCode::ReadParameters)))
            r.parameterReadPending = true;
        if (startRead)
            r.parameterReadRequest = false;
    }
    if (selected)
        tables.commandCode = 0;
    return out;
}

std::string encodeReply(const std::array<int, kReplyFields>& fields)
{
    std::string text(kReplyLength, ' ');
    char cell[16];
    for (std::size_t k = 0; k < kReplyFields; ++k) {
        const int n = std::snprintf(cell, sizeof cell, "%5d", fields[k]);
        const std::size_t len = n > kFieldWidth ? kFieldWidth : static_cast<std::size_t>(n);
        // A value too wide for its field keeps its low digits, as a five-character cell would.
        text.replace(k * kFieldWidth, kFieldWidth, cell + (static_cast<std::size_t>(n) - len), len);
    }
    return text;
}

std::array<std::uint8_t, kReplyFields> frameBytes(std::string_view frame)
{
    std::array<std::uint8_t, kReplyFields> bytes{};
    for (std::size_t i = 0; i < kReplyFields && i < frame.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(frame[i]);
    return bytes;
}

} // namespace tarvek
