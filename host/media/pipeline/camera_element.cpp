#include "media/pipeline/device_element.h"
#include "media/video/camera_session.h"
#include "media/video/picture_scaler.h"
#include "objects/class_registry.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/** Delivers the camera's pictures, scaled to `w` x `h` if set, at `fr` pictures per second. */
class CameraElement final : public DeviceElement<CameraLease> {
  public:
    CameraElement() : DeviceElement(Thread::cameraElement, host::Media::Kind::video) {
        properties().add("w", width_);
        properties().add("h", height_);
        addNumber("fr", rate_, 1, kHighestRate, [this] {
            if (const std::shared_ptr<CameraLease> current = lease()) current->setRate(rate_);
        });
    }
    ~CameraElement() override { retire(); }

    bool Configure(base::AttrSet& attributes) override {
        return DeviceElement::Configure(attributes) && isSize();
    }

  protected:
    bool up(State target) override {
        return (target != State::play || isSize()) && DeviceElement::up(target);
    }

  private:
    /** Whether width and height are valid, or neither is set. */
    bool isSize() const {
        const int width = width_;
        const int height = height_;
        if ((width == kUnset && height == kUnset) || (isSide(width) && isSide(height))) return true;
        const auto text = [](int pixels) { return pixels == kUnset ? "?" : std::to_string(pixels); };
        KEP_HOST_ERROR(label() + ": size " + text(width) + "x" + text(height) +
                       ": width and height must be even numbers from " + std::to_string(kSmallestSide) +
                       " to " + std::to_string(kLargestSide));
        return false;
    }

    bool startsWithout() const override { return false; }
    std::shared_ptr<CameraLease> open() override {
        return CameraLease::open(rate_, delivered_,
                                 {[this](std::size_t pictures) { tellDropped(pictures); }, nullptr});
    }

    void giveAll(CameraLease& lease) override {
        MediaPtr media = describe(lease);
        announce(media);
        for (PicturePtr picture; lease.pull(picture, true);) {
            if (av_cmp_q(lease.rate(), media->frameRate) != 0) media = describe(lease);
            delivered_ = picture->number;
            auto packet = std::make_shared<MediaPacket>(media, picture->stamp);
            packet->number = picture->number;
            packet->picture = scaled(picture, *media);
            if (packet->picture) {
                give(packet);
            } else {
                tellDropped(1);
            }
        }
    }

    PicturePtr scaled(const PicturePtr& picture, const host::Media& media) {
        if (picture->frame->width == media.width && picture->frame->height == media.height) return picture;
        auto made = std::make_shared<Picture>();
        made->frame = scaler_.scale(*picture->frame, media.width, media.height);
        if (!made->frame) return nullptr;
        made->stamp = picture->stamp;
        made->number = picture->number;
        return made;
    }

    MediaPtr describe(const CameraLease& lease) const {
        const CameraFormat& camera = lease.format();
        auto media = std::make_shared<host::Media>();
        media->codec = AV_CODEC_ID_RAWVIDEO;
        media->width = width_ == kUnset ? camera.width : width_.load();
        media->height = height_ == kUnset ? camera.height : height_.load();
        media->frameRate = lease.rate();
        media->colours = camera.colours;
        return media;
    }

    static constexpr int kUnset = -1;
    std::atomic<int> width_{kUnset};
    std::atomic<int> height_{kUnset};
    std::atomic<int> rate_{30};

    // Used by the element's thread.
    std::int64_t delivered_ = -1; /**< number of the newest picture delivered */
    PictureScaler scaler_;
};

const ClassRegistration<CameraElement> cameraElementRegistration("PvYuvSrcAdv");

}  // namespace
}  // namespace kep::host
