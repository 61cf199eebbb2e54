#include <thread>

#include "media/hub/group_queue.h"
#include "media/pipeline/element.h"
#include "media/threads.h"
#include "objects/class_registry.h"

namespace kep::host {
namespace {

/**
 * A bounded queue with a thread behind it. A full queue blocks the element before it, so that losses occur at
 * the source, whose queue is bounded, too; with `leaky=true` it drops whole groups itself, oldest first.
 * down() drains it. With a single element before it, and only elements after it that take at once, it does
 * not queue but passes packets on inline.
 */
class Fifo final : public Element {
  public:
    Fifo() {
        addNumber("max", max_, 1, 100'000);
        addNumber("bytes", bytes_, 1, 1 << 30);
        properties().add("leaky", leaky_);
    }
    ~Fifo() override { retire(); }

    bool takesAtOnce() const override { return !queues_ || leaky_; }

    void take(const SharedPacket& packet, const Element&) override {
        if (!queues_) {
            give(packet);
            return;
        }
        const std::size_t weight = packet->weight();
        GroupQueue<SharedPacket>::PushResult pushed;
        {
            const MutexLock lock(entry_);
            if (!leaky_) queue_.waitForRoom(weight);
            pushed = queue_.push(packet, groups_.begins(*packet), weight);
        }
        tellLost(pushed.dropped);
        if (pushed.awaitsKey && packet->isVideo()) requestKeyFrame(packet->stamp);
    }

    void takeCut(const Element&) override {
        if (!queues_) {
            giveCut();
            return;
        }
        const MutexLock lock(entry_);
        if (!leaky_) queue_.waitForRoom(0);
        queue_.push(nullptr, false, 0);
    }

  protected:
    bool up(State target) override {
        if (target != State::play) return true;
        queues_ = !nextTakeAtOnce() || previous().size() > 1;
        if (!queues_) return true;
        {
            const MutexLock lock(entry_);
            groups_ = {};
        }
        queue_.setLimits({static_cast<std::size_t>(max_), static_cast<std::size_t>(bytes_)});
        queue_.open();
        thread_ = startThread(Thread::fifo, [this] { work(); });
        return true;
    }

    bool down(State) override {
        if (!thread_.joinable()) return true;
        queue_.finish();
        thread_.join();
        return true;
    }

  private:
    void work() {
        for (SharedPacket packet; queue_.pull(packet, true);) {
            if (packet) {
                give(packet);
            } else {
                giveCut();
            }
        }
    }

    std::atomic<int> max_{64};
    std::atomic<int> bytes_{64 << 20};
    std::atomic<bool> leaky_{false};
    bool queues_ = false; /**< fixed while it is up */
    GroupQueue<SharedPacket> queue_{{1, 1}};
    Mutex entry_; /**< serialises the elements before it */
    GroupSense groups_ GUARDED_BY(entry_);
    std::thread thread_;
};

const ClassRegistration<Fifo> filter("FifoFilter");
const ClassRegistration<Fifo> sink("FifoSink");

}  // namespace
}  // namespace kep::host
