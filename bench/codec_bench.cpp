// Decodes and encodes replies and frames in a loop and prints replies per second on one core.
#include "protocol/codec.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

using namespace tarvek;
using Clock = std::chrono::steady_clock;

int main(int argc, char** argv)
{
    const long rounds = argc > 1 ? std::atol(argv[1]) : 5'000'000;
    std::vector<std::string> replies;
    for (int v = 0; v < 16; ++v) {
        std::array<int, kReplyFields> f{};
        for (int k = 0; k < kReplyFields; ++k)
            f[static_cast<std::size_t>(k)] = (k * 37 + v * 11) % 300 - (k == 7 ? 20 : 0);
        f[pos::Phase] = v % 8;
        f[pos::Sync] = kSyncValue;
        f[pos::ReplyType] = 0;
        replies.push_back(encodeReply(f));
    }
    EngineTables tables;
    tables.selectedEngine = 1;
    unsigned long checksum = 0;

    auto t0 = Clock::now();
    for (long i = 0; i < rounds; ++i) {
        const auto out = decodeReply(tables, static_cast<int>(i % kEngines), replies[static_cast<std::size_t>(i & 15)]);
        checksum += static_cast<unsigned long>(out.skippedFields) + tables.at(static_cast<int>(i % kEngines)).Phase;
    }
    auto t1 = Clock::now();
    for (long i = 0; i < rounds; ++i) {
        const auto out = composeFrame(tables, static_cast<int>(i % kEngines), true);
        checksum += static_cast<unsigned char>(out.bytes[static_cast<std::size_t>(i & 31)]);
    }
    auto t2 = Clock::now();
    long cycles = rounds / 4;
    for (long i = 0; i < cycles; ++i) {
        const int e = static_cast<int>(i % kEngines);
        decodeReply(tables, e, replies[static_cast<std::size_t>(i & 15)]);
        checksum += static_cast<unsigned char>(composeFrame(tables, e, true).bytes[4]);
    }
    auto t3 = Clock::now();

    const auto secs = [](auto a, auto b) { return std::chrono::duration<double>(b - a).count(); };
    std::printf("decode:  %.2f million replies/s (%ld replies, %.3f s)\n", static_cast<double>(rounds) / secs(t0, t1) / 1e6, rounds, secs(t0, t1));
    std::printf("encode:  %.2f million frames/s  (%ld frames, %.3f s)\n", static_cast<double>(rounds) / secs(t1, t2) / 1e6, rounds, secs(t1, t2));
    std::printf("cycle:   %.2f million reply+frame pairs/s\n", static_cast<double>(cycles) / secs(t2, t3) / 1e6);
    std::printf("(checksum %lu)\n", checksum);
    return 0;
}
