#include <pthread.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <deque>
#include <thread>
#include <utility>

#include "media/pipeline/element.h"
#include "media/pipeline/limits.h"
#include "objects/class_registry.h"

namespace kep::host {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::nanoseconds;

/** What may wait of one stream. */
constexpr std::size_t kMostHeld = 512;
constexpr std::size_t kMostBytesHeld = 64 << 20;
/**
 * Milliseconds that a packet waits for the other stream. Sound usually comes 80 ms after its picture, as an
 * encoder holds two units back, and later on a busy machine: what has waited for less breaks the order of the
 * stamps. What waits here is lost with the power, so it must stay well below a second.
 */
constexpr int kWait = 600;
/** Having given nothing for so long while packets wait, have what was given before brought to safety: with
 * what waits here it would be more than a second. */
constexpr std::chrono::milliseconds kStall(150);
/** How far a stamp may lie ahead of the clock, and after the one before it once it has been shifted. */
constexpr std::chrono::seconds kSlack(1);

/**
 * Keeps the stamps of one stream rising and on the clock. A stamp that jumps back, or ahead of the present,
 * is replaced by the one that was due, and those that follow are shifted by as much until they fit again.
 */
class StampGuard {
  public:
    /** What to add to the stamp; `jumped` tells that it begins to be something else than before. */
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

    /** What is added to the stamps at present. */
    nanoseconds shift() const { return shift_; }

    /** Whether nothing up to `stamp` can come any more. */
    bool hasPassed(SteadyTime stamp) const { return begun_ && last_ >= stamp; }

  private:
    bool begun_ = false;
    SteadyTime last_;
    nanoseconds shift_{0};
    nanoseconds interval_{1'000'000};
};

/**
 * Merges sound and pictures on one thread, in the order of their stamps. It begins with the first key frame:
 * what is heard before is left out. A packet waits for the other stream no longer than `wait` milliseconds,
 * and not at all while that stream is silent: once it has been waited for in vain, nothing waits for it until
 * it delivers again. Sound that comes later than that keeps its own time. Where those that follow allow a
 * lag, packets are given a few at a time, as each waking of the thread has its cost.
 */
class Sync final : public Element {
  public:
    Sync() { addWholeNumber(properties(), *this, "wait", wait_, 0, 60'000); }
    ~Sync() override { retire(); }

    /** What has room for many has room for one of each of those who give. */
    bool isPrompt() override {
        const std::lock_guard lock(mutex_);
        return std::all_of(inputs_.begin(), inputs_.end(),
                           [](const Input& input) { return input.isHalfEmpty(); });
    }

    void take(const SharedPacket& packet, const Element&) override {
        std::unique_lock lock(mutex_);
        Input& input = inputOf(*packet);
        // Sound that waits for the first picture is no use when it is old; all else waits for room.
        if (!started_ && !packet->isVideo() && input.held.size() >= kMostHeld) input.pop();
        room_.wait(lock, [&] { return !open_ || input.hasRoom(); });
        if (!open_) return;
        input.push({onClock(input, packet), Clock::now()});
        const bool wakes = isToWake(input);
        lock.unlock();
        if (wakes) arrived_.notify_one();
    }

    /** Encoders know the stamps that have not been corrected. */
    void requestKeyFrame(SteadyTime at) override {
        std::unique_lock lock(mutex_);
        const nanoseconds shift = video().guard.shift();
        lock.unlock();
        Element::requestKeyFrame(at - shift);
    }

  protected:
    bool up(State target) override {
        if (target != State::play) return true;
        const std::lock_guard lock(mutex_);
        inputs_ = {};
        started_ = false;
        stall_ = SteadyTime::max();
        lag_ = lagAllowedByNext();
        open_ = true;
        thread_ = std::thread([this] { work(); });
        return true;
    }

    bool down(State) override {
        if (!thread_.joinable()) return true;
        {
            const std::lock_guard lock(mutex_);
            open_ = false;
        }
        room_.notify_all();
        arrived_.notify_all();
        thread_.join();
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

        bool isHalfEmpty() const { return held.size() < kMostHeld / 2 && bytes < kMostBytesHeld / 2; }
        bool hasRoom() const { return held.size() < kMostHeld && bytes < kMostBytesHeld; }
        void push(Held item) {
            silent = false;
            bytes += item.packet->weight();
            held.push_back(std::move(item));
        }
        void pop() {
            bytes -= held.front().packet->weight();
            held.pop_front();
        }
    };

    Input& inputOf(const MediaPacket& packet) { return packet.isVideo() ? video() : audio(); }
    Input& video() { return inputs_[0]; }
    Input& audio() { return inputs_[1]; }
    /** With a single element before it there is nothing to wait for. */
    bool mergesTwo() const { return previous().size() > 1; }

    SharedPacket onClock(Input& input, const SharedPacket& packet) {
        bool jumped = false;
        const nanoseconds correction = input.guard.correction(*packet, jumped);
        if (jumped) {
            const auto by = std::chrono::duration_cast<std::chrono::milliseconds>(-correction).count();
            tell("timeJump", std::string("media=") + (packet->isVideo() ? "video" : "audio") +
                                 ",by=" + std::to_string(by) + ",total=" + std::to_string(++input.jumps));
        }
        if (correction.count() == 0) return packet;
        auto moved = std::make_shared<MediaPacket>(*packet);
        moved->stamp += correction;
        return moved;
    }

    /** Whether the thread has something to do before it would look by itself. */
    bool isToWake(const Input& input) {
        if (resting_) {
            resting_ = input.isHalfEmpty();
            return !resting_;
        }
        SteadyTime until;
        return due(until) || until < look_;
    }

    void work() {
        pthread_setname_np(pthread_self(), "sync");
        std::unique_lock lock(mutex_);
        for (SharedPacket packet; choose(lock, packet); packet.reset()) {
            room_.notify_all();
            lock.unlock();
            give(packet);
            lock.lock();
        }
    }

    /** Takes the packet that is next; false when there will be none. */
    bool choose(std::unique_lock<std::mutex>& lock, SharedPacket& packet) {
        for (;;) {
            if (Input* const first = due(look_)) {
                packet = first->held.front().packet;
                first->pop();
                look_ = SteadyTime::min();
                hasGiven_ = true;
                stall_ = Clock::now() + kStall;
                return true;
            }
            if (!open_) return false;
            if (rest(lock) || flush(lock)) continue;
            if (look_ == SteadyTime::max()) {
                arrived_.wait(lock);
            } else {
                arrived_.wait_until(lock, look_);
            }
        }
    }

    /** When packets have waited for long, has what was given before written; false when that is not due. */
    bool flush(std::unique_lock<std::mutex>& lock) {
        if (look_ == SteadyTime::max() || stall_ == SteadyTime::max()) return false;
        if (Clock::now() < stall_) {
            look_ = std::min(look_, stall_);
            return false;
        }
        stall_ = SteadyTime::max();
        lock.unlock();
        giveFlush();
        lock.lock();
        return true;
    }

    /** After work lets a few packets gather; false when there has been none since the last time. */
    bool rest(std::unique_lock<std::mutex>& lock) {
        if (lag_.count() == 0 || !std::exchange(hasGiven_, false)) return false;
        resting_ = true;
        arrived_.wait_for(lock, lag_, [this] { return !resting_ || !open_; });
        resting_ = false;
        return true;
    }

    /** Whose first packet is to go now; if nobody's, `until` tells when to look again though nothing comes.
     */
    Input* due(SteadyTime& until) {
        until = SteadyTime::max();
        start();
        Input* const first = started_ ? earliest() : nullptr;
        if (!first || !mergesTwo() || !open_) return first;
        const Held& head = first->held.front();
        Input& other = first == &video() ? audio() : video();
        if (!other.held.empty() || other.silent || other.guard.hasPassed(head.packet->stamp)) return first;
        until = head.arrival + std::chrono::milliseconds(wait_.load());
        if (Clock::now() < until) return nullptr;
        other.silent = true;
        return first;
    }

    /** Leaves out what comes before the beginning. */
    void start() {
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

    Input* earliest() {
        if (video().held.empty()) return audio().held.empty() ? nullptr : &audio();
        if (audio().held.empty()) return &video();
        return audio().held.front().packet->stamp < video().held.front().packet->stamp ? &audio() : &video();
    }

    std::atomic<int> wait_{kWait};
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::condition_variable room_;
    bool open_ = false;
    bool started_ = false;
    SteadyTime start_;
    SteadyTime look_ = SteadyTime::min();  /**< when the thread looks by itself; past while it is at work */
    SteadyTime stall_ = SteadyTime::max(); /**< when what was given is to be flushed; max once it is */
    std::chrono::milliseconds lag_{0};
    bool hasGiven_ = false; /**< the thread, since it has rested */
    bool resting_ = false;  /**< until a time, or until there is much to do */
    std::array<Input, 2> inputs_;
    std::thread thread_;
};

const ClassRegistration<Sync> registration("Sync");

}  // namespace
}  // namespace kep::host
