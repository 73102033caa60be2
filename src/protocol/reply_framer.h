#pragma once
// Finds whole 160-character replies in the byte stream of one port by their content, not by the
// time between bytes: a reply that arrives in bursts is still one reply, and a lost byte, an extra
// byte or line noise costs at most the reply it touched.
//
// A reply is 32 right-aligned numbers of 5 characters, so the last character of every field is a
// digit: a window of 160 characters with that shape lies on the field grid. After a whole reply
// the next one follows on the grid and is taken whatever it says (a reply without the
// synchronisation value is still a reply, just not a good one). After noise, the framer only
// trusts a window whose field 30 reads 123 and whose phase is 0..7, which a window shifted by
// whole fields hardly ever does. Such a window is a reply even when a few other fields are
// garbled: the decoder keeps those positions as they were. A window shifted by a byte leaves most
// field ends on blanks or on the wrong digits and is never taken.
//
// Time marks replies too: a FADEC starts a reply only after the station's frame (30 ms after the
// last reply, then 34 characters on the line) or after its own frame time-out, so a line quiet for
// longer than the pauses inside one reply means the bytes held will never be completed.
#include "protocol/engine.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tarvek {

class ReplyFramer {
public:
    // Appends bytes and calls onReply(std::string_view) for every whole reply, in order.
    template <class OnReply>
    void feed(std::string_view bytes, OnReply&& onReply)
    {
        buffer_.append(bytes);
        std::string_view reply;
        while (next(reply))
            onReply(reply);
        compact();
    }

    // Bytes held that may still be the start of a reply.
    std::size_t pending() const { return buffer_.size() - start_; }
    // Bytes thrown away as not belonging to any reply, since the last reset.
    std::uint64_t discarded() const { return discarded_; }
    bool synchronised() const { return synced_; }
    // Forgets everything: a port that opens again starts in the middle of nowhere.
    void reset();
    // The line went quiet after the bytes held. When the reply they begin turns out not to go on
    // (the first whole window is no reply carrying the synchronisation value), they are dropped;
    // a reply that only paused, because this side was busy, is kept.
    void markQuiet() { quietMark_ = pending(); }
    // Times that held bytes were dropped as stale, since the last reset.
    std::uint64_t staleDrops() const { return staleDrops_; }

    // The shape test, exposed for tests and fuzzing.
    static bool onFieldGrid(std::string_view window);
    // Field 30 reads 123 and field 1 a phase 0..7.
    static bool carriesSync(std::string_view window);
    // Carries the synchronisation value, ends on the grid, and has at most kMaxGarbledFields fields
    // off it.
    static bool syncedReply(std::string_view window);
    static constexpr int kMaxGarbledFields = 6;

private:
    bool next(std::string_view& reply);
    void compact();

    std::string buffer_;
    std::size_t start_ = 0;  // first byte not yet consumed
    std::size_t handed_ = 0; // bytes of the reply last handed out, consumed on the next call
    std::uint64_t discarded_ = 0;
    std::uint64_t staleDrops_ = 0;
    std::size_t quietMark_ = 0; // bytes held from before the line went quiet
    bool synced_ = false;    // the last bytes consumed were a whole reply
};

} // namespace tarvek
