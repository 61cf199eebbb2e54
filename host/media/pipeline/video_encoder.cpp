#include <memory>

#include "media/common/period.h"
#include "media/hub/key_frame_requests.h"
#include "media/pipeline/element.h"
#include "media/video/h264_encoder.h"
#include "objects/class_registry.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/**
 * Encodes pictures one in, one access unit out, with parameter sets before each key frame. Bit rate, frame
 * rate and group length act on the running stream; a requested key frame begins a group. Without `fr` the
 * frame rate is that of the pictures. `clock` is for hardware encoders: it is stored and has no effect.
 */
class VideoEncoder : public Element {
  public:
    VideoEncoder(const char* encoder, AVCodecID codec) : encoderName_(encoder), codec_(codec) {
        addNumber("br", bitRate_, H264Encoder::kLowestBitRate, H264Encoder::kHighestBitRate);
        properties().add<int>(
            "fr", [this] { return rate_ ? rate_.load() : kUsualRate; },
            [this](int wanted) {
                return isWithin("fr", wanted, 1, kHighestRate) && (rate_ = wanted) == wanted;
            });
        addNumber("gop", gop_, -1, 100'000);
        addNumber("clock", clock_, 0, 2'000'000'000);
        properties().add<std::string>(
            "goptype", [] { return std::string("ippp"); },
            [this](const std::string& type) {
                if (type == "ippp" || type.empty()) return true;
                KEP_HOST_ERROR(label() + ": goptype=" + type + " is not ippp, the only supported type");
                return false;
            });
    }

    void requestKeyFrame(SteadyTime at) override { keyFrames_.add(at); }

    /** Sets up the encoder as soon as the media are known: this takes a quarter of the time from a start to
     * the first access unit. A failure is reported when it fails again with the first picture. */
    void expect(const MediaPtr& media) override {
        std::string ignored;
        if (media->codec == AV_CODEC_ID_RAWVIDEO) prepare(*media, ignored);
    }

    void take(const SharedPacket& packet, const Element&) override {
        if (!packet->picture) {
            if (!refused_) KEP_HOST_ERROR(label() + " accepts pictures only");
            refused_ = true;
            return;
        }
        std::string reason;
        if (prepare(*packet->media, reason) && encode(*packet, reason)) return;
        tellLost(host::Media::Kind::video, 1);
        encoder_.reset();
        // Report a failure once, but try again with each picture.
        if (!failing_) {
            KEP_HOST_ERROR(label() + ": " + reason);
            tell("failed", "media=video");
        }
        failing_ = true;
    }

  protected:
    bool up(State) override {
        keyFrames_.clear();
        failing_ = refused_ = false;
        return true;
    }
    bool down(State) override {
        encoder_.reset();
        return true;
    }

  private:
    bool prepare(const host::Media& raw, std::string& reason) {
        AVRational rate = {rate_, 1};
        if (rate.num == 0) rate = raw.frameRate.num > 0 ? raw.frameRate : AVRational{kUsualRate, 1};
        const int bitRate = bitRate_;
        const bool fits = encoder_ && raw.width == media_->width && raw.height == media_->height &&
                          raw.colours == media_->colours && av_cmp_q(rate, media_->frameRate) == 0;
        if (fits && bitRate == media_->bitRate) return true;
        auto media = std::make_shared<host::Media>();
        media->codec = codec_;
        media->width = raw.width;
        media->height = raw.height;
        media->frameRate = rate;
        media->bitRate = bitRate;
        media->colours = raw.colours;
        media_ = std::move(media);
        // The libraries change the bit rate of a running encoder for H.264 alone. One that has encoded
        // nothing is reopened, as its rate control would begin with the old rate.
        if (fits && inGroup_ > 0 && codec_ == AV_CODEC_ID_H264) {
            encoder_->setBitRate(bitRate);
            return true;
        }
        encoder_ =
            H264Encoder::open({raw.width, raw.height, rate, bitRate, raw.colours}, reason, encoderName_);
        inGroup_ = 0;
        return encoder_ != nullptr;
    }

    bool encode(const MediaPacket& raw, std::string& reason) {
        const int gop = gop_;
        const std::chrono::nanoseconds duration = periodOf(media_->frameRate);
        // The picture nearest to the requested time.
        const SteadyTime reach = raw.stamp + duration / 2;
        const bool begins = inGroup_ == 0 || (gop > 0 && inGroup_ >= gop) || keyFrames_.isDue(reach);
        PacketPtr unit = encoder_->encode(*raw.picture->frame, begins, reason);
        if (!unit) return false;
        inGroup_ = begins ? 1 : inGroup_ + 1;
        failing_ = false;
        auto packet = std::make_shared<MediaPacket>(media_, raw.stamp);
        packet->number = raw.number;
        packet->duration = duration;
        packet->key = unit->flags & AV_PKT_FLAG_KEY;
        if (packet->key) keyFrames_.answer(reach);
        packet->size = unit->size;
        const std::shared_ptr<AVPacket> owner = std::move(unit);
        packet->bytes = {owner, owner->data};
        give(packet);
        return true;
    }

    const char* const encoderName_;
    const AVCodecID codec_;
    std::atomic<int> bitRate_{2'000'000};
    static constexpr int kUsualRate = 30;
    std::atomic<int> rate_{0}; /**< 0: that of the pictures */
    std::atomic<int> gop_{15};
    std::atomic<int> clock_{400'000};
    KeyFrameRequests keyFrames_;

    // Used by the thread that delivers the pictures, and by the one that announces media while it is down.
    std::unique_ptr<H264Encoder> encoder_;
    std::shared_ptr<const host::Media> media_;
    int inGroup_ = 0;
    bool failing_ = false;
    bool refused_ = false;
};

class EncoderH264 final : public VideoEncoder {
  public:
    EncoderH264() : VideoEncoder(H264Encoder::defaultEncoder, AV_CODEC_ID_H264) {}
    ~EncoderH264() override { retire(); }
};

constexpr const char* kHevcEncoder = "libx265";

class EncoderH265 final : public VideoEncoder {
  public:
    EncoderH265() : VideoEncoder(kHevcEncoder, AV_CODEC_ID_HEVC) {}
    ~EncoderH265() override { retire(); }
};

const ClassRegistration<EncoderH264> h264("encoder-h264");
/** Registered only if the encoder is installed. */
const std::unique_ptr<ClassRegistration<EncoderH265>> h265 =
    avcodec_find_encoder_by_name(kHevcEncoder)
        ? std::make_unique<ClassRegistration<EncoderH265>>("encoder-h265")
        : nullptr;

}  // namespace
}  // namespace kep::host
