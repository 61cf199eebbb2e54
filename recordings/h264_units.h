#ifndef RECORDINGS_H264_UNITS_H
#define RECORDINGS_H264_UNITS_H

#include <optional>

#include "recordings/file_bytes.h"

namespace recordings {

/** Kinds of units of H.264 (ITU-T H.264, 7.4.1). */
enum class UnitKind : std::uint8_t {
    slice = 1,
    keySlice = 5,
    information = 6, /**< supplemental enhancement information */
    sequenceSet = 7,
    pictureSet = 8,
    delimiter = 9,
    filler = 12
};

/** The kind that the first byte of a unit tells; nothing for a byte that begins no unit of a recording. */
std::optional<UnitKind> unitKind(std::uint8_t first);

/** Whether others may refer to the picture of a unit with this first byte. */
constexpr bool isReference(std::uint8_t first) {
    return (first & 0x60) != 0;
}

/** What a sequence parameter set tells. */
struct SequenceSet {
    int width = 0; /**< of what is shown, in pixels */
    int height = 0;
    std::uint32_t timescale = 0; /**< ticks in a second; 0 when the rate is not told */
    std::uint32_t duration = 0;  /**< of a picture, in ticks */
    int frameNumberBits = 4;
    bool hasColourPlanes = false; /**< in three pictures of one colour each */
};

/** Reads a sequence parameter set, from its first byte on; nothing when it is damaged. */
std::optional<SequenceSet> readSequenceSet(ByteSpan unit);

/** The beginning of a slice. */
struct SliceHead {
    std::uint32_t firstBlock = 0; /**< 0: the first slice of a picture */
    std::uint32_t kind = 0;
    std::uint32_t pictureSet = 0;
    std::uint32_t frameNumber = 0;
};

/** How many bytes of a slice readSliceHead() needs. */
inline constexpr std::size_t kSliceHeadBytes = 24;

/** Reads the beginning of a slice, from its first byte on; nothing when it is none. */
std::optional<SliceHead> readSliceHead(ByteSpan unit, const SequenceSet& set);

}  // namespace recordings

#endif
