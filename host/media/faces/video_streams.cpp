#include <algorithm>
#include <limits>

#include "media/faces/live_stream.h"
#include "media/faces/streams.h"
#include "media/hub/key_frame_requests.h"
#include "media/video/camera.h"
#include "media/video/h264_encoder.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/**
 * A stream of the camera. The size defaults to the camera's, the rate to 30. Invalid values are refused with
 * an error line: at start, or, for settings that take effect on a running stream, by the setter; the stream
 * then keeps its old value.
 */
class CameraStream : public LiveStream,
                     public virtual api::streaming::common::IVideo,
                     public virtual api::streaming::common::IBitRateControl {
  public:
    void SetWidth(int pixels) override {
        width_ = pixels;
        formatSet();
    }
    void SetHeight(int pixels) override {
        height_ = pixels;
        formatSet();
    }
    void SetFrameRate(int framesPerSecond) override {
        if (StatusIsPlay() && !(isRate(framesPerSecond) && set(source(), "fr", framesPerSecond))) return;
        rate_ = framesPerSecond;
        formatSet();
    }
    bool PullFrame(SharedFrame& frame, bool wait) override {
        if (queue().pull(frame, wait)) return true;
        if (!StatusIsPlay()) KEP_HOST_ERROR("the stream is not playing");
        return false;
    }

  protected:
    using LiveStream::LiveStream;

    bool start() override {
        const int width = width_;
        const int height = height_;
        return (width == kUnset || (isSideSetting("width", width) && set(source(), "w", width))) &&
               (height == kUnset || (isSideSetting("height", height) && set(source(), "h", height))) &&
               isRate(rate_) && set(source(), "fr", rate_);
    }

    /** Called when the size or a rate has been set. */
    virtual void formatSet() {}

    /** The format as set; null while size or rate is unset or invalid. */
    MediaPtr format() const {
        const int width = width_;
        const int height = height_;
        if (!isSide(width) || !isSide(height) || rate_ < 1 || rate_ > kHighestRate) return nullptr;
        auto media = std::make_shared<host::Media>();
        media->codec = AV_CODEC_ID_RAWVIDEO;
        media->width = width;
        media->height = height;
        media->frameRate = {rate_, 1};
        media->colours = CameraFormat().colours;
        return media;
    }

  private:
    static bool isRate(int framesPerSecond) {
        return isSetting("frame rate", framesPerSecond, 1, kHighestRate);
    }

    static constexpr int kUnset = std::numeric_limits<int>::min();
    std::atomic<int> width_{kUnset};
    std::atomic<int> height_{kUnset};
    std::atomic<int> rate_{30};
};

constexpr const char* kCamera = "type=PvYuvSrcAdv,retry=false";

/** The camera's pictures as one block of planar YUV 4:2:0 each. */
class YuvSource final : public api::streaming::IYuvSource, public CameraStream {
  public:
    // A second of 1080p: as much as the camera delivers in one burst after the machine has stalled.
    YuvSource() : CameraStream(kCamera, nullptr, {64, 96U << 20}) {}
    ~YuvSource() override { shutDown(); }
};

/**
 * The camera's pictures as H.264. Bit rate (2 Mb/s), frame rate and group length (15 pictures) take effect on
 * the running stream, the size at its next start. A group length of 0 or less gives no regular key frames,
 * only the first one and requested ones.
 */
class H264Source final : public api::streaming::IH264Source, public CameraStream {
  public:
    // How far a reader may fall behind: some seconds of a usual stream.
    H264Source() : CameraStream(kCamera, "type=encoder-h264", {120, 8U << 20}) {}
    ~H264Source() override { shutDown(); }

    void SetBitRate(int bitsPerSecond) override {
        if (StatusIsPlay() && !(isBitRate(bitsPerSecond) && set(encoder(), "br", bitsPerSecond))) return;
        bitRate_ = bitsPerSecond;
        formatSet();
    }
    void SetGop(int frames) override { set(encoder(), "gop", std::clamp(frames, 0, 100'000)); }
    void RequestKeyFrame() override { encoder().requestKeyFrame(KeyFrameRequests::kNextPicture); }

  protected:
    /** Opens the encoder before the start: this saves a quarter of the time from the start to the first
     * picture. */
    void formatSet() override {
        const MediaPtr media = format();
        const int bitRate = bitRate_;
        if (!media || bitRate < H264Encoder::kLowestBitRate || bitRate > H264Encoder::kHighestBitRate) return;
        whileDown([&] {
            set(encoder(), "br", bitRate);
            encoder().expect(media);
        });
    }

  private:
    static bool isBitRate(int bitsPerSecond) {
        return isSetting("bit rate", bitsPerSecond, H264Encoder::kLowestBitRate,
                         H264Encoder::kHighestBitRate);
    }
    bool start() override {
        return isBitRate(bitRate_) && set(encoder(), "br", bitRate_) && CameraStream::start();
    }

    std::atomic<int> bitRate_{2'000'000};
};

}  // namespace

std::unique_ptr<api::streaming::IYuvSource> makeYuvSource() {
    return std::make_unique<YuvSource>();
}

std::unique_ptr<api::streaming::IH264Source> makeH264Source() {
    return std::make_unique<H264Source>();
}

}  // namespace kep::host
