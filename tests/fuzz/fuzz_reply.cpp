// libFuzzer: the reply decoder, the frame builder and the parameter block on any bytes a line may
// carry. Byte 0 picks the engine (and a round trip of the encoders), byte 1 the station's state;
// the rest is the reply.
#include "protocol/codec.h"
#include "protocol/parameter_block.h"
#include "protocol/reply_framer.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

using namespace tarvek;

namespace {
void check(bool ok)
{
    if (!ok)
        std::abort();
}

// Positions the station writes over the reply's values in every frame (the selected engine's
// position 0 too); the frame carries every other field's low byte as it was received.
bool stationWrites(int k, bool selected)
{
    return k == 2 || k == 4 || k == 6 || k == 8 || k == 12 || k == 24 || k == 31 || (k == 0 && selected);
}

// Fields built from the input survive a trip through the encoder and the decoder.
void roundTrip(const std::uint8_t* data, std::size_t size)
{
    std::array<int, kReplyFields> fields{};
    for (std::size_t k = 0; k < kReplyFields && 2 * k + 1 < size; ++k) {
        std::int16_t v = 0;
        std::memcpy(&v, data + 2 * k, sizeof v);
        fields[k] = v < -9999 ? -9999 : v; // five characters a field
    }
    EngineTables tables;
    const ReplyOutcome out = decodeReply(tables, 0, encodeReply(fields));
    check(out.skippedFields == 0);
    // A block of registers (type 2 in the low byte) is never taken for a reading.
    const bool block = (fields[0] & 0xFF) == kParameterReplyType;
    for (std::size_t k = 0; k < kReplyFields; ++k)
        check(tables.at(0).reported[k] == (block ? 0 : fields[k]));
    check(tables.at(0).everReported == !block);

    Registers registers{};
    for (std::size_t i = 0; i < registers.size() && i < size; ++i)
        registers[i] = data[i];
    const Registers back = decodeParameterBlock(encodeParameterBlock(registers));
    for (std::size_t i = 1; i < registers.size(); ++i)
        check(back[i] == registers[i]);
    check(back[0] == kParameterReplyType);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    const int index = data[0] % kEngines;
    const std::uint8_t how = data[1];
    const std::string_view reply(reinterpret_cast<const char*>(data + 2), size - 2);

    EngineTables tables;
    tables.selectedEngine = static_cast<std::int16_t>(how % 7);
    tables.commandCode = static_cast<std::uint8_t>((how >> 3) % 3);
    LightEngineRecord& r = tables.at(index);
    r.parameterReadPending = (how & 0x20) != 0;
    r.RunCommand = static_cast<std::uint8_t>(how >> 6);

    const ReplyOutcome out = decodeReply(tables, index, reply);
    check(out.good == (r.ReplySeen == kSyncValue));
    check(out.skippedFields >= 0 && out.skippedFields <= kReplyFields);
    const bool selected = tables.isSelected(index);
    const bool writesBlock = selected && tables.commandCode == static_cast<std::uint8_t>(CommandCode::WriteParameters);

    const SendOutcome sent = composeFrame(tables, index, (how & 0x40) != 0);
    check(sent.blocked == !out.good); // only a good reply is answered
    if (!sent.blocked) {
        check(sent.bytes[32] == '\r' && sent.bytes[33] == '\n');
        for (int k = 0; k < kReplyFields && !writesBlock; ++k) {
            // A handled parameter block is not echoed back as a new read request; the reply type is
            // a byte, so 3330 (13 * 256 + 2) is one too.
            if (stationWrites(k, selected) || (k == 0 && (out.replyType & 0xFF) == kParameterReplyType))
                continue;
            // The quick path of the decoder and the lenient one must read a field alike.
            const auto v = parseNumber(replyField(reply, k));
            if (v && *v >= -32768 && *v <= 32767)
                check(static_cast<unsigned char>(sent.bytes[static_cast<std::size_t>(k)]) == (*v & 0xFF));
        }
    }
    decodeParameterBlock(reply);
    parseNumber(reply);

    // The same bytes as a line delivers them, in pieces of how % 17 + 1, half the time with the line
    // going quiet between some pieces: every reply the framer hands out is whole, and on the field
    // grid or carrying the synchronisation value with few fields off it; it holds less than a
    // reply besides.
    ReplyFramer framer;
    const std::size_t piece = how % 17 + 1;
    for (std::size_t at = 0; at < reply.size(); at += piece) {
        if ((how & 0x80) && reply[at] < '0')
            framer.markQuiet();
        framer.feed(reply.substr(at, piece), [](std::string_view whole) {
            check(whole.size() == static_cast<std::size_t>(kReplyLength)
                  && (ReplyFramer::onFieldGrid(whole) || ReplyFramer::syncedReply(whole)));
        });
    }
    check(framer.pending() < static_cast<std::size_t>(kReplyLength));
    if (data[0] >= 0x80) // half the inputs: the encoders are slow under the sanitizers
        roundTrip(data + 2, size - 2);
    return 0;
}
