#include "track.h"

#include <cstdlib>
#include <memory>
#include <thread>
#include <utility>

#include "command.h"
#include "interrupt.h"
#include "message.h"
#include "terminal.h"

namespace vncam {

using std::chrono::steady_clock;

namespace {

/** Larger than a key frame of the largest picture at any supported bit rate. */
constexpr int kFrameBytes = 8 << 20;

/** Delay from the beginning of an AAC frame to its arrival, in frames: the encoder needs its samples and
 * those of the next frame to choose the transform, and decoders output the frame before first. */
constexpr int kAacDelayFrames = 3;
/** A read that lasts longer has waited for its frame. */
constexpr auto kQueuedRead = std::chrono::milliseconds(2);

// A C callback has no user pointer.
std::atomic<std::uint64_t> lostFrames[2];
std::atomic<int> stopsReported[2];
std::atomic<const char*> reporter;

/** Messages are delivered on another thread, shortly after the event. */
constexpr auto kDeliveryTimeout = std::chrono::seconds(1);

template <Track::Kind kind>
void onMessage(const char* message) {
    const std::string name = messageValue(message, "name");
    if (name == "frameLost")
        lostFrames[kind] += std::strtoull(messageValue(message, "lost").c_str(), nullptr, 10);
    else if (name == "deviceLost")
        report(reporter, "the " + messageValue(message, "media") + " device " +
                             messageValue(message, "device") + " is lost");
    else if (name == "stopped")
        ++stopsReported[kind];
    else if (name != "started")
        report(reporter, message);
}

}  // namespace

Track::Track(Kind kind, const char* command, std::unique_ptr<FrameSink> sink)
    : kind_(kind), sink_(std::move(sink)), source_(kind == video ? VNRES_H264_SOURCE : VNRES_AAC_SOURCE) {
    reporter = command;
    lostFrames[kind] = 0;
    stopsReported[kind] = 0;
    check(VNRegisterMessageCallback(id(), kind == video ? onMessage<video> : onMessage<audio>),
          "VNRegisterMessageCallback");
}

Track::~Track() {
    if (!reading_.valid()) return;
    end();
    cut();
}

void Track::start(double framesPerSecond, double seconds, BeforeFrame beforeFrame) {
    framesPerSecond_ = framesPerSecond;
    const auto frame = std::chrono::duration_cast<FrameTimes::Clock::duration>(
        std::chrono::duration<double>(1 / framesPerSecond));
    // A microphone delivers blocks and keeps its rate: only a real gap may interrupt its sound.
    if (sink_->isTimed())
        times_.emplace(kind_ == video ? FrameTimes::Source{frame, frame * 3 / 4, 3, frame / 2}
                                      : FrameTimes::Source{frame, frame * 3, 48, frame});
    source_.start();
    ++starts_;
    reading_ = std::async(std::launch::async, [this, seconds, beforeFrame = std::move(beforeFrame)] {
        try {
            readAll(seconds, beforeFrame);
        } catch (...) {
            broken_ = true;
            throw;
        }
    });
}

void Track::switchSize(Size size) {
    check(VNSwitchResolution(id(), size.width, size.height), "VNSwitchResolution to " + size.text());
    ++starts_;
}

void Track::end() {
    ending_ = true;
    sink_->abandon();
}

void Track::cut() {
    cut_ = true;
    VNStop(id());
}

steady_clock::duration Track::waiting() const {
    return read_.lasting();
}

bool Track::finished(std::chrono::milliseconds limit) const {
    return reading_.wait_for(limit) == std::future_status::ready;
}

void Track::join() {
    reading_.wait();
    VNStop(id());
    const auto limit = steady_clock::now() + kDeliveryTimeout;
    while (stopsReported[kind_] < starts_ && steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    reading_.get();
}

std::uint64_t Track::lost() const {
    return lostFrames[kind_];
}

double Track::second() const {
    return static_cast<double>(sink_->isTimed() ? framesShown_.load() : frames() + lost()) / framesPerSecond_;
}

std::string Track::summary() const {
    return sink_->name() + ": " + countText(frames(), std::string(media()) + " frame") + ", " +
           countText(sink_->bytes(), "byte") + ", " +
           lengthText(static_cast<double>(frames()) / framesPerSecond_) + ", " + std::to_string(lost()) +
           " lost";
}

void Track::readAll(double seconds, const BeforeFrame& beforeFrame) {
    // Left uninitialized: few frames touch more than its beginning.
    const auto frame = std::make_unique_for_overwrite<char[]>(kFrameBytes);
    while (!ending_ && !cut_ && !stopRequested() && (seconds == 0 || second() < seconds)) {
        if (beforeFrame) beforeFrame(second());
        const auto before = FrameTimes::Clock::now();
        const int length = readFrame(frame.get());
        if (cut_) return;
        write(frame.get(), length, FrameTimes::Clock::now() - before);
        ++frames_;
    }
    source_.stop();
}

void Track::write(const char* frame, int length, FrameTimes::Clock::duration waited) {
    FrameSink::Time time;
    if (times_) {
        time = times_->next(FrameTimes::Clock::now(), waited > kQueuedRead, lost());
        framesShown_ = times_->length();
        if (kind_ == audio) time -= kAacDelayFrames * times_->frame();
    }
    sink_->write({frame, static_cast<std::size_t>(length)}, time);
}

int Track::readFrame(char* frame) {
    int length = 0;
    const int result = read_.make([&] { return VNRead(id(), frame, kFrameBytes, 1, &length); });
    if (cut_ && !ending_ && !stopRequested()) throw Failure(std::string("no ") + media() + " frame received");
    if (!cut_) check(result, std::string("VNRead of ") + media());
    return length;
}

}  // namespace vncam
