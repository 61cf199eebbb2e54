#include "media/video/file_camera.h"

#include <sys/stat.h>

namespace kep::host {

namespace {

constexpr AVRational rateOfStills = {30, 1};
constexpr std::chrono::milliseconds tolerance(250);
constexpr std::chrono::seconds longestGap(10);

std::chrono::nanoseconds toNanoseconds(std::int64_t ticks, AVRational base) {
    return std::chrono::nanoseconds(av_rescale_q(ticks, base, {1, 1'000'000'000}));
}

}  // namespace

std::unique_ptr<Camera> FileCamera::open(const std::string& path, std::string& reason) {
    struct stat status {};
    const bool loops = stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    const std::string url = "file:" + path;
    std::unique_ptr<MediaInput> input = MediaInput::open(url, nullptr, nullptr, reason);
    if (!input) return nullptr;
    return std::unique_ptr<Camera>(new FileCamera(url, std::move(input), loops));
}

FileCamera::FileCamera(std::string url, std::unique_ptr<MediaInput> input, bool loops)
    : url_(std::move(url)), input_(std::move(input)), loops_(loops), rate_(input_->rate()) {
    if (rate_.num == 0) rate_ = rateOfStills;
}

CameraFormat FileCamera::format() const {
    return {input_->width(), input_->height(), rate_, input_->colours()};
}

bool FileCamera::next(int, Picture& picture, std::string& reason) {
    if (!read(picture.frame, reason)) return false;
    picture.stamp = dueTime(*picture.frame);
    return true;
}

bool FileCamera::read(FramePtr& frame, std::string& reason) {
    if (still_) {
        frame.reset(av_frame_clone(still_.get()));
        if (!frame) reason = "no memory for a picture";
        return frame != nullptr;
    }
    const MediaInput::Result result = input_->read(frame, reason);
    if (result == MediaInput::Result::picture) {
        if (!firstPts_) firstPts_ = frame->pts;
        first_.reset(++inThisPass_ == 1 && loops_ ? av_frame_clone(frame.get()) : nullptr);
        return true;
    }
    if (result == MediaInput::Result::failed) return false;
    if (inThisPass_ == 0 || !loops_) {
        reason = inThisPass_ ? "has ended" : "no picture in it";
        return false;
    }
    lastPts_ = AV_NOPTS_VALUE;
    // A file of a single picture is decoded once.
    still_ = std::move(first_);
    return still_ ? read(frame, reason) : startOver(frame, reason);
}

bool FileCamera::startOver(FramePtr& frame, std::string& reason) {
    // Not every format finds its beginning by time; to open it anew always works, but takes longest.
    for (; rewind_ != Rewind::impossible; rewind_ = static_cast<Rewind>(static_cast<int>(rewind_) + 1)) {
        inThisPass_ = 0;
        bool rewound = false;
        if (rewind_ == Rewind::reopening) {
            std::unique_ptr<MediaInput> anew = MediaInput::open(url_, nullptr, nullptr, reason);
            if (!anew) return false;
            input_ = std::move(anew);
            rewound = true;
        } else {
            rewound = input_->rewind(rewind_ == Rewind::byBytes);
        }
        const bool anyBeginning = rewind_ == Rewind::reopening;
        if (rewound && read(frame, reason) && (anyBeginning || frame->pts == firstPts_)) return true;
    }
    reason = "cannot be read again from its beginning";
    return false;
}

FileCamera::Clock::time_point FileCamera::dueTime(const AVFrame& frame) {
    const Clock::time_point now = Clock::now();
    const std::chrono::nanoseconds period = toNanoseconds(1, av_inv_q(rate_));
    std::chrono::nanoseconds step = period;
    if (frame.pts != AV_NOPTS_VALUE && lastPts_ != AV_NOPTS_VALUE) {
        step = toNanoseconds(frame.pts - lastPts_, input_->timeBase());
        if (step <= step.zero() || step > longestGap) step = period;
    }
    lastPts_ = frame.pts;
    const bool first = lastDue_ == Clock::time_point{};
    lastDue_ = first ? now : lastDue_ + step;
    // Who cannot keep up goes on from now instead of hurrying for ever.
    if (now - lastDue_ > tolerance) lastDue_ = now;
    return lastDue_;
}

}  // namespace kep::host
