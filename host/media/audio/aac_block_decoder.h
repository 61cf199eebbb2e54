#ifndef KEP_HOST_AAC_BLOCK_DECODER_H
#define KEP_HOST_AAC_BLOCK_DECODER_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "media/audio/aac_settings.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

/**
 * Decodes AAC into interleaved 16-bit samples, a buffer at a time. An ADTS stream may be cut anywhere: what
 * does not complete a unit is kept for the next call, and what is no unit is passed over. Of bare access
 * units each call takes one, or none while samples of an earlier one wait for room. The first 1024 samples of
 * a stream are the encoder's delay.
 */
class AacBlockDecoder {
  public:
    /** From the next call on; what is kept of the stream before is dropped. */
    void use(const AacSettings& settings);

    /**
     * Takes as much from `in` as `out` has room for what becomes of it. An empty `in` brings out samples that
     * a call before had no room for.
     *
     * @param used    out: bytes taken from `in` and bytes written to `out`
     * @param skipped out: what was passed over and why; empty for nothing
     * @return false, with `reason` filled, nothing taken and nothing lost, when `out` is too small for the
     * next unit; also when a bare access unit gives no samples, which does not keep later ones from decoding
     */
    bool decode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, BlockUse& used,
                std::string& skipped, std::string& reason);

  private:
    bool open(std::string& reason);
    bool decodeBare(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, BlockUse& used,
                    std::string& reason);
    bool decodeStream(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, BlockUse& used,
                      std::string& skipped, std::string& reason);
    /** Drops bytes at the front of unit_ until a header, or what may become one, stands there; how many. */
    std::size_t findHeader();
    /** Bytes that unit_ must have to go on: those of a header or of the unit it begins. */
    std::size_t bytesWanted() const;
    /** Decodes unit_ and empties it. */
    bool decodeUnit(std::span<std::uint8_t> out, BlockUse& used, std::string& reason);
    bool decodePacket(std::span<std::uint8_t> out, BlockUse& used, std::string& reason);
    /** Converts frame_ into `out`, or to the end of samples_ where that has no room. */
    bool convertFrame(std::span<std::uint8_t> out, BlockUse& used, std::string& reason);
    bool openConverter(int channels, std::string& reason);
    /** @param channels of the next unit, as far as it tells */
    bool hasRoom(std::size_t room, int channels, std::string& reason) const;
    /** Moves decoded samples to `out`, as many as there is room for. */
    void hand(std::span<std::uint8_t> out, BlockUse& used);

    AacSettings settings_;
    CodecPtr codec_;
    ResamplerPtr converter_;  // of planar floats to samples, for channels_
    FramePtr frame_{av_frame_alloc()};
    PacketPtr packet_{av_packet_alloc()};
    std::vector<std::uint8_t> unit_;     // one to decode, or of a stream what does not complete one
    std::vector<std::int16_t> samples_;  // decoded and not handed out
    std::size_t samplesOfUnit_ = 1024;   // of each channel, in the unit decoded last
    int channels_ = 0;                   // in the unit decoded last; 0 before the first
};

}  // namespace kep::host

#endif
