#include "media/pipeline/element.h"
#include "objects/class_registry.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/** Assumed duration of pictures without one. */
constexpr std::chrono::milliseconds kUsualPicture(33);

/**
 * Cuts a stream into segments of `duration`. Cuts are due at multiples of the duration after the first key
 * frame, so that a late cut does not delay the later ones. Each is made before the first key frame at or
 * after its due time, which is requested from the encoder. Packets must come one at a time, as from Sync or a
 * queue; audio in time-stamp order is then in the segment in which it begins.
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
            // The key frame requested for this time has not come.
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

    /** Compared with the due time: tolerates a key frame that camera jitter makes early. */
    static SteadyTime middleOf(const MediaPacket& packet) {
        return packet.stamp + (packet.duration.count() > 0 ? packet.duration : kUsualPicture) / 2;
    }

    bool isDue(const MediaPacket& packet) {
        // The first packet sets the due times; if it is audio, the first picture sets them again.
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
