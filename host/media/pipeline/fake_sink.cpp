#include <algorithm>

#include "media/pipeline/element.h"
#include "objects/class_registry.h"

namespace kep::host {
namespace {

/** Bounds how long a packet with a wrong stamp blocks the chain. */
constexpr std::chrono::seconds kLongestHold(1);

/** Discards packets and counts them. With `live=true` it blocks until each is due. */
class FakeSink final : public Element {
  public:
    FakeSink() {
        properties().add("live", live_);
        properties().add<std::int64_t>(
            "count", [this] { return count_.load(); }, nullptr);
    }
    ~FakeSink() override { retire(); }

    void take(const SharedPacket& packet, const Element&) override {
        if (live_) {
            MutexLock lock(mutex_);
            const SteadyTime latest = std::chrono::steady_clock::now() + kLongestHold;
            stopping_.waitUntil(lock, std::min(packet->stamp, latest),
                                [this]() REQUIRES(mutex_) { return stopped_; });
        }
        ++count_;
    }

  protected:
    bool up(State) override { return stop(false); }
    bool down(State) override { return stop(true); }

  private:
    bool stop(bool stopped) {
        const MutexLock lock(mutex_);
        stopped_ = stopped;
        stopping_.notifyAll();
        return true;
    }

    std::atomic<bool> live_{false};
    std::atomic<std::int64_t> count_{0};
    Mutex mutex_;
    Condition stopping_;
    bool stopped_ GUARDED_BY(mutex_) = false;
};

const ClassRegistration<FakeSink> fakeSinkRegistration("FakeSink");

}  // namespace
}  // namespace kep::host
