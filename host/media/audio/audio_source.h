#ifndef KEP_HOST_AUDIO_SOURCE_H
#define KEP_HOST_AUDIO_SOURCE_H

#include <atomic>
#include <memory>
#include <thread>

#include "media/audio/audio_frame.h"
#include "media/audio/audio_hub.h"
#include "media/common/stream_object.h"

namespace kep::host {

/**
 * A stream made of what the microphone captures. Rate and channels take effect at the next start: a reader
 * could not tell where in a running stream they changed.
 */
class AudioSource : public StreamObject,
                    public virtual api::streaming::common::IStreamOutput,
                    public virtual api::streaming::common::IAudio {
  public:
    bool IsSupportedPullFrame() override { return true; }
    bool PullFrame(SharedFrame& frame, bool wait) override;
    void SetSampleRate(int hertz) override { rate_ = hertz; }
    void SetChannels(int channels) override { channels_ = channels; }

  protected:
    bool start() override;
    void stop() override;

    /** Whether the stream can have this format; an error line when not. */
    virtual bool accepts(AudioFormat format) const = 0;
    /** What makes frames of `wanted` out of blocks of `captured`; null, with an error line, when nothing
     * does. */
    virtual std::unique_ptr<FrameMaker> createMaker(AudioFormat captured, AudioFormat wanted) = 0;

  private:
    void work(FrameMaker& maker);
    void enqueue(SharedFrame frame);
    void tellLost();

    std::atomic<int> rate_{AudioFormat{}.rate};
    std::atomic<int> channels_{AudioFormat{}.channels};
    AudioTap tap_;
    GroupQueue<SharedFrame> frames_{{100, 4u << 20}};  // two seconds
    std::unique_ptr<FrameMaker> maker_;
    std::thread worker_;
    int index_ = 0;
    std::atomic<std::size_t> lost_{0};  // frames lost and not yet told
    SteadyTime told_;
};

}  // namespace kep::host

#endif
