#include "ts_check.h"

#include <algorithm>
#include <optional>

namespace vncam {

namespace {

using State = RecordingCheck::State;

constexpr std::uint64_t packetBytes = 188;
constexpr std::uint64_t packetsAtOnce = 4096;
constexpr std::uint8_t sync = 0x47;
constexpr double ticksPerSecond = 90000;
constexpr std::uint8_t firstVideoStream = 0xe0;
constexpr std::uint8_t lastVideoStream = 0xef;

bool hasPayload(ByteSpan packet) {
    return packet[3] & 0x10;
}

ByteSpan payloadOf(ByteSpan packet) {
    const std::size_t fields = packet[3] & 0x20 ? 5U + packet[4] : 4U;
    return fields < packet.size() && hasPayload(packet) ? packet.subspan(fields) : ByteSpan();
}

bool beginsPicture(ByteSpan packet) {
    const ByteSpan payload = payloadOf(packet);
    return packet[1] & 0x40 && payload.size() > 8 && bigEndian(payload, 0, 3) == 1 &&
           payload[3] >= firstVideoStream && payload[3] <= lastVideoStream;
}

/** The time of a picture that begins in a packet, in ticks. */
std::optional<std::uint64_t> timeOf(ByteSpan packet) {
    const ByteSpan payload = payloadOf(packet);
    if (payload.size() < 14 || !(payload[7] & 0x80)) return std::nullopt;
    return (payload[9] & 0x0eULL) << 29 | bigEndian(payload, 10, 2) >> 1 << 15 |
           bigEndian(payload, 12, 2) >> 1;
}

/** What a disk has not written reads as zeros, and without a sync byte at the latest in the packet after the
 * one in which it begins. That one belongs to the last picture, or to sound behind it. */
bool isPacket(ByteSpan packet) {
    return packet.size() == packetBytes && packet[0] == sync;
}

}  // namespace

bool beginsLikeTs(const FileBytes& file) {
    const Bytes bytes = file.read(0, packetBytes + 1);
    return !bytes.empty() && bytes[0] == sync && (bytes.size() <= packetBytes || bytes[packetBytes] == sync);
}

RecordingCheck checkTs(const FileBytes& file) {
    std::uint64_t lastBegin = 0;  // of a picture: what is before it is whole
    std::uint64_t pictures = 0;
    std::optional<std::uint64_t> first, last;
    bool broken = false;
    for (std::uint64_t at = 0; at < file.size() && !broken;) {
        const Bytes bytes = file.read(at, packetBytes * packetsAtOnce);
        for (ByteSpan rest = bytes; !rest.empty() && !broken; at += packetBytes) {
            const ByteSpan packet = rest.first(std::min<std::size_t>(rest.size(), packetBytes));
            broken = !isPacket(packet);
            if (broken) break;
            rest = rest.subspan(packetBytes);
            if (!beginsPicture(packet)) continue;
            lastBegin = at;
            ++pictures;
            const auto time = timeOf(packet);
            if (!first) first = time;
            if (time) last = time;
        }
    }
    if (pictures < 2) return {State::unplayable, 0, 0, "nothing was complete yet"};
    const double seconds = first && last ? static_cast<double>(*last - *first) / ticksPerSecond : 0;
    return {State::torn, lastBegin, seconds, {}};
}

}  // namespace vncam
