#ifndef KEP_HOST_CAMERA_SESSION_H
#define KEP_HOST_CAMERA_SESSION_H

#include <atomic>
#include <map>
#include <memory>

#include "media/hub/lease.h"
#include "media/hub/rate_gate.h"
#include "media/video/camera.h"
#include "picture/image_stage.h"

namespace kep::host {

/**
 * One run of the camera. It outlasts its last consumer by a moment, so that a stream that is stopped and
 * started finds the camera running.
 */
class CameraSession final : public CaptureSession {
  public:
    using Item = PicturePtr;

    explicit CameraSession(const DeviceSpec& device);

    Hub<PicturePtr, NewestOnly<PicturePtr>>& hub() { return hub_; }
    /** Fixed once it is open. */
    const CameraFormat& format() const { return format_; }
    /** Pictures that it gives in a second. */
    AVRational rate() const;
    /** What a consumer wants; 0 when it leaves. */
    void setRate(const void* consumer, int rate);

  private:
    bool open(std::string& reason) override;
    bool read(std::string& reason) override;
    SteadyTime due() const override { return read_->stamp; }
    void publish() override;
    void close() override;
    void endHub() override { hub_.end(); }

    std::unique_ptr<Camera> camera_; /**< of the capture thread */
    CameraFormat format_;
    std::shared_ptr<Picture> read_;
    ImageStage stage_;
    Mutex ratesMutex_;
    std::map<const void*, int> rates_ GUARDED_BY(ratesMutex_);
    std::atomic<int> wantedRate_{30}; /**< the highest of them, or of the last that left */
    Hub<PicturePtr, NewestOnly<PicturePtr>> hub_;
};

/** A share of the camera of the process, in a rate of its own. */
class KEP_API CameraLease final : public Lease<CameraSession> {
  public:
    /** A second of 1080p: as much as the camera delivers in one burst after the machine has stalled. */
    static constexpr std::size_t kUsualDepth = 64;

    /**
     * Opens the camera for its first consumer. KEP_HOST_VIDEO is read whenever it has none.
     *
     * @param rate  pictures wanted in a second
     * @param after number of the newest picture that this consumer has had before
     * @param depth pictures that may wait to be pulled; the oldest are dropped for newer ones
     * @return null, with a line written, when there is no camera
     */
    static std::shared_ptr<CameraLease> open(int rate, std::int64_t after, LeaseListener listener,
                                             std::size_t depth = kUsualDepth);
    ~CameraLease() override;

    const CameraFormat& format() const { return session().format(); }
    /** The newest picture of the camera, whether or not it is in the queue; null when there is none. */
    PicturePtr newest() const {
        return session().hub().withPast([](const auto& past) { return past.newest; });
    }
    /** Changes the rate from the next picture on. */
    void setRate(int rate);
    /** The rate at which pictures really come: what is wanted, or what the camera gives if that is less. */
    AVRational rate() const;

  private:
    CameraLease(std::shared_ptr<CameraSession> session, int rate, std::int64_t after, LeaseListener listener,
                std::size_t depth);

    void offered(const PicturePtr& picture) override;
    bool wants(const PicturePtr& picture) override;

    std::atomic<int> rate_;
    // Of the capture thread.
    std::int64_t after_;
    std::int64_t seen_ = -1; /**< number of the newest picture, taken or not */
    RateGate gate_;
};

}  // namespace kep::host

#endif
