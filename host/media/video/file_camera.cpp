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
    const std::optional<std::size_t> memory = LoopMemory::chosenBytes(reason);
    if (!memory) return nullptr;
    const std::string url = "file:" + path;
    std::unique_ptr<MediaInput> input = MediaInput::open(url, nullptr, nullptr, reason);
    if (!input) return nullptr;
    return std::unique_ptr<Camera>(new FileCamera(url, std::move(input), loops, *memory));
}

FileCamera::FileCamera(std::string url, std::unique_ptr<MediaInput> input, bool loops, std::size_t memory)
    : url_(std::move(url)), input_(std::move(input)), loops_(loops), rate_(input_->rate()), memory_(memory) {
    if (rate_.num == 0) rate_ = rateOfStills;
    if (!loops_) memory_.forget();
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
    if (memory_.isWhole() && next_ >= memory_.size()) beginPass();
    if (next_ < memory_.size()) {
        frame = memory_.at(next_++);
        if (!frame) reason = "no memory for a picture";
        return frame != nullptr;
    }
    if (!ahead_) return readOn(frame, reason);
    frame = std::move(ahead_);
    return true;
}

bool FileCamera::readOn(FramePtr& frame, std::string& reason) {
    const MediaInput::Result result = input_->read(frame, reason);
    if (result == MediaInput::Result::picture) {
        if (!firstPts_) firstPts_ = frame->pts;
        ++inThisPass_;
        memory_.add(*frame);
        return true;
    }
    if (result == MediaInput::Result::failed) return false;
    if (inThisPass_ == 0 || !loops_) {
        reason = inThisPass_ ? "has ended" : "no picture in it";
        return false;
    }
    memory_.finish();
    beginPass();
    return memory_.isWhole() || resume() ? read(frame, reason) : startOver(frame, reason);
}

void FileCamera::beginPass() {
    lastPts_ = AV_NOPTS_VALUE;
    next_ = 0;
    inThisPass_ = 0;
}

bool FileCamera::resume() {
    const std::optional<std::int64_t> at = memory_.resumeAt();
    // Amid pictures out of order a decoder that begins anew may lose some.
    if (!at || input_->reorders() || !input_->seek(*at)) return false;
    // Not every format finds a place by its time.
    std::string ignored;
    if (input_->read(ahead_, ignored) == MediaInput::Result::picture && ahead_->pts == *at) {
        ++inThisPass_;
        return true;
    }
    ahead_.reset();
    return false;
}

bool FileCamera::startOver(FramePtr& frame, std::string& reason) {
    memory_.forget();
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
        if (rewound && readOn(frame, reason) && (anyBeginning || frame->pts == firstPts_)) return true;
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
