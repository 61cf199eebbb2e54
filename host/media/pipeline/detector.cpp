#include "media/pipeline/detector.h"

#include <utility>

#include "media/threads.h"

namespace kep::host {

Detector::~Detector() = default;

void Detector::take(const SharedPacket& packet, const Element&) {
    if (packet->picture) {
        const MutexLock lock(mutex_);
        newest_ = packet;
        changed_.notifyAll();
    }
    give(packet);
}

bool Detector::up(State target) {
    if (target != State::play) return true;
    {
        const MutexLock lock(mutex_);
        isStopped_ = false;
        newest_ = nullptr;
    }
    begin();
    thread_ = startThread(Thread::detector, [this] { work(); });
    return true;
}

bool Detector::down(State) {
    if (!thread_.joinable()) return true;
    {
        const MutexLock lock(mutex_);
        isStopped_ = true;
        changed_.notifyAll();
    }
    thread_.join();
    return true;
}

void Detector::work() {
    for (;;) {
        SharedPacket packet;
        {
            MutexLock lock(mutex_);
            changed_.wait(lock, [this]() REQUIRES(mutex_) { return isStopped_ || newest_; });
            if (isStopped_) return;
            packet = std::exchange(newest_, nullptr);
        }
        look(*packet);
    }
}

}  // namespace kep::host
