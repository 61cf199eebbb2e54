#ifndef KEP_HOST_AAC_BLOCK_ENCODER_H
#define KEP_HOST_AAC_BLOCK_ENCODER_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "media/audio/aac_settings.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

/**
 * Encodes interleaved 16-bit samples into AAC-LC access units, a buffer at a time. 1024 samples of each
 * channel make a unit; what does not complete one is kept for the next call. The first unit precedes the
 * first sample by 1024 samples, the encoder's delay.
 */
class AacBlockEncoder {
  public:
    /** From the next call on; a stream under way ends without what the encoder still holds of it. */
    void use(const AacSettings& settings);

    /**
     * Takes as many samples from `in` as `out` has room for what becomes of them. An empty `in` ends the
     * stream: the rest, filled up with silence, and what the encoder holds come out, in as many calls as it
     * takes until one writes nothing; the next samples begin another stream.
     *
     * @param used  out: bytes taken from `in` and bytes written to `out`
     * @return false, with `reason` filled, nothing taken and nothing lost, when `out` is too small for the
     * next unit; also when the encoder cannot be opened or fails, which ends the stream
     */
    bool encode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, BlockUse& used,
                std::string& reason);

  private:
    bool open(std::string& reason);
    bool drain(std::span<std::uint8_t> out, BlockUse& used, std::string& reason);
    bool encodeBlock(std::span<std::uint8_t> out, BlockUse& used, std::string& reason);
    /** Writes the units that are ready; false when the encoder fails. */
    bool takeUnits(std::span<std::uint8_t> out, BlockUse& used, std::string& reason);
    std::size_t blockBytes() const;
    std::size_t mostUnitBytes() const;
    bool hasRoom(std::span<std::uint8_t> out, const BlockUse& used, std::string& reason) const;

    AacSettings settings_;
    CodecPtr codec_;
    FramePtr frame_;
    PacketPtr packet_{av_packet_alloc()};
    std::vector<std::uint8_t> block_;  // samples of a unit that is not complete
    std::int64_t encoded_ = 0;         // samples of each channel handed to the encoder
    bool isEnding_ = false;
};

}  // namespace kep::host

#endif
