#include "protocol/parameter_block.h"

#include "protocol/codec.h"

namespace tarvek {

std::string encodeParameterBlock(const Registers& registers)
{
    std::array<int, kReplyFields> fields{};
    fields[pos::ReplyType] = kParameterReplyType;
    for (std::size_t r = 1; r < 30; ++r)
        fields[r] = registers[r];
    fields[pos::Sync] = kSyncValue;
    fields[31] = registers[30] * 256 + registers[31];
    return encodeReply(fields);
}

Registers decodeParameterBlock(std::string_view reply)
{
    Registers registers{};
    auto byteAt = [&](int k) -> long {
        const auto v = parseNumber(replyField(reply, k));
        return v ? *v : 0;
    };
    registers[0] = static_cast<std::uint8_t>(byteAt(0));
    for (int r = 1; r < 30; ++r)
        registers[static_cast<std::size_t>(r)] = static_cast<std::uint8_t>(byteAt(r));
    const long packed = byteAt(31);
    registers[30] = static_cast<std::uint8_t>((packed >> 8) & 0xFF);
    registers[31] = static_cast<std::uint8_t>(packed & 0xFF);
    return registers;
}

const Registers& defaultRegisters()
{
    static const Registers defaults = {0, 0,  0,  0,  0, 0,  0, 0,  16,  0,  0,  0,  0, 0,  0, 0,
                                       0, 0, 50, 20, 15, 3, 0, 50, 35, 70, 115, 25, 60, 0, 50, 15};
    return defaults;
}

} // namespace tarvek
