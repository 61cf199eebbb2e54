#include <thread>

#include "media/common/filming.h"
#include "media/common/retry_pause.h"
#include "media/pipeline/element.h"
#include "media/pipeline/limits.h"
#include "media/threads.h"
#include "media/video/camera_session.h"
#include "media/video/picture_scaler.h"
#include "media/video/picture_size.h"
#include "objects/class_registry.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/**
 * The camera's pictures in a size of their own, that of the camera where none is set. A camera that is lost
 * while it runs is looked for again, so that what records goes on when it is back; with `retry=false` the
 * stream ends there.
 */
class CameraElement final : public SourceElement {
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
        properties().add<int>(
            "fr", [this] { return rate_.load(); }, [this](int wanted) { return setRate(wanted); });
        addFlag(properties(), "retry", retries_);
    }
    ~CameraElement() override { retire(); }

    bool Configure(base::AttrSet& attributes) override {
        return SourceElement::Configure(attributes) && isSize();
    }

  protected:
    bool up(State target) override {
        if (target != State::play) return true;
        if (!isSize()) return false;
        std::shared_ptr<CameraLease> lease = open();
        if (!lease) return false;
        {
            const MutexLock lock(mutex_);
            lease_ = std::move(lease);
            isStopping_ = false;
        }
        thread_ = startThread(Thread::cameraElement, [this] { work(); });
        return true;
    }

    bool down(State) override {
        std::shared_ptr<CameraLease> lease;
        {
            const MutexLock lock(mutex_);
            isStopping_ = true;
            lease.swap(lease_);
            changed_.notifyAll();
        }
        if (lease) lease->close();
        if (thread_.joinable()) thread_.join();
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

    bool setRate(int wanted) {
        if (!isWithin(*this, "fr", wanted, 1, kHighestRate)) return false;
        rate_ = wanted;
        if (const std::shared_ptr<CameraLease> current = lease()) current->setRate(wanted);
        return true;
    }

    std::shared_ptr<CameraLease> open() {
        return CameraLease::open(
            rate_, delivered_,
            {[this](std::size_t pictures) { tellLost(host::Media::Kind::video, pictures); }, nullptr});
    }

    std::shared_ptr<CameraLease> lease() {
        const MutexLock lock(mutex_);
        return lease_;
    }

    void work() {
        do {
            if (const std::shared_ptr<CameraLease> current = lease()) giveAll(*current);
        } while (recover());
    }

    void giveAll(CameraLease& lease) {
        MediaPtr media = describe(lease);
        const auto scaler = SharedScaler::forSize(media->width, media->height);
        announce(media);
        for (PicturePtr picture; lease.pull(picture, true);) {
            if (av_cmp_q(lease.rate(), media->frameRate) != 0) media = describe(lease);
            delivered_ = picture->number;
            auto packet = std::make_shared<MediaPacket>();
            packet->media = media;
            packet->stamp = picture->stamp;
            packet->number = picture->number;
            packet->picture = scaler->scale(picture);
            if (packet->picture) {
                give(packet);
            } else {
                tellLost(host::Media::Kind::video, 1);
            }
        }
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

    /** Waits until the camera is there again; false when the element is to stop. */
    bool recover() {
        if (const std::shared_ptr<CameraLease> current = lease(); current && current->isLost())
            tellDeviceLost(host::Media::Kind::video, current->device());
        if (!retries_) return false;
        for (RetryPause pause;;) {
            {
                MutexLock lock(mutex_);
                if (changed_.waitFor(lock, pause.next(), [this]() REQUIRES(mutex_) { return isStopping_; }))
                    return false;
            }
            std::shared_ptr<CameraLease> found = open();
            if (!found) continue;
            const MutexLock lock(mutex_);
            if (isStopping_) return false;
            lease_.swap(found);
            return true;
        }
    }

    static constexpr int kUnset = -1;
    std::atomic<int> width_{kUnset};
    std::atomic<int> height_{kUnset};
    std::atomic<int> rate_{30};
    std::atomic<bool> retries_{true};

    std::int64_t delivered_ = -1; /**< number of the newest picture given; of the thread while it runs */

    Mutex mutex_;
    Condition changed_;
    bool isStopping_ GUARDED_BY(mutex_) = false;
    std::shared_ptr<CameraLease> lease_ GUARDED_BY(mutex_);
    std::thread thread_;
};

const ClassRegistration<CameraElement> registration("PvYuvSrcAdv");

}  // namespace
}  // namespace kep::host
