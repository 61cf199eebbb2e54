#include "media/pipeline/element.h"
#include "objects/class_registry.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/** Of pictures that do not say how long they last. */
constexpr std::chrono::milliseconds kUsualPicture(33);

/**
 * Cuts a stream into segments of `duration`, each before the first key frame at or after its time, which it
 * asks the encoder for. The times are multiples of the duration after the first key frame, so that no segment
 * makes those after it late. One packet comes after the other, as Sync or a queue before it has it.
 * Sound that comes in the order of its stamps then lies in the segment in which it begins.
 */
class Seamless final : public Element {
  public:
    Seamless() {
        properties().add<std::string>(
            "duration", [this] { return std::to_string(duration_.load().count()) + "ms"; },
            [this](const std::string& text) { return setDuration(text); });
    }

    void take(const SharedPacket& packet, const Element&) override {
        if (groups_.begins(*packet)) {
            if (isDue(*packet)) giveCut();
        } else if (begun_ && packet->isVideo() && middleOf(*packet) >= next_) {
            // It was asked for in time and has not come.
            requestKeyFrame(packet->stamp);
        }
        give(packet);
    }

    bool takesAtOnce() const override { return nextTakeAtOnce(); }

  protected:
    bool up(State) override {
        groups_ = {};
        begun_ = false;
        return true;
    }

  private:
    bool setDuration(const std::string& text) {
        std::chrono::milliseconds span{};
        if (!readSpan("duration", text, span)) return false;
        if (span.count() == 0) {
            KEP_HOST_ERROR(label() + ": duration=" + text + " must be greater than 0");
            return false;
        }
        duration_ = span;
        return true;
    }

    /** Keys that are early by the jitter of a camera are in time. */
    static SteadyTime middleOf(const MediaPacket& packet) {
        return packet.stamp + (packet.duration.count() > 0 ? packet.duration : kUsualPicture) / 2;
    }

    bool isDue(const MediaPacket& packet) {
        // When sound came first the times are those of the pictures after all.
        if (!begun_ || packet.isVideo() != video_) {
            const bool cut = begun_;
            begun_ = true;
            video_ = packet.isVideo();
            next_ = packet.stamp + duration_.load();
            requestKeyFrame(next_);
            return cut;
        }
        const SteadyTime middle = middleOf(packet);
        if (middle < next_) return false;
        const std::chrono::nanoseconds span = duration_.load();
        next_ += (1 + (middle - next_) / span) * span;
        requestKeyFrame(next_);
        return true;
    }

    std::atomic<std::chrono::milliseconds> duration_{std::chrono::milliseconds(60'000)};

    GroupSense groups_;
    bool begun_ = false;
    bool video_ = false;
    SteadyTime next_;
};

const ClassRegistration<Seamless> seamlessRegistration("VornisaSeamless");

}  // namespace
}  // namespace kep::host
