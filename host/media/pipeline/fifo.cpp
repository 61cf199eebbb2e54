#include <pthread.h>

#include <mutex>
#include <thread>

#include "media/common/relay.h"
#include "media/pipeline/element.h"
#include "media/pipeline/limits.h"
#include "objects/class_registry.h"

namespace kep::host {
namespace {

/**
 * A bounded queue and the thread behind it, which what is handed on in no time does not need. When it is full
 * it makes the element before it wait, so that what is lost is lost at the source, whose queue is bounded
 * too; with `leaky=true` it drops whole groups itself, oldest first. On the way down it hands on all that it
 * holds.
 */
class Fifo final : public Element {
  public:
    Fifo() {
        addWholeNumber(properties(), *this, "max", max_, 1, 100'000);
        addWholeNumber(properties(), *this, "bytes", bytes_, 1, 1 << 30);
        addFlag(properties(), "leaky", leaky_);
    }
    ~Fifo() override { retire(); }

    /** What has room now has it still when the one who asked gives, unless others give too. */
    bool isPrompt() override { return leaky_ || (previous().size() == 1 && relay_.queue().hasRoom()); }

    void take(const SharedPacket& packet, const Element&) override {
        const std::size_t weight = packet->weight();
        const std::lock_guard lock(entry_);
        if (!leaky_) relay_.queue().waitForRoom(weight);
        const auto pushed = relay_.bring(packet, groups_.begins(*packet), weight, kBriefly);
        tellLost(packet->media->kind, pushed.lost);
        if (pushed.awaitsKey && packet->isVideo()) requestKeyFrame(packet->stamp);
    }

    void takeCut(const Element&) override {
        const std::lock_guard lock(entry_);
        if (!leaky_) relay_.queue().waitForRoom(0);
        relay_.queue().push({}, false, 0);
    }

  protected:
    bool up(State target) override {
        if (target != State::play) return true;
        groups_ = {};
        relay_.queue().open({static_cast<std::size_t>(max_), static_cast<std::size_t>(bytes_)});
        thread_ = std::thread([this] { work(); });
        return true;
    }

    bool down(State) override {
        if (!thread_.joinable()) return true;
        relay_.queue().finish();
        thread_.join();
        return true;
    }

  private:
    void work() {
        pthread_setname_np(pthread_self(), "fifo");
        const auto handOn = [this](const SharedPacket& packet) {
            if (packet) {
                give(packet);
            } else {
                giveCut();
            }
        };
        relay_.serve(handOn, [this] { return givesPromptly(); });
    }

    std::atomic<int> max_{64};
    std::atomic<int> bytes_{64 << 20};
    std::atomic<bool> leaky_{false};
    Relay<SharedPacket> relay_{{1, 1}};
    std::mutex entry_; /**< one packet after the other, of however many elements before it */
    GroupSense groups_;
    std::thread thread_;
};

const ClassRegistration<Fifo> filter("FifoFilter");
const ClassRegistration<Fifo> sink("FifoSink");

}  // namespace
}  // namespace kep::host
