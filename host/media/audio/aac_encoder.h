#ifndef KEP_HOST_AAC_ENCODER_H
#define KEP_HOST_AAC_ENCODER_H

#include <atomic>
#include <deque>

#include "media/audio/audio_frame.h"
#include "media/audio/sample_framer.h"

namespace kep::host {

/** The index by which AAC's headers name a sample rate; -1 for one that AAC does not know. */
int aacRateIndex(int hertz);
/** Whether AAC knows this sample rate. */
inline bool isAacRate(int hertz) {
    return aacRateIndex(hertz) >= 0;
}

/**
 * AAC-LC access units with ADTS headers. The stamp of each is the capture time of the first sample that a
 * decoder makes of it; the first unit therefore lies one frame before the first sample captured.
 */
class AacEncoder final : public FrameMaker {
  public:
    /** @param bitRate bits per second, followed while it runs; must outlive the encoder */
    AacEncoder(AudioFormat from, AudioFormat to, const std::atomic<int>& bitRate);

    /** False, with an error line, when there is no encoder for this format. */
    bool open();
    bool add(const SharedBlock& block, const Emit& emit) override;

  private:
    CodecPtr openCodec(int bitRate) const;
    bool followBitRate();
    bool encode(SteadyTime stamp, const Emit& emit);
    SharedFrame accessUnit(const AVPacket& packet);

    const AudioFormat format_;
    const std::atomic<int>& wantedBitRate_;
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
