#ifndef KEP_HOST_ADTS_H
#define KEP_HOST_ADTS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kep::host {

/** The index by which AAC's headers name a sample rate; -1 for one that AAC does not know. */
int aacRateIndex(int hertz);
/** The sample rate of such an index; 0 for one that stands for none. */
int aacRate(unsigned index);
/** Whether AAC knows this sample rate. */
inline bool isAacRate(int hertz) {
    return aacRateIndex(hertz) >= 0;
}

/** Whether AAC's headers can name so many channels without a description of each: 1 to 6, and 8. */
bool isAacChannelCount(int channels);

/** AudioSpecificConfig of AAC-LC (ISO/IEC 14496-3, 1.6.2.1): what a decoder of bare access units must know
 * beforehand. The rate and the channels are ones that AAC knows. */
std::vector<std::uint8_t> aacConfig(int rate, int channels);

/** The header of an AAC-LC access unit in an ADTS stream (ISO/IEC 14496-3, 1.A.2.2). */
struct AdtsHeader {
    static constexpr std::size_t kBytes = 7;         /**< as written here, without a checksum */
    static constexpr std::size_t kMostUnit = 0x1fff; /**< bytes of header and access unit */

    std::size_t headerBytes; /**< 7, or 9 with a checksum */
    std::size_t unitBytes;   /**< of the whole unit, header included */
    int channels;            /**< 0 when the unit itself describes them */

    /** Reads a header; none when `bytes`, of which there are at least kBytes, do not begin with one. */
    static std::optional<AdtsHeader> read(std::span<const std::uint8_t> bytes);
    /** Writes one to the kBytes at `header`. `payload` and kBytes are no more than kMostUnit. */
    static void write(std::uint8_t* header, int rate, int channels, std::size_t payload);
};

}  // namespace kep::host

#endif
