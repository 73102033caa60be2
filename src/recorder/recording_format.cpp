#include "recorder/recording_format.h"

#include <QTimeZone>

#include <cstring>

namespace tarvek::recording {

namespace {
constexpr std::uint32_t kSectionHeader = 0x0A0D0D0A, kInterface = 1, kEnhancedPacket = 6;
constexpr std::uint32_t kByteOrderMagic = 0x1A2B3C4D;
constexpr const char* kNameFormat = "yyyy-MM-ddTHH-mm-ss'Z'";

void put16(std::string& out, std::uint16_t v)
{
    out.push_back(static_cast<char>(v & 0xFF));
    out.push_back(static_cast<char>(v >> 8));
}
void put32(std::string& out, std::uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}
std::uint32_t get32(std::string_view s, std::size_t at)
{
    std::uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(s[at + static_cast<std::size_t>(i)]);
    return v;
}
std::uint16_t get16(std::string_view s, std::size_t at)
{
    return static_cast<std::uint16_t>(static_cast<unsigned char>(s[at]) | static_cast<unsigned char>(s[at + 1]) << 8);
}
void padTo4(std::string& out)
{
    while (out.size() % 4)
        out.push_back('\0');
}
// A block: type, length, body, length again.
void appendBlock(std::string& out, std::uint32_t type, const std::string& body)
{
    const auto length = static_cast<std::uint32_t>(12 + body.size());
    put32(out, type);
    put32(out, length);
    out += body;
    put32(out, length);
}
void appendOption(std::string& body, std::uint16_t code, std::string_view value)
{
    put16(body, code);
    put16(body, static_cast<std::uint16_t>(value.size()));
    body += value;
    padTo4(body);
}
} // namespace

std::string fileHeader()
{
    std::string out, section, interface;
    put32(section, kByteOrderMagic);
    put16(section, 1);
    put16(section, 0);
    section.append(8, '\xFF'); // section length not known
    appendOption(section, 4, "tarvek-station recorder"); // shb_userappl
    section.append(4, '\0');                              // end of options
    appendBlock(out, kSectionHeader, section);
    put16(interface, kLinkType);
    put16(interface, 0);
    put32(interface, 0); // no snap length
    appendOption(interface, 2, "LE1-LE6");    // if_name
    appendOption(interface, 9, "\x06");       // if_tsresol: microseconds
    interface.append(4, '\0');
    appendBlock(out, kInterface, interface);
    return out;
}

void appendRecord(std::string& out, const Record& r)
{
    const auto captured = static_cast<std::uint32_t>(kHeaderLength + r.bytes.size());
    const std::uint32_t padded = (captured + 3) & ~3u;
    const std::uint32_t length = 32 + padded;
    const auto wall = static_cast<std::uint64_t>(r.wallUs);
    const auto mono = static_cast<std::uint64_t>(r.monotonicUs);
    put32(out, kEnhancedPacket);
    put32(out, length);
    put32(out, 0); // interface 0
    put32(out, static_cast<std::uint32_t>(wall >> 32));
    put32(out, static_cast<std::uint32_t>(wall & 0xFFFFFFFFu));
    put32(out, captured);
    put32(out, captured);
    out.push_back(static_cast<char>(kVersion));
    out.push_back(static_cast<char>(r.engine));
    out.push_back(static_cast<char>(r.direction));
    out.push_back(static_cast<char>(r.quiet ? kQuietFlag : 0));
    for (int i = 7; i >= 0; --i)
        out.push_back(static_cast<char>((mono >> (8 * i)) & 0xFF));
    out += r.bytes;
    out.append(padded - captured, '\0');
    put32(out, length);
}

PacketReader::Status PacketReader::next(Record& r)
{
    for (;;) {
        const std::size_t left = stream_.size() - offset_;
        if (left == 0)
            return sectionSeen_ ? Status::End : (problem_ = QStringLiteral("the file is empty"), Status::Foreign);
        if (left < 12)
            return Status::Incomplete;
        const std::uint32_t type = get32(stream_, offset_);
        const std::uint32_t length = get32(stream_, offset_ + 4);
        if (!sectionSeen_ && type != kSectionHeader) {
            problem_ = QStringLiteral("it is not a pcapng capture");
            return Status::Foreign;
        }
        if (type == kSectionHeader) {
            const std::uint32_t magic = get32(stream_, offset_ + 8);
            if (magic != kByteOrderMagic) {
                problem_ = QStringLiteral("it is not a capture of this station (byte order)");
                return Status::Foreign;
            }
        }
        if (length < 12 || length % 4 != 0) {
            problem_ = QStringLiteral("a block of %1 bytes").arg(length);
            return Status::Damaged;
        }
        if (left < length)
            return Status::Incomplete;
        if (get32(stream_, offset_ + length - 4) != length) {
            problem_ = QStringLiteral("a block whose two lengths differ");
            return Status::Damaged;
        }
        const std::string_view block = stream_.substr(offset_, length);
        offset_ += length;
        switch (type) {
        case kSectionHeader:
            sectionSeen_ = true;
            interfaceSeen_ = false;
            continue;
        case kInterface:
            if (length < 20 || get16(block, 8) != kLinkType) {
                problem_ = QStringLiteral("its link type is %1, not the station's (%2)")
                               .arg(length < 20 ? -1 : get16(block, 8))
                               .arg(kLinkType);
                return Status::Foreign;
            }
            interfaceSeen_ = true;
            continue;
        case kEnhancedPacket: {
            const std::uint32_t captured = length >= 32 ? get32(block, 20) : 0;
            if (!interfaceSeen_ || length < 32 + kHeaderLength || captured < kHeaderLength
                || captured > length - 32 || get32(block, 8) != 0) {
                problem_ = QStringLiteral("a packet that is not the station's");
                return Status::Damaged;
            }
            const std::string_view data = block.substr(28, captured);
            const int version = static_cast<unsigned char>(data[0]);
            r.engine = static_cast<unsigned char>(data[1]);
            r.direction = static_cast<unsigned char>(data[2]);
            if (version != kVersion || r.engine < 1 || r.engine > 6 || r.direction > kDirectionOut) {
                problem_ = QStringLiteral("a packet that is not the station's");
                return Status::Damaged;
            }
            r.quiet = (static_cast<unsigned char>(data[3]) & kQuietFlag) != 0;
            std::uint64_t mono = 0;
            for (std::size_t i = 4; i < 12; ++i)
                mono = (mono << 8) | static_cast<unsigned char>(data[i]);
            r.monotonicUs = static_cast<std::int64_t>(mono);
            r.wallUs = static_cast<std::int64_t>((std::uint64_t(get32(block, 12)) << 32) | get32(block, 16));
            r.bytes = data.substr(kHeaderLength);
            return Status::Record;
        }
        default:
            continue; // blocks of other kinds carry nothing the replay needs
        }
    }
}

QString fileNameFor(const QDateTime& start)
{
    return start.toUTC().toString(QString::fromLatin1(kNameFormat)) + QString::fromLatin1(kFileSuffix);
}

QDateTime startOfFileName(const QString& name)
{
    if (!name.endsWith(QString::fromLatin1(kFileSuffix)))
        return {};
    QDateTime t = QDateTime::fromString(name.left(name.size() - int(std::strlen(kFileSuffix))),
                                        QString::fromLatin1(kNameFormat));
    if (!t.isValid())
        return {};
    t.setTimeZone(QTimeZone::utc());
    return t;
}

} // namespace tarvek::recording
