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

/** The start code before each unit of a byte stream (ISO/IEC 14496-10, annex B). */
inline constexpr std::uint8_t kStartCode[] = {0, 0, 0, 1};

/** The size as a byte stream of a sample whose units are prefixed with lengths of `lengthBytes`. Nothing when
 * the lengths do not add up to the sample's size. */
std::optional<std::size_t> byteStreamSize(Span sample, std::size_t lengthBytes);
/** Converts the sample. `stream` has room for byteStreamSize(). */
void writeByteStream(Span sample, std::size_t lengthBytes, std::uint8_t* stream);

/** The parameter sets of an `avcC` box (ISO/IEC 14496-15, 5.3.3) as a byte stream; empty when it is damaged.
 */
std::vector<std::uint8_t> parameterSetsOf(Span configuration);

/** The size of the access unit delimiter at the beginning of a byte stream; 0 without one. */
std::size_t delimiterSize(Span stream);
/** Whether an access unit has parameter sets of both kinds before its first slice. */
bool hasParameterSets(Span stream);

}  // namespace kep::host

#endif
