#include <deque>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "media/pipeline/element.h"
#include "media/threads.h"
#include "objects/class_registry.h"
#include "objects/log.h"

namespace kep::host {
namespace {

using OpenFunction = std::function<bool(base::object*, stream::IMedia*&)>;
using ProcessFunction = std::function<bool(stream::Packet*&)>;

/** Queue limits: about a second of video and audio, and 4 MiB. With less, the threads wake each other more
 * often; with more, a seek discards more of what was read. */
constexpr std::size_t kMostPackets = 128;
constexpr std::size_t kMostBytesAhead = 4U << 20;

/**
 * The queue of a sink and the work of its thread. Outlives the sink when a callback on this thread destroys
 * the sink.
 */
class FuncWorker {
  public:
    FuncWorker(OpenFunction open, ProcessFunction process)
        : open_(std::move(open)), process_(std::move(process)) {}

    void push(const SharedPacket& packet) {
        const std::size_t weight = packet->weight();
        MutexLock lock(mutex_);
        // Once full, wait until it is half empty, so that the threads do not wake each other for each packet.
        if (isFull(weight, 1))
            room_.wait(lock, [&]() REQUIRES(mutex_) { return !takes() || !isFull(weight, 2); });
        if (!takes()) return;
        bytes_ += weight;
        queue_.push_back(packet);
        if (queue_.size() == 1) packets_.notifyOne();
    }

    /** Waits until all pushed packets have been processed. */
    void drain() {
        MutexLock lock(mutex_);
        room_.wait(lock, [this]() REQUIRES(mutex_) { return !takes() || (queue_.empty() && !isBusy_); });
    }

    void discard(bool discards) {
        std::deque<SharedPacket> freed;  // outside the lock
        const MutexLock lock(mutex_);
        discards_ = discards;
        if (discards) drop(freed);
    }

    /** Drops queued packets. No callback begins after this. */
    void close() {
        std::deque<SharedPacket> freed;
        const MutexLock lock(mutex_);
        isClosed_ = true;
        drop(freed);
        packets_.notifyAll();
    }

    /** Whether the caller is one of the callbacks. */
    bool isCalling() {
        const MutexLock lock(mutex_);
        return !hasEnded_ && thread_ == std::this_thread::get_id();
    }
    void waitForEnd() {
        MutexLock lock(mutex_);
        room_.wait(lock, [this]() REQUIRES(mutex_) { return hasEnded_; });
    }

    void run(base::object* sink) {
        {
            const MutexLock lock(mutex_);
            thread_ = std::this_thread::get_id();
        }
        for (SharedPacket packet; pull(packet);) {
            stream::IMedia* media = packet->Media();
            if (!isOpen(packet->media)) opened_.push_back({packet->media, !open_ || open_(sink, media)});
            if (!accepts(packet->media)) continue;
            stream::Packet* given = const_cast<MediaPacket*>(packet.get());
            if (process_ && !process_(given)) refuse();
        }
        const MutexLock lock(mutex_);
        hasEnded_ = true;
        room_.notifyAll();
    }

  private:
    struct Opened {
        MediaPtr media;
        bool accepted;
    };

    bool takes() const REQUIRES(mutex_) { return !isClosed_ && !discards_ && !hasRefused_; }
    bool isFull(std::size_t weight, std::size_t part) const REQUIRES(mutex_) {
        return !queue_.empty() &&
               (queue_.size() >= kMostPackets / part || bytes_ + weight > kMostBytesAhead / part);
    }
    void drop(std::deque<SharedPacket>& freed) REQUIRES(mutex_) {
        freed.swap(queue_);
        bytes_ = 0;
        room_.notifyAll();
    }

    bool pull(SharedPacket& packet) {
        packet.reset();
        MutexLock lock(mutex_);
        isBusy_ = false;
        if (queue_.size() <= kMostPackets / 2) room_.notifyAll();
        packets_.wait(lock, [this]() REQUIRES(mutex_) { return isClosed_ || !queue_.empty(); });
        if (isClosed_) return false;
        packet = std::move(queue_.front());
        queue_.pop_front();
        bytes_ -= packet->weight();
        isBusy_ = true;
        return true;
    }

    /** "funcProcess" has returned false: accept no more packets. */
    void refuse() {
        std::deque<SharedPacket> freed;
        const MutexLock lock(mutex_);
        hasRefused_ = true;
        drop(freed);
    }

    bool isOpen(const MediaPtr& media) const {
        for (const Opened& each : opened_)
            if (each.media == media) return true;
        return false;
    }
    bool accepts(const MediaPtr& media) const {
        for (const Opened& each : opened_)
            if (each.media == media) return each.accepted;
        return false;
    }

    const OpenFunction open_;
    const ProcessFunction process_;
    std::vector<Opened> opened_; /**< used by the thread only */

    Mutex mutex_;
    Condition packets_; /**< a packet was queued, or the worker was closed */
    Condition room_;    /**< there is room, or the thread is idle */
    std::deque<SharedPacket> queue_ GUARDED_BY(mutex_);
    std::size_t bytes_ GUARDED_BY(mutex_) = 0;
    bool isBusy_ GUARDED_BY(mutex_) = false;
    bool discards_ GUARDED_BY(mutex_) = false;
    bool isClosed_ GUARDED_BY(mutex_) = false;
    bool hasRefused_ GUARDED_BY(mutex_) = false;
    bool hasEnded_ GUARDED_BY(mutex_) = false;
    std::thread::id thread_ GUARDED_BY(mutex_);
};

/**
 * Passes packets to callbacks of an application on its own thread: "funcOpen" once for each media before its
 * first packet, "funcProcess" for each packet. A media for which "funcOpen" returns false is skipped; once
 * "funcProcess" returns false, no more packets follow. A slow callback blocks the source.
 *
 * A callback may bring the sink down and destroy it. The sink then leaves the running callback alone, and no
 * other call begins.
 */
class FuncSink final : public Element {
  public:
    FuncSink() {
        properties().add<OpenFunction>("funcOpen", nullptr, [this](const OpenFunction& open) {
            const MutexLock lock(mutex_);
            open_ = open;
            return true;
        });
        properties().add<ProcessFunction>("funcProcess", nullptr, [this](const ProcessFunction& process) {
            const MutexLock lock(mutex_);
            process_ = process;
            return true;
        });
    }
    ~FuncSink() override {
        retire();
        waitForAbandoned();
    }

    void take(const SharedPacket& packet, const Element&) override {
        if (const auto current = worker()) current->push(packet);
    }
    /** Waits until the packets before it have been processed. */
    void takeCut(const Element&) override {
        if (const auto current = worker()) current->drain();
    }
    void discard(bool discards) override {
        if (const auto current = worker()) current->discard(discards);
    }

  protected:
    bool up(State target) override {
        if (target != State::play) return true;
        if (abandoned_ && abandoned_->isCalling()) {
            KEP_HOST_ERROR(label() + " cannot be started by the callback that stopped it");
            return false;
        }
        waitForAbandoned();
        const MutexLock lock(mutex_);
        worker_ = std::make_shared<FuncWorker>(open_, process_);
        thread_ = startThread(Thread::funcSink, [this, worker = worker_] { worker->run(this); });
        return true;
    }

    bool down(State) override {
        if (!thread_.joinable()) return true;
        std::shared_ptr<FuncWorker> ended;
        {
            const MutexLock lock(mutex_);
            ended.swap(worker_);
        }
        ended->close();
        if (ended->isCalling()) {
            abandoned_ = std::move(ended);
            thread_.detach();
        } else {
            thread_.join();
            thread_ = {};
        }
        return true;
    }

  private:
    std::shared_ptr<FuncWorker> worker() {
        const MutexLock lock(mutex_);
        return worker_;
    }
    /** Waits for the callback that brought the sink down, unless it is the caller. */
    void waitForAbandoned() {
        if (!abandoned_ || abandoned_->isCalling()) return;
        abandoned_->waitForEnd();
        abandoned_.reset();
    }

    Mutex mutex_;
    OpenFunction open_ GUARDED_BY(mutex_);
    ProcessFunction process_ GUARDED_BY(mutex_);
    std::shared_ptr<FuncWorker> worker_ GUARDED_BY(mutex_);
    std::thread thread_;
    std::shared_ptr<FuncWorker> abandoned_;
};

const ClassRegistration<FuncSink> funcSinkRegistration("FuncSink");

}  // namespace
}  // namespace kep::host
