#include "media/video/camera_session.h"

#include <sys/prctl.h>

#include <algorithm>
#include <thread>

#include "objects/log.h"

namespace kep::host {

namespace {
using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds linger(2);
}  // namespace

std::shared_ptr<CameraSession> CameraSession::launch(DeviceSpec device, int rate, std::int64_t number) {
    std::shared_ptr<CameraSession> session(new CameraSession(std::move(device), rate, number));
    // A device can hang for ever in its driver; nobody but the thread itself then waits for it.
    std::thread([session] { session->run(); }).detach();
    return session;
}

CameraSession::CameraSession(DeviceSpec device, int rate, std::int64_t number)
    : device_(std::move(device)),
      wantedRate_(rate),
      lastUse_(Clock::now()),
      first_(number),
      number_(number) {}

bool CameraSession::waitOpened(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, Clock::now() + limit, [this] { return phase_ != Phase::opening; });
    if (phase_ == Phase::opening) {
        KEP_HOST_ERROR("camera " + device_.text + ": does not answer");
        phase_ = Phase::ended;
    }
    return phase_ == Phase::running;
}

bool CameraSession::end(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    phase_ = Phase::ended;
    changed_.notify_all();
    return changed_.wait_until(lock, Clock::now() + limit, [this] { return deviceFree_; });
}

bool CameraSession::attach(VideoTap& tap) {
    const std::lock_guard lock(mutex_);
    if (phase_ != Phase::running) return false;
    taps_.push_back(&tap);
    wantedRate_ = highestRate();
    if (newest_ && tap.wants(*newest_, cameraRate())) tap.deliver(newest_, true);
    return true;
}

void CameraSession::detach(VideoTap& tap) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return helped_ != &tap; });
    std::erase(taps_, &tap);
    if (taps_.empty()) {
        lastUse_ = Clock::now();
    } else {
        wantedRate_ = highestRate();
    }
}

bool CameraSession::isInUse() const {
    const std::lock_guard lock(mutex_);
    return phase_ == Phase::running && !taps_.empty();
}

void CameraSession::setRate(VideoTap& tap, int rate) {
    const std::lock_guard lock(mutex_);
    tap.rate_ = rate;
    tap.due_ = {};
    wantedRate_ = highestRate();
}

AVRational CameraSession::rateOf(const VideoTap& tap) const {
    const AVRational wanted = {tap.rate_, 1};
    const AVRational given = cameraRate();
    return av_cmp_q(wanted, given) < 0 ? wanted : given;
}

int CameraSession::highestRate() const {
    int highest = 0;
    for (const VideoTap* tap : taps_) highest = std::max<int>(highest, tap->rate_);
    return highest ? highest : wantedRate_.load();
}

AVRational CameraSession::cameraRate() const {
    return format_.rate.num ? format_.rate : AVRational{wantedRate_, 1};
}

void CameraSession::run() {
    // The default slack of a timer is a tenth of the time that a picture may take to its reader.
    prctl(PR_SET_TIMERSLACK, 1);
    if (open()) {
        while (captureNext()) {
        }
    }
    camera_.reset();
    encoders_.close();
    const std::lock_guard lock(mutex_);
    newest_.reset();
    deviceFree_ = true;
    changed_.notify_all();
}

bool CameraSession::open() {
    std::string reason;
    camera_ = openCamera(device_, reason);
    const std::lock_guard lock(mutex_);
    if (!camera_ && phase_ == Phase::opening) KEP_HOST_ERROR("camera " + device_.text + ": " + reason);
    if (camera_) format_ = camera_->format();
    phase_ = camera_ && phase_ == Phase::opening ? Phase::running : Phase::ended;
    changed_.notify_all();
    return phase_ == Phase::running;
}

bool CameraSession::captureNext() {
    int wanted = 0;
    Clock::time_point asked;
    {
        std::unique_lock lock(mutex_);
        if (changed_.wait_until(lock, begin_, [this] { return phase_ != Phase::running; })) return false;
        wanted = wantedRate_;
        waitingSince_ = asked = Clock::now();
    }
    auto picture = std::make_shared<Picture>();
    picture->number = number_ + 1;
    std::string reason;
    const bool captured = camera_->next(wanted, *picture, reason);

    std::unique_lock lock(mutex_);
    waitingSince_ = {};
    if (!captured) {
        lose(reason);
        return false;
    }
    planNext(*picture, Clock::now() - asked);
    if (changed_.wait_until(lock, picture->stamp, [this] { return phase_ != Phase::running; })) return false;
    VideoTap* const helped = publish(std::move(picture));
    prepareEncoder();
    if (helped) help(lock, *helped);
    if (taps_.empty() && Clock::now() - lastUse_ > linger) phase_ = Phase::ended;
    return phase_ == Phase::running;
}

void CameraSession::planNext(const Picture& picture, std::chrono::nanoseconds made) {
    begin_ = latestBegin_ = {};
    // A device sets its own pace.
    if (picture.stamp <= Clock::now()) return;
    // A picture that is made here leaves the processor to those who work on the one before, and to itself
    // twice the time that it needs.
    const std::chrono::nanoseconds period(static_cast<std::int64_t>(1e9 / av_q2d(cameraRate())));
    begin_ = picture.stamp + std::clamp(period - 2 * made, std::chrono::nanoseconds(0), period / 2);
    latestBegin_ = picture.stamp + period - made;
}

VideoTap* CameraSession::publish(PicturePtr picture) {
    VideoTap* helped = nullptr;
    std::size_t given = 0;
    const std::int64_t missed = picture->number - number_ - 1;
    number_ = picture->number;
    const AVRational rate = cameraRate();
    for (VideoTap* tap : taps_) {
        if (missed) tap->listener_.picturesLost(static_cast<std::size_t>(missed));
        if (!tap->wants(*picture, rate)) continue;
        const bool helps = !helped && hasTimeFor(*tap);
        if (helps) helped = tap;
        tap->deliver(picture, !helps);
        ++given;
    }
    // Nobody else needs the processor: one sleep is enough for a picture.
    if (helped && given == 1) begin_ = {};
    newest_ = std::move(picture);
    return helped;
}

bool CameraSession::hasTimeFor(const VideoTap& tap) const {
    return Clock::now() + tap.pictures_.lastTook() * 3 / 2 < latestBegin_;
}

void CameraSession::help(std::unique_lock<std::mutex>& lock, VideoTap& tap) {
    helped_ = &tap;
    lock.unlock();
    tap.pictures_.help();
    lock.lock();
    helped_ = nullptr;
    changed_.notify_all();
}

void CameraSession::prepareEncoder() {
    constexpr std::int64_t settled =
        5;  // pictures; a stream that has just opened the camera is at work itself
    constexpr int usualBitRate = 2'000'000;
    if (number_ - first_ != settled) return;
    const AVFrame& frame = *newest_->frame;
    if (frame.format != AV_PIX_FMT_YUV420P) return;
    encoders_.prepare({frame.width, frame.height, cameraRate(), usualBitRate, format_.colours},
                      {newest_, &frame});
}

void CameraSession::lose(const std::string& reason) {
    if (phase_ != Phase::running) return;
    phase_ = Phase::ended;
    KEP_HOST_ERROR("camera " + device_.text + ": " + reason);
    for (VideoTap* tap : taps_) {
        tap->listener_.cameraLost(device_.text);
        tap->pictures_.queue().finish();
    }
    changed_.notify_all();
}

void CameraSession::loseIfStalled(std::chrono::milliseconds limit) {
    const std::lock_guard lock(mutex_);
    if (waitingSince_ != Clock::time_point{} && Clock::now() - waitingSince_ > limit) {
        lose("has delivered nothing for " + std::to_string(limit.count() / 1000) + " s");
    }
}

}  // namespace kep::host
