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
 * Decodes AAC into interleaved 16-bit samples, a buffer at a time. An ADTS stream may be cut anywhere: an
 * incomplete unit is kept for the next call, and bytes outside units are skipped. Bare access units come one
 * per call; a call consumes none while samples of an earlier one are pending. The first 1024 samples of a
 * stream are the encoder's delay.
 */
class AacBlockDecoder {
  public:
    /** Takes effect with the next call. A change drops what is kept of the previous stream. */
    void use(const AacSettings& settings);

    /**
     * Consumes as much of `in` as fits into `out` when decoded. An empty `in` returns samples for which an
     * earlier call had no room.
     *
     * @param used    out: bytes consumed from `in` and written to `out`
     * @param skipped out: how much was skipped and why; empty for nothing
     * @return false, with `reason` filled, when `out` is too small for the next unit (nothing is consumed or
     * lost), or when a bare access unit cannot be decoded (later ones still can)
     */
    bool decode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, BlockUse& used,
                std::string& skipped, std::string& reason);

  private:
    bool open(std::string& reason);
    bool decodeBare(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, BlockUse& used,
                    std::string& reason);
    bool decodeStream(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, BlockUse& used,
                      std::string& skipped, std::string& reason);
    /** Drops bytes before the first header, or possible beginning of one, in unit_; returns how many. */
    std::size_t findHeader();
    /** The size that unit_ must reach next: of a header, or of the unit whose header it has. */
    std::size_t bytesWanted() const;
    /** Decodes unit_ and empties it. */
    bool decodeUnit(std::span<std::uint8_t> out, BlockUse& used, std::string& reason);
    bool decodePacket(std::span<std::uint8_t> out, BlockUse& used, std::string& reason);
    /** Converts frame_ into `out`, or to the end of samples_ where `out` has no room. */
    bool convertFrame(std::span<std::uint8_t> out, BlockUse& used, std::string& reason);
    bool openConverter(int channels, std::string& reason);
    /** @param channels of the next unit, by its header or the settings */
    bool hasRoom(std::size_t room, int channels, std::string& reason) const;
    /** Moves as many decoded samples to `out` as fit. */
    void hand(std::span<std::uint8_t> out, BlockUse& used);

    AacSettings settings_;
    CodecPtr codec_;
    ResamplerPtr converter_;  // of planar floats to samples, for channels_
    FramePtr frame_{av_frame_alloc()};
    PacketPtr packet_{av_packet_alloc()};
    std::vector<std::uint8_t> unit_;     // the unit to decode, or the incomplete one of a stream
    std::vector<std::int16_t> samples_;  // decoded, not yet returned
    std::size_t samplesOfUnit_ = 1024;   // of each channel, in the unit decoded last
    int channels_ = 0;                   // in the unit decoded last; 0 before the first
};

}  // namespace kep::host

#endif
