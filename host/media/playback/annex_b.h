#ifndef KEP_HOST_ANNEX_B_H
#define KEP_HOST_ANNEX_B_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kep::host {

using Span = std::span<const std::uint8_t>;

/** Kinds of H.264 units (ISO/IEC 14496-10, table 7-1). */
enum class UnitKind : std::uint8_t { sequenceSet = 7, pictureSet = 8, delimiter = 9 };

/** Before each unit of a byte stream (ISO/IEC 14496-10, annex B). */
inline constexpr std::uint8_t kStartCode[] = {0, 0, 0, 1};

/** The size of a picture as a byte stream whose units have their length before them, in so many bytes;
 * nothing when the lengths do not fill it. */
std::optional<std::size_t> byteStreamSize(Span sample, std::size_t lengthBytes);
/** Writes the byte stream, for which there is room. */
void writeByteStream(Span sample, std::size_t lengthBytes, std::uint8_t* stream);

/** The parameter sets of an `avcC` box (ISO/IEC 14496-15, 5.3.3) as a byte stream; empty when it is damaged.
 */
std::vector<std::uint8_t> parameterSetsOf(Span configuration);

/** How many bytes of a picture as a byte stream its delimiter takes, which comes first; 0 without one. */
std::size_t delimiterSize(Span stream);
/** Whether a picture as a byte stream brings sets of both kinds before its first slice. */
bool hasParameterSets(Span stream);

}  // namespace kep::host

#endif
