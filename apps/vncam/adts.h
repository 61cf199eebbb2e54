#ifndef VNCAM_ADTS_H
#define VNCAM_ADTS_H

#include <cstddef>
#include <optional>
#include <span>

namespace vncam {

/** What the header of an AAC access unit in an ADTS stream says of it (ISO/IEC 14496-3, 1.A.2.2). */
struct AdtsUnit {
    int rate;          /**< hertz */
    int channels;      /**< 0 when only the unit itself tells */
    std::size_t bytes; /**< of the unit, header included */
};

/** The unit that the bytes begin with; nothing when they begin with none. */
std::optional<AdtsUnit> readAdts(std::span<const char> bytes);

}  // namespace vncam

#endif
