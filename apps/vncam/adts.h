#ifndef VNCAM_ADTS_H
#define VNCAM_ADTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vncam {

/** What the header of an AAC access unit in an ADTS stream says of it (ISO/IEC 14496-3, 1.A.2.2). */
struct AdtsUnit {
    int rate;                /**< hertz */
    int channels;            /**< 0 when only the unit itself tells */
    std::size_t bytes;       /**< of the unit, header included */
    std::size_t headerBytes; /**< before the AAC data */
    /** What a file whose units have no headers tells in their place: AudioSpecificConfig (1.6.2.1). */
    std::array<std::uint8_t, 2> config;
};

/** The unit that the bytes begin with; nothing when they begin with none. */
std::optional<AdtsUnit> readAdts(std::span<const char> bytes);

/** Follows the units of an ADTS stream that comes in pieces, to know whether it ends within one. */
class AdtsFollower {
  public:
    void add(std::span<const char> bytes);

    /** Of the unit that the stream has ended in; both 0 when it is whole. */
    std::size_t bytesThere() const { return there_; }
    std::size_t bytesOfUnit() const { return unit_; }

  private:
    std::vector<char> header_;  // the part of one that has come
    std::size_t there_ = 0;
    std::size_t unit_ = 0;
};

}  // namespace vncam

#endif
