#pragma once
// Reads one recording file for the replay: every whole record in order, and, when reading stopped
// before the end (a file cut short, damaged, or not a recording of this station), where and why.
#include "recorder/recording_format.h"

#include <QString>

#include <cstdint>
#include <string>
#include <vector>

namespace tarvek::recording {

struct RecordingFile {
    struct Entry {
        std::int64_t timeUs = 0; // on the replay's time line: wall clock of the first record, then
                                 // the monotonic clock's steps, so a clock set meanwhile is no jump
        std::int64_t wallUs = 0;
        std::uint32_t offset = 0; // of the bytes in `stream`
        std::uint16_t length = 0;
        std::uint8_t engine = 0;
        std::uint8_t direction = 0;
        bool quiet = false;
    };
    QString path;
    std::string stream; // the pcapng the file holds, decompressed
    std::vector<Entry> records;
    QString problem;    // empty when the file was read whole: else which file, where, and why
    bool foreign = false;

    std::string_view bytes(const Entry& e) const { return std::string_view(stream).substr(e.offset, e.length); }
    bool empty() const { return records.empty(); }
    std::int64_t firstUs() const { return records.empty() ? 0 : records.front().timeUs; }
    std::int64_t lastUs() const { return records.empty() ? 0 : records.back().timeUs; }
};

// A recording (.pcapng.zst, or a plain .pcapng saved from Wireshark).
RecordingFile readRecording(const QString& path);

// The recordings of a folder in time order, or the one file named.
QStringList recordingFiles(const QString& fileOrFolder);

// Local date and time of a point of the time line, to the millisecond, as the replay shows it.
QString timeText(std::int64_t timeUs);

} // namespace tarvek::recording
