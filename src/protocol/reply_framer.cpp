#include "protocol/reply_framer.h"

#include <utility>

namespace tarvek {

namespace {
inline bool isDigit(char c) { return c >= '0' && c <= '9'; }
// What the fields of a reply are written with; any other byte cannot be part of one.
inline bool inReply(char c) { return isDigit(c) || c == ' ' || c == '+' || c == '-' || c == '.' || c == '\t'; }
constexpr auto kReply = static_cast<std::size_t>(kReplyLength);
constexpr auto kSyncAt = static_cast<std::size_t>(pos::Sync * kFieldWidth);
constexpr auto kPhaseAt = static_cast<std::size_t>(pos::Phase * kFieldWidth);
} // namespace

bool ReplyFramer::onFieldGrid(std::string_view window)
{
    if (window.size() < kReply)
        return false;
    for (std::size_t end = kFieldWidth - 1; end < kReply; end += kFieldWidth)
        if (!isDigit(window[end]))
            return false;
    return true;
}

bool ReplyFramer::carriesSync(std::string_view window)
{
    if (window.size() < kReply)
        return false;
    // "  123" or "00123": the number 123 written right-aligned in its five characters.
    const std::string_view field = window.substr(kSyncAt, kFieldWidth);
    if (field.substr(2) != "123")
        return false;
    if (!((field[0] == ' ' || field[0] == '0') && (field[1] == ' ' || field[1] == '0')))
        return false;
    // And a phase 0..7: a window shifted by whole fields rarely passes both.
    const std::string_view phase = window.substr(kPhaseAt, kFieldWidth);
    for (std::size_t i = 0; i + 1 < phase.size(); ++i)
        if (phase[i] != ' ' && phase[i] != '0')
            return false;
    return phase.back() >= '0' && phase.back() <= '7';
}

bool ReplyFramer::syncedReply(std::string_view window)
{
    // The last field must end on the grid: a reply that lost a byte ends on the next reply's first
    // character, a blank, and is not mistaken for a garbled one.
    if (!carriesSync(window) || !isDigit(window[kReply - 1]))
        return false;
    int garbled = 0;
    for (std::size_t end = kFieldWidth - 1; end < kReply; end += kFieldWidth)
        if (!isDigit(window[end]) && ++garbled > kMaxGarbledFields)
            return false;
    return true;
}

void ReplyFramer::reset()
{
    buffer_.clear();
    start_ = 0;
    handed_ = 0;
    discarded_ = 0;
    staleDrops_ = 0;
    quietMark_ = 0;
    synced_ = false;
}

bool ReplyFramer::next(std::string_view& reply)
{
    start_ += handed_;
    handed_ = 0;
    const std::string_view data = std::string_view(buffer_).substr(start_);
    if (data.size() < kReply)
        return false;
    if (quietMark_ > 0) {
        const std::size_t held = std::exchange(quietMark_, 0);
        if (!syncedReply(data)) {
            ++staleDrops_;
            discarded_ += held;
            start_ += held;
            return next(reply);
        }
    }
    if (synced_ && (onFieldGrid(data) || syncedReply(data))) {
        reply = data.substr(0, kReply);
        handed_ = kReply;
        // A reply without its synchronisation value proves nothing about the next one's place.
        synced_ = carriesSync(reply);
        return true;
    }
    // Lost: look for the first window that proves its alignment by its synchronisation field.
    synced_ = false;
    for (std::size_t at = 0; at + kReply <= data.size(); ++at) {
        const std::string_view window = data.substr(at, kReply);
        if (syncedReply(window)) {
            discarded_ += at;
            start_ += at;
            synced_ = true;
            reply = window;
            handed_ = kReply;
            return true;
        }
    }
    // Nothing yet. At most the last 159 bytes may be the beginning of the next reply, and none
    // that lie before a byte no reply contains.
    std::size_t drop = data.size() - (kReply - 1);
    for (std::size_t i = data.size(); i > drop; --i)
        if (!inReply(data[i - 1])) {
            drop = i;
            break;
        }
    discarded_ += drop;
    start_ += drop;
    return false;
}

void ReplyFramer::compact()
{
    start_ += handed_;
    handed_ = 0;
    if (start_ == buffer_.size()) {
        buffer_.clear();
        start_ = 0;
    } else if (start_ >= 4096) {
        buffer_.erase(0, start_);
        start_ = 0;
    }
}

} // namespace tarvek
