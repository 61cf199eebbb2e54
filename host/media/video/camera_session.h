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
 * One run of the camera. It lingers after its last consumer has left, so that a restarted stream finds the
 * camera running.
 */
class CameraSession final : public CaptureSession {
  public:
    using Item = PicturePtr;

    explicit CameraSession(const DeviceSpec& device);

    Hub<PicturePtr, NewestOnly<PicturePtr>>& hub() { return hub_; }
    /** Fixed once it is open. */
    const CameraFormat& format() const { return format_; }
    /** Pictures per second that it delivers. */
    AVRational rate() const;
    /** Sets the rate that a consumer requests; 0 when it leaves. */
    void setRate(const void* consumer, int rate);

  private:
    bool open(std::string& reason) override;
    bool read(std::string& reason) override;
    SteadyTime due() const override { return read_->stamp; }
    void publish() override;
    void close() override;
    void endHub() override { hub_.end(); }

    std::unique_ptr<Camera> camera_; /**< used by the capture thread only, as the next two */
    std::shared_ptr<Picture> read_;
    SteadyTime nextRead_; /**< read() does not begin before */
    CameraFormat format_;
    ImageStage stage_;
    Mutex ratesMutex_;
    std::map<const void*, int> rates_ GUARDED_BY(ratesMutex_);
    std::atomic<int> wantedRate_{30}; /**< the highest of rates_; stays when the last consumer leaves */
    Hub<PicturePtr, NewestOnly<PicturePtr>> hub_;
};

/** One consumer's share of the process's camera, at a rate of its own. */
class KEP_API CameraLease final : public Lease<CameraSession> {
  public:
    /** A second of 1080p: as much as the camera delivers in one burst after the machine has stalled. */
    static constexpr std::size_t kUsualDepth = 64;

    /**
     * Joins the camera, or opens it. A change of KEP_HOST_VIDEO takes effect while it has no consumer.
     *
     * @param rate  pictures per second
     * @param after number of the last picture that this consumer has received; only later ones are delivered
     * @param depth pictures that the queue holds; when full it drops the oldest
     * @return null, with an error line, when the camera cannot be opened
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
    /** The actual rate: the requested one, or the camera's if that is lower. */
    AVRational rate() const;

  private:
    CameraLease(std::shared_ptr<CameraSession> session, int rate, std::int64_t after, LeaseListener listener,
                std::size_t depth);

    void offered(const PicturePtr& picture) override;
    bool wants(const PicturePtr& picture) override;

    std::atomic<int> rate_;
    // Used by the capture thread only.
    std::int64_t after_;     /**< number of the newest picture accepted */
    std::int64_t seen_ = -1; /**< number of the newest picture offered */
    RateGate gate_;
};

}  // namespace kep::host

#endif
