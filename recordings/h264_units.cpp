#include "recordings/h264_units.h"

#include <algorithm>

namespace recordings {
namespace {

/** slice_type 5 to 9 mean 0 to 4 for all slices of the picture. */
constexpr std::uint32_t kSliceKinds = 10;
constexpr std::uint32_t kMaxSets = 256;
constexpr std::uint32_t kMaxEdgeInBlocks = 1024;
constexpr std::uint32_t kMacroblockEdge = 16;

/** Reads bits; past the end of the bytes failed() is true and all numbers are 0. */
class Bits {
  public:
    /** Removes the emulation prevention bytes of a NAL unit. */
    explicit Bits(ByteSpan unit) {
        int zeros = 0;
        for (const std::uint8_t byte : unit) {
            const bool isEscape = zeros >= 2 && byte == 3;
            if (!isEscape) bytes_.push_back(byte);
            zeros = byte == 0 ? zeros + 1 : 0;
        }
    }

    std::uint32_t next(int count) {
        std::uint32_t value = 0;
        for (; count > 0; --count, ++at_) {
            failed_ = failed_ || at_ / 8 >= bytes_.size();
            if (failed_) return 0;
            value = value << 1 | (bytes_[at_ / 8] >> (7 - at_ % 8) & 1U);
        }
        return value;
    }
    bool flag() { return next(1) != 0; }
    /** ue(v), 9.1. */
    std::uint32_t number() {
        constexpr int kMaxZeros = 31;
        int zeros = 0;
        while (!failed_ && !flag())
            if (++zeros > kMaxZeros) failed_ = true;
        return failed_ ? 0 : (1U << zeros) - 1 + next(zeros);
    }
    /** se(v), which is coded as ue(v). */
    void skipSigned() { number(); }
    bool failed() const { return failed_; }

  private:
    Bytes bytes_;
    std::size_t at_ = 0;
    bool failed_ = false;
};

std::int32_t signedOf(std::uint32_t number) {
    const auto half = static_cast<std::int32_t>((number + 1) / 2);
    return number % 2 ? half : -half;
}

/** 7.3.2.1.1.1 */
void skipScalingLists(Bits& bits, int count) {
    for (int list = 0; list < count && !bits.failed(); ++list) {
        if (!bits.flag()) continue;
        std::int32_t last = 8, next = 8;
        for (int i = list < 6 ? 16 : 64; i > 0 && next != 0 && !bits.failed(); --i) {
            next = (last + signedOf(bits.number()) % 256 + 256) % 256;
            if (next != 0) last = next;
        }
    }
}

bool hasChroma(std::uint32_t profile) {
    constexpr std::uint32_t kProfiles[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    return std::ranges::find(kProfiles, profile) != std::end(kProfiles);
}

/** Reads the VUI parameters up to the frame rate; E.1.1. */
void readRate(Bits& bits, SequenceSet& set) {
    constexpr std::uint32_t kOwnAspect = 255;
    if (bits.flag() && bits.next(8) == kOwnAspect) bits.next(32);
    if (bits.flag()) bits.next(1);
    if (bits.flag()) {
        bits.next(4);
        if (bits.flag()) bits.next(24);
    }
    if (bits.flag()) {
        bits.number();
        bits.number();
    }
    if (!bits.flag()) return;
    const std::uint32_t tick = bits.next(32);
    const std::uint32_t scale = bits.next(32);
    // A tick is the duration of a field.
    if (tick == 0 || scale == 0 || tick > UINT32_MAX / 2) return;
    set.timescale = scale;
    set.duration = 2 * tick;
}

void skipPictureOrder(Bits& bits) {
    const std::uint32_t kind = bits.number();
    if (kind == 0) bits.number();
    if (kind != 1) return;
    bits.flag();
    bits.skipSigned();
    bits.skipSigned();
    for (std::uint32_t count = bits.number(); count > 0 && !bits.failed(); --count) bits.skipSigned();
}

}  // namespace

std::optional<UnitKind> unitKind(std::uint8_t first) {
    const bool isForbidden = first & 0x80;
    const bool isUsed = isReference(first);
    const auto kind = static_cast<UnitKind>(first & 0x1f);
    switch (kind) {
        case UnitKind::slice:
            return isForbidden ? std::nullopt : std::optional(kind);
        case UnitKind::keySlice:
        case UnitKind::sequenceSet:
        case UnitKind::pictureSet:
            return isForbidden || !isUsed ? std::nullopt : std::optional(kind);
        case UnitKind::information:
        case UnitKind::delimiter:
        case UnitKind::filler:
            return isForbidden || isUsed ? std::nullopt : std::optional(kind);
    }
    return std::nullopt;
}

std::optional<SequenceSet> readSequenceSet(ByteSpan unit) {
    if (unit.empty() || unitKind(unit[0]) != UnitKind::sequenceSet) return std::nullopt;
    Bits bits(unit.subspan(1));
    SequenceSet set;
    const std::uint32_t profile = bits.next(8);
    bits.next(16);
    bits.number();
    std::uint32_t chroma = 1;
    if (hasChroma(profile)) {
        chroma = bits.number();
        if (chroma == 3) set.hasColourPlanes = bits.flag();
        bits.number();
        bits.number();
        bits.flag();
        if (bits.flag()) skipScalingLists(bits, chroma == 3 ? 12 : 8);
    }
    set.frameNumberBits = static_cast<int>(std::min<std::uint32_t>(bits.number(), 12)) + 4;
    skipPictureOrder(bits);
    bits.number();
    bits.flag();
    const std::uint32_t across = bits.number() + 1;
    const std::uint32_t down = bits.number() + 1;
    const bool isProgressive = bits.flag();
    if (!isProgressive) bits.flag();
    bits.flag();
    std::uint32_t left = 0, right = 0, top = 0, bottom = 0;
    if (bits.flag()) {
        left = bits.number();
        right = bits.number();
        top = bits.number();
        bottom = bits.number();
    }
    if (bits.flag()) readRate(bits, set);
    if (bits.failed() || across > kMaxEdgeInBlocks || down > kMaxEdgeInBlocks) return std::nullopt;
    const std::uint32_t fields = isProgressive ? 1 : 2;
    const std::uint64_t cropUnitX = chroma == 1 || chroma == 2 ? 2 : 1;
    const std::uint64_t cropUnitY = (chroma == 1 ? 2 : 1) * fields;
    const std::uint64_t width = std::uint64_t{across} * kMacroblockEdge;
    const std::uint64_t height = std::uint64_t{down} * kMacroblockEdge * fields;
    const std::uint64_t cropX = cropUnitX * (std::uint64_t{left} + right);
    const std::uint64_t cropY = cropUnitY * (std::uint64_t{top} + bottom);
    if (cropX >= width || cropY >= height) return std::nullopt;
    set.width = static_cast<int>(width - cropX);
    set.height = static_cast<int>(height - cropY);
    return set;
}

std::optional<SliceHead> readSliceHead(ByteSpan unit, const SequenceSet& set) {
    if (unit.empty()) return std::nullopt;
    Bits bits(unit.subspan(1, std::min(unit.size() - 1, kSliceHeadBytes - 1)));
    SliceHead head;
    head.firstBlock = bits.number();
    head.kind = bits.number();
    head.pictureSet = bits.number();
    if (set.hasColourPlanes) bits.next(2);
    head.frameNumber = bits.next(set.frameNumberBits);
    const bool isHead = !bits.failed() && head.firstBlock < kMaxEdgeInBlocks * kMaxEdgeInBlocks &&
                        head.kind < kSliceKinds && head.pictureSet < kMaxSets;
    return isHead ? std::optional(head) : std::nullopt;
}

}  // namespace recordings
