#include <array>
#include <deque>
#include <optional>

#include "media/pipeline/element.h"
#include "objects/class_registry.h"

namespace kep::host {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::nanoseconds;

/** Bounds of one stream's queue: more than the past that a pipeline keeps, which arrives all at once. */
constexpr std::size_t kMostHeld = 4096;
constexpr std::size_t kMostBytesHeld = 64 << 20;
/**
 * Milliseconds that a packet waits for the other stream. Audio usually arrives 80 ms after its picture, as an
 * encoder holds two units back, and later on a busy machine: a shorter wait breaks the order of the stamps. A
 * power cut loses the packets that wait here, so it must stay well below a second.
 */
constexpr int kWait = 600;
/** How far a stamp may lie ahead of the clock, and a shifted stamp after the previous one. */
constexpr std::chrono::seconds kSlack(1);

/**
 * Keeps the stamps of one stream rising and on the clock. A stamp that jumps back, or ahead of the present,
 * is replaced by the one that was due, and those that follow are shifted by as much until they fit again.
 */
class StampGuard {
  public:
    /** The correction to add to the stamp; sets `jumped` when it begins a new one. */
    nanoseconds correction(const MediaPacket& packet, bool& jumped) {
        const SteadyTime latest = Clock::now() + kSlack;
        const auto fits = [&](SteadyTime stamp) { return stamp <= latest && (!begun_ || stamp > last_); };
        jumped = false;
        if (fits(packet.stamp)) {
            shift_ = {};
        } else if (const SteadyTime shifted = packet.stamp + shift_;
                   shift_.count() == 0 || !fits(shifted) || shifted - last_ > kSlack) {
            const nanoseconds usual = packet.duration.count() > 0 ? packet.duration : interval_;
            shift_ = (begun_ ? last_ + usual : Clock::now()) - packet.stamp;
            jumped = true;
        }
        const SteadyTime stamp = packet.stamp + shift_;
        if (begun_ && stamp - last_ < kSlack) interval_ = stamp - last_;
        last_ = stamp;
        begun_ = true;
        return shift_;
    }

    /** The current correction. */
    nanoseconds shift() const { return shift_; }

    /** Whether the stream is already at `stamp` or later. */
    bool hasPassed(SteadyTime stamp) const { return begun_ && last_ >= stamp; }

  private:
    bool begun_ = false;
    SteadyTime last_;
    nanoseconds shift_{0};
    nanoseconds interval_{1'000'000};
};

/**
 * Merges audio and pictures in the order of their stamps, one at a time, on the threads that deliver them:
 * when both deliver at once, one of them passes on both. It begins with the first key frame and drops audio
 * that precedes it. A packet waits for the other stream at most `wait` milliseconds, and not at all while
 * that stream is silent: after a timeout nothing waits for it until it delivers again. Audio that arrives
 * after the timeout keeps its own stamps. Due packets are passed on with the next packet of either stream, or
 * when a later element that has a thread calls giveDue().
 */
class Sync final : public Element {
  public:
    Sync() { addNumber("wait", wait_, 0, 60'000); }
    ~Sync() override { retire(); }

    bool takesAtOnce() const override { return nextTakeAtOnce(); }

    void take(const SharedPacket& packet, const Element&) override {
        std::optional<std::string> jump;
        {
            MutexLock lock(mutex_);
            Input& input = packet->isVideo() ? video() : audio();
            // Drop the oldest audio before the first picture; otherwise wait for room.
            if (!started_ && !packet->isVideo() && input.held.size() >= kMostHeld) input.pop();
            room_.wait(lock, [&]() REQUIRES(mutex_) { return !isOpen_ || !isGiving_ || input.hasRoom(); });
            if (!isOpen_) return;
            input.push({onClock(input, packet, jump), Clock::now()});
        }
        if (jump) tell("timeJump", *jump);
        giveDue();
    }

    void giveDue() override {
        MutexLock lock(mutex_);
        if (isGiving_) return;
        isGiving_ = true;
        while (Input* const first = due()) {
            const SharedPacket packet = first->pop();
            lock.unlock();
            give(packet);
            lock.lock();
            room_.notifyAll();
        }
        isGiving_ = false;
        room_.notifyAll();
    }

    /** Upstream, stamps are not corrected yet. */
    void requestKeyFrame(SteadyTime at) override {
        nanoseconds shift{0};
        {
            const MutexLock lock(mutex_);
            shift = video().guard.shift();
        }
        Element::requestKeyFrame(at - shift);
    }

  protected:
    bool up(State target) override {
        if (target != State::play) return true;
        const MutexLock lock(mutex_);
        inputs_ = {};
        started_ = false;
        isOpen_ = true;
        return true;
    }

    bool down(State) override {
        {
            const MutexLock lock(mutex_);
            isOpen_ = false;
            room_.notifyAll();
        }
        giveDue();
        // Wait for another thread that is still passing packets on.
        MutexLock lock(mutex_);
        room_.wait(lock, [this]() REQUIRES(mutex_) { return !isGiving_; });
        return true;
    }

  private:
    struct Held {
        SharedPacket packet;
        SteadyTime arrival;
    };
    struct Input {
        std::deque<Held> held;
        std::size_t bytes = 0;
        StampGuard guard;
        std::size_t jumps = 0;
        bool silent = false; /**< the wait for it timed out, and nothing has arrived since */

        bool hasRoom() const { return held.size() < kMostHeld && bytes < kMostBytesHeld; }
        void push(Held item) {
            silent = false;
            bytes += item.packet->weight();
            held.push_back(std::move(item));
        }
        SharedPacket pop() {
            SharedPacket packet = std::move(held.front().packet);
            bytes -= packet->weight();
            held.pop_front();
            return packet;
        }
    };

    Input& video() REQUIRES(mutex_) { return inputs_[0]; }
    Input& audio() REQUIRES(mutex_) { return inputs_[1]; }
    /** Whether there is another stream to wait for. */
    bool mergesTwo() const { return previous().size() > 1; }

    /** The packet with its corrected stamp; at a jump `jump` receives the attributes of the message. */
    static SharedPacket onClock(Input& input, const SharedPacket& packet, std::optional<std::string>& jump) {
        bool jumped = false;
        const nanoseconds correction = input.guard.correction(*packet, jumped);
        if (jumped) {
            const auto by = std::chrono::duration_cast<std::chrono::milliseconds>(-correction).count();
            jump = std::string("media=") + host::Media::nameOf(packet->media->kind) +
                   ",by=" + std::to_string(by) + ",total=" + std::to_string(++input.jumps);
        }
        if (correction.count() == 0) return packet;
        auto moved = std::make_shared<MediaPacket>(*packet);
        moved->stamp += correction;
        return moved;
    }

    /** The input whose first packet is due; null for none. */
    Input* due() REQUIRES(mutex_) {
        start();
        Input* const first = started_ ? earliest() : nullptr;
        if (!first || !mergesTwo() || !isOpen_) return first;
        const Held& head = first->held.front();
        Input& other = first == &video() ? audio() : video();
        if (!other.held.empty() || other.silent || other.guard.hasPassed(head.packet->stamp)) return first;
        if (Clock::now() < head.arrival + std::chrono::milliseconds(wait_.load()))
            return first->hasRoom() ? nullptr : first;
        other.silent = true;
        return first;
    }

    /** Drops what precedes the first key frame. */
    void start() REQUIRES(mutex_) {
        if (!started_ && !mergesTwo()) {
            started_ = !video().held.empty() || !audio().held.empty();
            start_ = {};
        }
        while (!started_ && !video().held.empty()) {
            const MediaPacket& head = *video().held.front().packet;
            started_ = head.key;
            start_ = head.stamp;
            if (!started_) video().pop();
        }
        if (!started_) return;
        while (!audio().held.empty() && audio().held.front().packet->stamp < start_) audio().pop();
    }

    Input* earliest() REQUIRES(mutex_) {
        if (video().held.empty()) return audio().held.empty() ? nullptr : &audio();
        if (audio().held.empty()) return &video();
        return audio().held.front().packet->stamp < video().held.front().packet->stamp ? &audio() : &video();
    }

    std::atomic<int> wait_{kWait};
    Mutex mutex_;
    Condition room_;
    bool isOpen_ GUARDED_BY(mutex_) = false;
    bool isGiving_ GUARDED_BY(mutex_) = false; /**< a thread is passing on the packets of both */
    bool started_ GUARDED_BY(mutex_) = false;
    SteadyTime start_ GUARDED_BY(mutex_);
    std::array<Input, 2> inputs_ GUARDED_BY(mutex_);
};

const ClassRegistration<Sync> syncRegistration("Sync");

}  // namespace
}  // namespace kep::host
