#ifndef RECORDINGS_H264_UNITS_H
#define RECORDINGS_H264_UNITS_H

#include <optional>

#include "recordings/file_bytes.h"

namespace recordings {

/** NAL unit types (ITU-T H.264, 7.4.1). */
enum class UnitKind : std::uint8_t {
    slice = 1,
    keySlice = 5,
    information = 6, /**< supplemental enhancement information */
    sequenceSet = 7,
    pictureSet = 8,
    delimiter = 9,
    filler = 12
};

/** The type in the first byte of a NAL unit; nothing for a byte that is invalid or not used in recordings. */
std::optional<UnitKind> unitKind(std::uint8_t first);

/** Whether a NAL unit with this first byte belongs to a reference picture. */
constexpr bool isReference(std::uint8_t first) {
    return (first & 0x60) != 0;
}

/** Fields of a sequence parameter set. */
struct SequenceSet {
    int width = 0; /**< after cropping, in pixels */
    int height = 0;
    std::uint32_t timescale = 0; /**< ticks per second; 0 without a rate */
    std::uint32_t duration = 0;  /**< of a picture, in ticks */
    int frameNumberBits = 4;
    bool hasColourPlanes = false; /**< separate_colour_plane_flag */
};

/** Parses a sequence parameter set, including its NAL header; nothing when it is damaged. */
std::optional<SequenceSet> readSequenceSet(ByteSpan unit);

/** The first fields of a slice header. */
struct SliceHead {
    std::uint32_t firstBlock = 0; /**< first_mb_in_slice; 0: the first slice of a picture */
    std::uint32_t kind = 0;       /**< slice_type */
    std::uint32_t pictureSet = 0;
    std::uint32_t frameNumber = 0;
};

/** Bytes of a slice that readSliceHead() needs. */
inline constexpr std::size_t kSliceHeadBytes = 24;

/** Parses the beginning of a slice, including its NAL header; nothing when it is invalid. */
std::optional<SliceHead> readSliceHead(ByteSpan unit, const SequenceSet& set);

}  // namespace recordings

#endif
