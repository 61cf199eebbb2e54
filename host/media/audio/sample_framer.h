#ifndef KEP_HOST_SAMPLE_FRAMER_H
#define KEP_HOST_SAMPLE_FRAMER_H

#include "media/audio/audio_block.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

/**
 * Converts blocks to frames of one length, in another rate, channel count and sample format, and tracks the
 * capture time of each frame's first sample.
 */
class SampleFramer {
  public:
    /** Channels are one or two. @param frameSamples samples of each channel in a frame */
    SampleFramer(AudioFormat from, AudioFormat to, AVSampleFormat samples, int frameSamples);

    /** Adds `frames` samples of each channel, the first of which was captured at `stamp`. */
    void add(const std::int16_t* samples, std::int64_t frames, SteadyTime stamp);
    /** Moves the next frame into `planes`, which must have room for it. False while there is none. */
    bool take(void** planes, SteadyTime& stamp);

  private:
    void makeRoom(int samples);

    const AudioFormat from_;
    const AudioFormat to_;
    const int frameSamples_;
    ResamplerPtr resampler_;
    FramePtr converted_;
    int capacity_ = 0;  // of converted_, in samples
    SampleFifoPtr fifo_;
    SteadyTime end_;  // time of the sample after the last one in the queue
};

}  // namespace kep::host

#endif
