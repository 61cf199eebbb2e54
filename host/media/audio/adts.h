#ifndef KEP_HOST_ADTS_H
#define KEP_HOST_ADTS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kep::host {

/** AAC's index of a sample rate (samplingFrequencyIndex); -1 for a rate that AAC does not have. */
int aacRateIndex(int hertz);
/** The sample rate of such an index; 0 when it has none. */
int aacRate(unsigned index);
/** Whether AAC has this sample rate. */
inline bool isAacRate(int hertz) {
    return aacRateIndex(hertz) >= 0;
}

/** Whether AAC's headers have a channel configuration of this many channels: 1 to 6, or 8. */
bool isAacChannelCount(int channels);

/** AudioSpecificConfig of AAC-LC (ISO/IEC 14496-3, 1.6.2.1): what a decoder of bare access units must know
 * beforehand. Requires isAacRate() and isAacChannelCount(). */
std::vector<std::uint8_t> aacConfig(int rate, int channels);

/** The header of an AAC-LC access unit in an ADTS stream (ISO/IEC 14496-3, 1.A.2.2). */
struct AdtsHeader {
    static constexpr std::size_t kBytes = 7;         /**< as written here, without a checksum */
    static constexpr std::size_t kMostUnit = 0x1fff; /**< bytes of header and access unit */

    std::size_t headerBytes; /**< 7, or 9 with a checksum */
    std::size_t unitBytes;   /**< of the whole unit, header included */
    int channels;            /**< 0 when the unit itself describes them */

    /** Reads a header; nullopt when `bytes` do not begin with a whole one. */
    static std::optional<AdtsHeader> read(std::span<const std::uint8_t> bytes);
    /** Writes kBytes to `header`. `payload` + kBytes must not exceed kMostUnit. */
    static void write(std::uint8_t* header, int rate, int channels, std::size_t payload);
};

}  // namespace kep::host

#endif
