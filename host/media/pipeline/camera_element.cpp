#include <pthread.h>

#include <condition_variable>
#include <thread>

#include "media/common/filming.h"
#include "media/common/retry_pause.h"
#include "media/pipeline/element.h"
#include "media/pipeline/limits.h"
#include "media/video/picture_scaler.h"
#include "media/video/picture_size.h"
#include "media/video/video_hub.h"
#include "objects/class_registry.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/**
 * The camera's pictures in a size of their own, that of the camera where none is set. A camera that is lost
 * while it runs is looked for again: what records goes on when it is back.
 */
class CameraElement final : public SourceElement, private TapListener {
  public:
    CameraElement() {
        filmingBegins();
        for (auto [name, side] : {std::pair("w", &width_), std::pair("h", &height_)}) {
            properties().add<int>(
                name, [side = side] { return side->load(); },
                [side = side](int pixels) {
                    *side = pixels;
                    return true;
                });
        }
        addWholeNumber(properties(), *this, "fr", rate_, 1, 120);
    }
    ~CameraElement() override { retire(); }

    bool Configure(base::AttrSet& attributes) override {
        return SourceElement::Configure(attributes) && isSize();
    }

  protected:
    bool up(State target) override {
        if (target != State::play) return true;
        if (!isSize()) return false;
        auto tap = VideoHub::instance().open(rate_, delivered_, *this);
        if (!tap) return false;
        tap_ = std::move(tap);
        stopping_ = false;
        thread_ = std::thread([this] { work(); });
        return true;
    }

    bool down(State) override {
        {
            const std::lock_guard lock(mutex_);
            stopping_ = true;
            if (tap_) tap_->close();
        }
        changed_.notify_all();
        if (thread_.joinable()) thread_.join();
        tap_.reset();
        return true;
    }

  private:
    /** Both sides set to sizes a picture can have, or neither set. */
    bool isSize() const {
        const int width = width_;
        const int height = height_;
        if ((width == kUnset && height == kUnset) || (isSide(width) && isSide(height))) return true;
        const auto text = [](int pixels) { return pixels == kUnset ? "?" : std::to_string(pixels); };
        KEP_HOST_ERROR(label() + ": size " + text(width) + "x" + text(height) +
                       " is not of even numbers from " + std::to_string(kSmallestSide) + " to " +
                       std::to_string(kLargestSide));
        return false;
    }

    void work() {
        pthread_setname_np(pthread_self(), "camera-element");
        do {
            const CameraFormat& camera = tap_->format();
            auto media = std::make_shared<host::Media>();
            media->codec = AV_CODEC_ID_RAWVIDEO;
            media->width = width_ == kUnset ? camera.width : width_.load();
            media->height = height_ == kUnset ? camera.height : height_.load();
            media->frameRate = tap_->rate();
            media->colours = camera.colours;
            giveAll(media, *SharedScaler::forSize(media->width, media->height));
        } while (reopen());
    }

    void giveAll(const MediaPtr& media, SharedScaler& scaler) {
        const auto giveOne = [&](const PicturePtr& picture) {
            delivered_ = picture->number;
            auto packet = std::make_shared<MediaPacket>();
            packet->media = media;
            packet->stamp = picture->stamp;
            packet->picture = scaler.scale(picture);
            if (packet->picture) {
                give(packet);
            } else {
                tellLost(host::Media::Kind::video, 1);
            }
            return true;
        };
        tap_->serve(giveOne, [this] { return givesPromptly(); });
    }

    /** Waits until the camera is there again; false when the element is to stop. */
    bool reopen() {
        for (RetryPause pause;;) {
            {
                std::unique_lock lock(mutex_);
                const auto until = std::chrono::steady_clock::now() + pause.next();
                if (changed_.wait_until(lock, until, [this] { return stopping_; })) return false;
            }
            auto tap = VideoHub::instance().open(rate_, delivered_, *this);
            if (!tap) continue;
            const std::lock_guard lock(mutex_);
            tap_.swap(tap);
            return !stopping_;
        }
    }

    void picturesLost(std::size_t count) override { tellLost(host::Media::Kind::video, count); }
    void cameraLost(const std::string& device) override {
        tell("deviceLost", "media=video,device={" + device + "}");
    }

    static constexpr int kUnset = -1;
    std::atomic<int> width_{kUnset};
    std::atomic<int> height_{kUnset};
    std::atomic<int> rate_{30};
    std::int64_t delivered_ = -1; /**< number of the newest picture given; of the thread while it runs */

    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopping_ = false;
    std::unique_ptr<VideoTap> tap_; /**< replaced by the thread alone, under the mutex */
    std::thread thread_;
};

const ClassRegistration<CameraElement> registration("PvYuvSrcAdv");

}  // namespace
}  // namespace kep::host
