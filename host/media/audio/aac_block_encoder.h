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
 * channel make a unit; an incomplete one is kept for the next call. The first unit precedes the
 * first sample by 1024 samples, the encoder's delay.
 */
class AacBlockEncoder {
  public:
    /** Takes effect with the next call. A change ends the stream and drops what the encoder still holds. */
    void use(const AacSettings& settings);

    /**
     * Consumes as many samples of `in` as fit into `out` when encoded. An empty `in` drains the stream: the
     * rest, padded with silence, and the units that the encoder still holds; repeat until a call writes
     * nothing. The next samples begin another stream.
     *
     * @param used  out: bytes consumed from `in` and written to `out`
     * @return false, with `reason` filled, when `out` is too small for the next unit (nothing is consumed or
     * lost), or when the encoder cannot be opened or fails, which ends the stream
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
    std::vector<std::uint8_t> block_;  // samples of an incomplete unit
    std::int64_t encoded_ = 0;         // samples of each channel passed to the encoder
    bool isEnding_ = false;
};

}  // namespace kep::host

#endif
