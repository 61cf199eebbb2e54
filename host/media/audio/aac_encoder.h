#ifndef KEP_HOST_AAC_ENCODER_H
#define KEP_HOST_AAC_ENCODER_H

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "media/audio/sample_framer.h"

namespace kep::host {

/** An access unit: its bytes, and the capture time of the first sample that a decoder makes of it. */
struct AacUnit {
    std::shared_ptr<const std::uint8_t> bytes;
    int size;
    SteadyTime stamp;
};

/**
 * Encodes AAC-LC, with ADTS headers where they are asked for. The stamp of each is the capture time of the
 * first sample that a decoder makes of it; the first unit therefore lies one frame before the first sample
 * captured.
 */
class AacEncoder {
  public:
    static constexpr int kUnitSamples = 1024; /**< of each channel */
    /** Bits in a second; what is too much for a sample rate the encoder brings down itself. */
    static constexpr int kLowestBitRate = 8'000;
    static constexpr int kHighestBitRate = 512'000;
    using Emit = std::function<void(const AacUnit&)>;

    /** @param bitRate bits per second, followed while it runs; must outlive the encoder */
    AacEncoder(AudioFormat from, AudioFormat to, const std::atomic<int>& bitRate, bool adts);

    /** False, with an error line, when there is no encoder for this format. */
    bool open();
    /** Hands every access unit that the samples complete to `emit`, oldest first. False, with an error line,
     * when the encoder fails. */
    bool add(const std::int16_t* samples, std::int64_t frames, SteadyTime stamp, const Emit& emit);
    /** AudioSpecificConfig: what a decoder of bare units must know beforehand. */
    std::vector<std::uint8_t> config() const;

  private:
    CodecPtr openCodec(int bitRate) const;
    bool followBitRate();
    bool encode(SteadyTime stamp, const Emit& emit);
    AacUnit accessUnit();

    const AudioFormat format_;
    const std::atomic<int>& wantedBitRate_;
    const bool adts_;
    int bitRate_ = 0;
    CodecPtr codec_;
    SampleFramer framer_;
    PacketPtr packet_{av_packet_alloc()};
    FramePtr current_;
    FramePtr previous_;              // with current_, what an encoder that takes over must have heard
    std::int64_t encoded_ = 0;       // samples of each channel handed to the encoder
    std::deque<SteadyTime> stamps_;  // of the access units to come
};

}  // namespace kep::host

#endif
