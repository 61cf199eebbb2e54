#ifndef VNCAM_ADTS_H
#define VNCAM_ADTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vncam {

/** The ADTS header of an AAC access unit (ISO/IEC 14496-3, 1.A.2.2). */
struct AdtsUnit {
    int rate;                /**< hertz */
    int channels;            /**< 0: described in the unit itself */
    std::size_t bytes;       /**< size of the unit, header included */
    std::size_t headerBytes; /**< size of the header */
    /** AudioSpecificConfig (1.6.2.1), for containers that store units without headers. */
    std::array<std::uint8_t, 2> config;
};

/** Parses the header at the beginning of `bytes`; nullopt when there is none. */
std::optional<AdtsUnit> readAdts(std::span<const char> bytes);

/** Parses an ADTS stream in pieces, to detect whether it ends within a unit. */
class AdtsFollower {
  public:
    void add(std::span<const char> bytes);

    /** Received and full size of the unfinished last unit; both 0 when it is complete. */
    std::size_t bytesPresent() const { return present_; }
    std::size_t bytesOfUnit() const { return unit_; }

  private:
    std::vector<char> header_;  // a partial header
    std::size_t present_ = 0;
    std::size_t unit_ = 0;
};

}  // namespace vncam

#endif
