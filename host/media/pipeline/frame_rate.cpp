#include <algorithm>
#include <charconv>

#include "media/hub/rate_gate.h"
#include "media/pipeline/element.h"
#include "objects/class_registry.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/** Passes at most `fr` pictures per second. Audio passes. */
class FrameRateCtrl final : public Element {
  public:
    FrameRateCtrl() { addNumber("fr", rate_, 1, 1000); }

    bool takesAtOnce() const override { return nextTakeAtOnce(); }

    void take(const SharedPacket& packet, const Element&) override {
        if (!packet->isVideo() || gate_.passes(packet->stamp, rate_)) give(packet);
    }

  protected:
    bool up(State) override {
        gate_ = {};
        return true;
    }

  private:
    std::atomic<int> rate_{30};
    RateGate gate_;
};

/** Drops `a` of every `b` pictures, evenly: `dr=a/b`. With `a` <= 0 it drops none. Audio passes. */
class FrameDroper final : public Element {
  public:
    FrameDroper() {
        properties().add<std::string>(
            "dr",
            [this] {
                const MutexLock lock(mutex_);
                return std::to_string(drops_) + "/" + std::to_string(of_);
            },
            [this](const std::string& text) { return setRatio(text); });
    }

    bool takesAtOnce() const override { return nextTakeAtOnce(); }

    void take(const SharedPacket& packet, const Element&) override {
        if (!packet->isVideo() || passes()) give(packet);
    }

  private:
    bool setRatio(const std::string& text) {
        int drops = 0;
        int of = 0;
        const char* const end = text.data() + text.size();
        const auto first = std::from_chars(text.data(), end, drops);
        const bool split = first.ec == std::errc() && first.ptr != end && *first.ptr == '/';
        const auto second = split ? std::from_chars(first.ptr + 1, end, of) : first;
        if (!split || second.ec != std::errc() || second.ptr != end || of < 1 || drops >= of) {
            KEP_HOST_ERROR(label() + ": dr=" + text + " is not a ratio A/B with A < B and B >= 1");
            return false;
        }
        const MutexLock lock(mutex_);
        drops_ = drops;
        of_ = of;
        sum_ = 0;
        return true;
    }

    bool passes() {
        const MutexLock lock(mutex_);
        sum_ += std::max(drops_, 0);
        if (sum_ < of_) return true;
        sum_ -= of_;
        return false;
    }

    Mutex mutex_;
    int drops_ GUARDED_BY(mutex_) = 0;
    int of_ GUARDED_BY(mutex_) = 1;
    int sum_ GUARDED_BY(mutex_) = 0;
};

const ClassRegistration<FrameRateCtrl> rateControl("FrameRateCtrl");
const ClassRegistration<FrameDroper> dropper("FrameDroper");

}  // namespace
}  // namespace kep::host
