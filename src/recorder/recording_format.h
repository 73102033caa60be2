#pragma once
// The recorder's file format: pcapng (the capture format Wireshark and tshark open), one section
// per file, one interface of link type USER0 (147), every packet the bytes that passed one link in
// one direction at once, behind a 12-byte header of its own:
//
//   offset 0  u8   format version, 1
//          1  u8   engine 1..6
//          2  u8   direction: 0 FADEC to station (reply bytes), 1 station to FADEC (a frame)
//          3  u8   flags: bit 0, the line went quiet here (no bytes follow)
//          4  u64  the station's monotonic clock in microseconds, big-endian
//
// The packet's own time stamp is the wall clock in microseconds. The pcapng stream of a file is
// compressed with zstd, one zstd frame a second, so a file cut short reads up to its last frame.
// packaging/tarvek.lua names the fields for Wireshark.
#include <QDateTime>
#include <QString>

#include <cstdint>
#include <string>
#include <string_view>

namespace tarvek::recording {

inline constexpr int kLinkType = 147; // LINKTYPE_USER0
inline constexpr int kVersion = 1;
inline constexpr std::size_t kHeaderLength = 12;
inline constexpr std::uint8_t kQuietFlag = 1;
inline constexpr int kDirectionIn = 0, kDirectionOut = 1;

struct Record {
    std::int64_t wallUs = 0;      // microseconds since 1970, UTC
    std::int64_t monotonicUs = 0; // the station's monotonic clock
    int engine = 0;               // 1..6
    int direction = kDirectionIn;
    bool quiet = false;           // the line went quiet here; no bytes
    std::string_view bytes;
};

// The section header and the interface of a new file.
std::string fileHeader();
// One enhanced packet block for `r`, appended to `out`.
void appendRecord(std::string& out, const Record& r);

// Reads a decompressed pcapng stream block by block. A block that is not whole yet (a file cut
// short) ends the reading without being taken.
class PacketReader {
public:
    enum class Status { Record, End, Incomplete, Foreign, Damaged };
    explicit PacketReader(std::string_view stream) : stream_(stream) {}
    // The next record (valid while the stream is), or why there is none.
    Status next(Record& r);
    // Why the last call ended as it did, in words, for Foreign and Damaged.
    QString problem() const { return problem_; }
    std::size_t offset() const { return offset_; }

private:
    std::string_view stream_;
    std::size_t offset_ = 0;
    bool sectionSeen_ = false;
    bool interfaceSeen_ = false;
    QString problem_;
};

// "2026-11-24T18-00-00Z.pcapng.zst": a file is named by the UTC time of its start, so the names sort
// in time order whatever the local clock did (daylight saving, a changed time zone).
QString fileNameFor(const QDateTime& start);
// The start time a file's name gives, or an invalid time for a name that is not a recording's.
QDateTime startOfFileName(const QString& name);
inline constexpr const char* kFileSuffix = ".pcapng.zst";
// The folder of the recordings in a station folder.
inline constexpr const char* kFolderName = "Recorder";

} // namespace tarvek::recording
