#ifndef KEP_HOST_H264_SOURCE_H
#define KEP_HOST_H264_SOURCE_H

#include <thread>

#include "media/video/h264_encoder.h"
#include "media/video/video_source.h"

namespace kep::host {

/**
 * The camera's pictures as H.264. Bit rate (2 Mb/s), frame rate and group length (15 pictures) act on the
 * running stream, the size at its next start. A group length of 0 or less has no regular key frames, only the
 * first one and those that are asked for.
 */
class H264Source final : public api::streaming::IH264Source, public VideoSource {
  public:
    H264Source();
    ~H264Source() override { shutDown(); }

    void SetBitRate(int bitsPerSecond) override;
    void SetGop(int frames) override { gop_ = frames; }
    void RequestKeyFrame() override { keyAsked_ = true; }

  protected:
    bool start() override;
    void stop() override;
    bool pull(std::shared_ptr<api::streaming::common::frame_t>& frame, bool wait) override {
        return queue_.pull(frame, wait);
    }

  private:
    bool openEncoder(Run& run, AVRational rate, std::string& reason);
    void encodeAll(Run& run);
    bool encode(Run& run, const Picture& picture, std::string& reason);
    /** Whether the next picture begins a group. */
    bool beginsGroup();
    void hand(PacketPtr packet, const Picture& picture);

    std::atomic<int> bitRate_{2'000'000};
    std::atomic<int> gop_{15};
    std::atomic<bool> keyAsked_{false};
    GroupQueue<std::shared_ptr<api::streaming::common::frame_t>> queue_;
    std::thread thread_;

    // Of the work on a picture while the stream runs.
    std::unique_ptr<H264Encoder> encoder_;
    AVRational encoderRate_{};
    int encoderBitRate_ = 0;
    int inGroup_ = 0;
};

}  // namespace kep::host

#endif
