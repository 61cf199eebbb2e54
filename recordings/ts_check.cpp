#include <algorithm>
#include <map>
#include <optional>

#include "recordings/container_checks.h"

namespace recordings {

namespace {

using State = RecordingCheck::State;
using Kind = Damage::Kind;

constexpr std::uint64_t kPacketSize = 188;
constexpr std::uint64_t kPacketsPerRead = 4096;
/** Consecutive packets that rule out a coincidence. */
constexpr std::uint64_t kPacketsInARow = 5;
/** Bytes in which to search for packets when a file does not begin with one. */
constexpr std::uint64_t kSearchRange = 1 << 20;
constexpr std::uint8_t kSync = 0x47;
/** Header of a null packet, which players skip. */
const Bytes kNullPacket = {kSync, 0x1f, 0xff, 0x10};
constexpr double kTicksPerSecond = 90000;
constexpr std::uint8_t kFirstVideoStream = 0xe0;
constexpr std::uint8_t kLastVideoStream = 0xef;

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
           payload[3] >= kFirstVideoStream && payload[3] <= kLastVideoStream;
}

/** The time of a picture that begins in a packet, in ticks. */
std::optional<std::uint64_t> timeOf(ByteSpan packet) {
    const ByteSpan payload = payloadOf(packet);
    if (payload.size() < 14 || !(payload[7] & 0x80)) return std::nullopt;
    return (payload[9] & 0x0eULL) << 29 | bigEndian(payload, 10, 2) >> 1 << 15 |
           bigEndian(payload, 12, 2) >> 1;
}

std::uint64_t streamOf(ByteSpan packet) {
    return bigEndian(packet, 1, 2) & 0x1fff;
}

bool beginsUnit(ByteSpan packet) {
    const ByteSpan payload = payloadOf(packet);
    return packet[1] & 0x40 && payload.size() > 3 && bigEndian(payload, 0, 3) == 1;
}

/** Whether a packet has stuffing, as the last one of a PES packet has, except for one in 184. */
bool isFilledUp(ByteSpan packet) {
    if (!(packet[3] & 0x20)) return false;
    const unsigned length = packet[4];
    if (length == 0) return true;
    const unsigned flags = packet[5];
    const unsigned known =
        1U + (flags & 0x10 ? 6U : 0U) + (flags & 0x08 ? 6U : 0U) + (flags & 0x04 ? 1U : 0U);
    const bool others = flags & 0x03;
    return !others && (length > known || flags == 0);
}

/** Sectors that were not written read as zeros, so that the sync byte is missing at the latest in the packet
 * after the one in which they begin. That one belongs to a picture that is damaged anyway, or to audio behind
 * it. */
bool isPacket(ByteSpan packet) {
    // No packet lacks both payload and adaptation field, except a null packet written in part.
    return packet.size() == kPacketSize && packet[0] == kSync && packet[3] & 0x30;
}

/** Whether consecutive packets begin at `at`, as far as the bytes go. */
bool isInStep(ByteSpan bytes, std::uint64_t at) {
    std::uint64_t packets = 0;
    for (; packets < kPacketsInARow && at + kPacketSize <= bytes.size(); ++packets, at += kPacketSize) {
        if (!isPacket(bytes.subspan(at, kPacketSize))) return false;
    }
    return packets > 0;
}

/** The first packet at or behind `begin`; the end of the file when there is none. */
std::uint64_t findPacket(const FileBytes& file, std::uint64_t begin, std::uint64_t end) {
    constexpr std::uint64_t kRow = kPacketSize * kPacketsInARow;
    // Small, as there may be many damaged parts.
    constexpr std::uint64_t kWindow = kPacketSize * 64;
    for (std::uint64_t at = begin; at < end; at += kWindow) {
        const Bytes bytes = file.read(at, kWindow + kRow);
        for (std::uint64_t i = 0; i < std::min<std::uint64_t>(kWindow, bytes.size()); ++i) {
            if (bytes[i] == kSync && isInStep(bytes, i)) return at + i;
        }
    }
    return file.size();
}

class TsChecker {
  public:
    explicit TsChecker(const FileBytes& file) : file_(file) {}

    RecordingCheck check() {
        for (std::uint64_t at = 0; at < file_.size();) {
            at = takePackets(at);
            if (at < file_.size()) at = skipDamage(at);
        }
        if (pictures_ < 2) return {State::unplayable, 0, 0, "no complete picture", {}, {}};
        const double seconds = first_ && last_ ? static_cast<double>(*last_ - *first_) / kTicksPerSecond : 0;
        if (isWholeAtItsEnd()) {
            const State state = damages_.empty() ? State::whole : State::damaged;
            return {state, file_.size(), seconds, {}, std::move(damages_), std::move(repairs_)};
        }
        while (!damages_.empty() && damages_.back().end > lastPicture_) damages_.pop_back();
        while (!repairs_.empty() && repairs_.back().offset >= lastPicture_) repairs_.pop_back();
        damages_.push_back({Kind::end, lastPicture_, file_.size()});
        return {State::damaged, lastPicture_, seconds, {}, std::move(damages_), std::move(repairs_)};
    }

  private:
    /** Takes consecutive packets; returns where they end. */
    std::uint64_t takePackets(std::uint64_t at) {
        while (at < file_.size()) {
            const Bytes bytes = file_.read(at, kPacketSize * kPacketsPerRead);
            for (ByteSpan rest = bytes; !rest.empty(); at += kPacketSize) {
                const ByteSpan packet = rest.first(std::min<std::size_t>(rest.size(), kPacketSize));
                if (!isPacket(packet)) return at;
                rest = rest.subspan(kPacketSize);
                if (beginsPicture(packet)) takePicture(packet, at);
                takeUnit(packet);
            }
        }
        return at;
    }

    void takePicture(ByteSpan packet, std::uint64_t at) {
        lastPicture_ = at;
        ++pictures_;
        const auto time = timeOf(packet);
        if (!first_) first_ = time;
        if (time && first_ && *time >= *first_) last_ = time;
    }

    void takeUnit(ByteSpan packet) {
        if (beginsUnit(packet)) ended_[streamOf(packet)] = false;
        const auto stream = ended_.find(streamOf(packet));
        if (stream != ended_.end() && hasPayload(packet)) stream->second = isFilledUp(packet);
    }

    bool isWholeAtItsEnd() const {
        const bool inStep = damages_.empty() || damages_.back().end < file_.size();
        return inStep && std::ranges::all_of(ended_, [](const auto& stream) { return stream.second; });
    }

    /** Continues at the next packet. When it is aligned with those before, the bytes between become null
     * packets: players skip these, but give up after too many bytes that are not packets. */
    std::uint64_t skipDamage(std::uint64_t at) {
        const std::uint64_t next = findPacket(file_, at, file_.size());
        damages_.push_back({Kind::fragment, at, next});
        const std::uint64_t between = next - at;
        if (next < file_.size() && between % kPacketSize == 0)
            repairs_.push_back({at, kNullPacket, kPacketSize, between / kPacketSize});
        return next;
    }

    const FileBytes& file_;
    std::uint64_t lastPicture_ = 0; /**< where it begins: everything before it is complete */
    std::uint64_t pictures_ = 0;
    std::optional<std::uint64_t> first_, last_;
    std::map<std::uint64_t, bool> ended_; /**< by PID: whether its last PES packet is complete */
    std::vector<Damage> damages_;
    std::vector<Repair> repairs_;
};

}  // namespace

bool isTs(const FileBytes& file) {
    const Bytes bytes = file.read(0, kPacketSize + 1);
    if (!bytes.empty() && bytes[0] == kSync && (bytes.size() <= kPacketSize || bytes[kPacketSize] == kSync))
        return true;
    const std::uint64_t at = findPacket(file, 0, std::min(kSearchRange, file.size()));
    // Near the end of a file, fewer packets than that could be a coincidence.
    return at < std::min(kSearchRange, file.size()) && file.size() - at >= kPacketSize * kPacketsInARow;
}

RecordingCheck checkTs(const FileBytes& file) {
    return TsChecker(file).check();
}

}  // namespace recordings
