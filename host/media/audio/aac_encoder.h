#ifndef KEP_HOST_AAC_ENCODER_H
#define KEP_HOST_AAC_ENCODER_H

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>

#include "media/audio/aac_settings.h"
#include "media/audio/sample_framer.h"

namespace kep::host {

/** An access unit: its bytes, and the capture time of its first decoded sample. */
struct AacUnit {
    std::shared_ptr<const std::uint8_t> bytes;
    int size;
    SteadyTime stamp;
};

/**
 * Encodes AAC-LC, optionally with ADTS headers. The stamp of a unit is the capture time of its first decoded
 * sample; the first unit therefore lies one frame before the first sample captured.
 */
class AacEncoder {
  public:
    static constexpr int kUnitSamples = AacSettings::kUnitSamples;
    /** Bits per second; clamped to the highest that the sample rate allows. */
    static constexpr int kLowestBitRate = 8'000;
    static constexpr int kHighestBitRate = 512'000;
    static constexpr int kMostUnitBits = 6144; /**< per channel: a decoder's input buffer */
    using Emit = std::function<void(const AacUnit&)>;

    /** @param bitRate bits per second, read for each frame; must outlive the encoder */
    AacEncoder(AudioFormat from, AudioFormat to, const std::atomic<int>& bitRate, bool adts);

    /** False, with an error line, when there is no encoder for this format. */
    bool open();
    /** Passes every access unit that the samples complete to `emit`, oldest first. False, with an error line,
     * when the encoder fails. */
    bool add(const std::int16_t* samples, std::int64_t frames, SteadyTime stamp, const Emit& emit);

  private:
    bool encode(const AVFrame& frame, SteadyTime stamp, const Emit& emit);
    AacUnit accessUnit();

    const AudioFormat format_;
    const std::atomic<int>& wantedBitRate_;
    const bool adts_;
    CodecPtr codec_;
    SampleFramer framer_;
    PacketPtr packet_{av_packet_alloc()};
    std::int64_t encoded_ = 0;       // samples of each channel passed to the encoder
    std::deque<SteadyTime> stamps_;  // of the access units to come
};

}  // namespace kep::host

#endif
