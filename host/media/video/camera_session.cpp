#include "media/video/camera_session.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "media/common/period.h"
#include "objects/log.h"
#include "objects/process_end.h"

namespace kep::host {
namespace {

constexpr std::size_t kMostQueuedBytes = 96U << 20;

/** Lead of a picture's consumers, at most half a period, before the camera paints or decodes the next one:
 * that would take the processor from an encoder and delay every picture by up to 1 ms. 1080p is encoded in
 * less than this. */
constexpr std::chrono::milliseconds kLead(10);

/** Number of the newest picture in the process: numbering continues across sessions. */
std::atomic<std::int64_t> newestNumber{0};

CaptureKind cameraKind(const DeviceSpec& device) {
    using std::chrono::seconds;
    const std::string name = "camera " + device.text;
    return {.thread = Thread::camera,
            .openTimeout = seconds(5),
            .closeTimeout = seconds(1),
            .linger = seconds(2),
            .stallTimeout = seconds(5),
            .name = name,
            .noAnswer = name + ": does not answer",
            .hangs = name + ": hangs, abandoned"};
}

CaptureDevice<CameraSession>& theCamera() {
    // Never destroyed: a stream that the program forgot may still use it while the process ends.
    static CaptureDevice<CameraSession>& camera = *[] {
        auto* const made = new CaptureDevice<CameraSession>;
        ProcessEnd::addStep([made] { made->end(); });
        return made;
    }();
    return camera;
}

}  // namespace

CameraSession::CameraSession(const DeviceSpec& device) : CaptureSession(cameraKind(device), device) {}

bool CameraSession::open(std::string& reason) {
    camera_ = openCamera(device(), reason);
    if (camera_) format_ = camera_->format();
    return camera_ != nullptr;
}

void CameraSession::close() {
    camera_.reset();
    hub_.withPast([](auto& past) { past.clear(); });
}

AVRational CameraSession::rate() const {
    return format_.rate.num ? format_.rate : AVRational{wantedRate_, 1};
}

void CameraSession::setRate(const void* consumer, int rate) {
    const MutexLock lock(ratesMutex_);
    if (rate > 0) {
        rates_[consumer] = rate;
    } else {
        rates_.erase(consumer);
    }
    int highest = 0;
    for (const auto& [who, wanted] : rates_) highest = std::max(highest, wanted);
    if (highest > 0) wantedRate_ = highest;
}

bool CameraSession::read(std::string& reason) {
    std::this_thread::sleep_until(nextRead_);
    read_ = std::make_shared<Picture>();
    read_->number = newestNumber + 1;
    return camera_->next(wantedRate_, *read_, reason);
}

void CameraSession::publish() {
    newestNumber = read_->number;
    nextRead_ = read_->stamp + std::min<std::chrono::nanoseconds>(kLead, periodOf(rate()) / 2);
    // As late as possible, so that settings made before the picture is due are in it.
    read_->frame = stage_.apply(std::move(read_->frame), read_->stamp);
    if (!read_->frame) {
        // Consumers detect the loss by the numbers; unpainted the picture could show a privacy zone.
        KEP_HOST_ERROR("camera " + device().text + ": picture dropped: out of memory");
        read_.reset();
        return;
    }
    hub_.publish(std::exchange(read_, nullptr));
}

std::shared_ptr<CameraLease> CameraLease::open(int rate, std::int64_t after, LeaseListener listener,
                                               std::size_t depth) {
    const std::optional<DeviceSpec> chosen = chosenCamera();
    if (!chosen) return nullptr;
    std::shared_ptr<CameraSession> session = theCamera().join(*chosen);
    if (!session) return nullptr;
    std::shared_ptr<CameraLease> lease(
        new CameraLease(std::move(session), rate, after, std::move(listener), depth));
    return lease->subscribe() ? lease : nullptr;
}

CameraLease::CameraLease(std::shared_ptr<CameraSession> session, int rate, std::int64_t after,
                         LeaseListener listener, std::size_t depth)
    : Lease(std::move(session), {depth, kMostQueuedBytes}, std::move(listener)), rate_(rate), after_(after) {
    this->session().setRate(this, rate);
}

CameraLease::~CameraLease() {
    close();
    session().setRate(this, 0);
}

void CameraLease::setRate(int rate) {
    rate_ = rate;
    session().setRate(this, rate);
}

AVRational CameraLease::rate() const {
    const AVRational wanted = {rate_, 1};
    const AVRational given = session().rate();
    return av_cmp_q(wanted, given) < 0 ? wanted : given;
}

void CameraLease::offered(const PicturePtr& picture) {
    const std::int64_t before = std::exchange(seen_, picture->number);
    if (before >= 0 && picture->number > before + 1)
        tellLost(static_cast<std::size_t>(picture->number - before - 1));
}

bool CameraLease::wants(const PicturePtr& picture) {
    // At the camera's own rate no picture is skipped, not even right after a change of the rate.
    const bool isThinned = rate_ < av_q2d(session().rate()) * 0.99;
    if (picture->number <= after_ || (isThinned && !gate_.passes(picture->stamp, rate_))) return false;
    after_ = picture->number;
    return true;
}

}  // namespace kep::host
