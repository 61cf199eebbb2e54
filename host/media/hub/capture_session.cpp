#include "media/hub/capture_session.h"

#include <utility>

#include "objects/log.h"

namespace kep::host {

void CaptureSession::launch(const std::shared_ptr<CaptureSession>& session,
                            std::shared_ptr<CaptureSession> before) {
    // Detached: a device that hangs for ever in its driver blocks this thread alone.
    startThread(session->kind_.thread, [session, before = std::move(before)]() mutable {
        session->run(std::exchange(before, nullptr));
    }).detach();
}

bool CaptureSession::isOver() const {
    const MutexLock lock(mutex_);
    return phase_ == Phase::over;
}

bool CaptureSession::isInUse() const {
    const MutexLock lock(mutex_);
    return phase_ == Phase::opening || (phase_ == Phase::running && consumers_ > 0);
}

bool CaptureSession::waitOpened() {
    MutexLock lock(mutex_);
    changed_.waitFor(lock, kind_.openTimeout, [this]() REQUIRES(mutex_) { return phase_ != Phase::opening; });
    if (phase_ == Phase::opening) {
        phase_ = Phase::over;
        changed_.notifyAll();
        lock.unlock();
        KEP_HOST_ERROR(kind_.noAnswer);
        return false;
    }
    return phase_ == Phase::running;
}

bool CaptureSession::join() {
    const MutexLock lock(mutex_);
    if (phase_ != Phase::running) return false;
    ++consumers_;
    return true;
}

void CaptureSession::begin() {
    const MutexLock lock(mutex_);
    hasBegun_ = true;
    changed_.notifyAll();
}

void CaptureSession::leave() {
    {
        const MutexLock lock(mutex_);
        lastUse_ = Clock::now();
        if (--consumers_ > 0 || kind_.linger.count() > 0) return;
    }
    end();
}

bool CaptureSession::end() {
    bool isOpen = false;
    {
        const MutexLock lock(mutex_);
        isOpen = phase_ == Phase::running;
        phase_ = Phase::over;
        changed_.notifyAll();
    }
    if (isOpen) interrupt();
    {
        MutexLock lock(mutex_);
        if (isAbandoned_ ||
            changed_.waitFor(lock, kind_.closeTimeout, [this]() REQUIRES(mutex_) { return isClosed_; }))
            return !isAbandoned_;
        isAbandoned_ = true;
    }
    KEP_HOST_ERROR(kind_.hangs);
    return false;
}

void CaptureSession::run(const std::shared_ptr<CaptureSession>& before) {
    if (before) before->end();
    if (openDevice()) captureAll();
    // Before endHub() notifies the consumers, which may reopen the device.
    close();
    {
        const MutexLock lock(mutex_);
        phase_ = Phase::over;
        isClosed_ = true;
        changed_.notifyAll();
    }
    endHub();
}

bool CaptureSession::openDevice() {
    std::string reason;
    const bool opened = open(reason);
    MutexLock lock(mutex_);
    if (!opened && phase_ == Phase::opening && !reason.empty()) {
        lock.unlock();
        KEP_HOST_ERROR(kind_.name + ": " + reason);
        lock.lock();
    }
    phase_ = opened && phase_ == Phase::opening ? Phase::running : Phase::over;
    changed_.notifyAll();
    return phase_ == Phase::running;
}

bool CaptureSession::isWanted() {
    const bool lingers = consumers_ > 0 || Clock::now() - lastUse_ <= kind_.linger;
    if (phase_ == Phase::running && !lingers) phase_ = Phase::over;
    return phase_ == Phase::running;
}

void CaptureSession::captureAll() {
    MutexLock lock(mutex_);
    // With a timeout, as a consumer may join and never begin.
    changed_.waitFor(lock, kind_.openTimeout,
                     [this]() REQUIRES(mutex_) { return phase_ != Phase::running || hasBegun_; });
    while (isWanted()) {
        readBegan_ = Clock::now();
        lock.unlock();
        std::string reason;
        const bool captured = read(reason);
        lock.lock();
        readBegan_ = {};
        if (!captured) {
            lock.unlock();
            lose(reason);
            return;
        }
        if (changed_.waitUntil(lock, due(), [this]() REQUIRES(mutex_) { return phase_ != Phase::running; }))
            return;
        lock.unlock();
        publish();
        lock.lock();
    }
}

void CaptureSession::lose(const std::string& reason) {
    {
        const MutexLock lock(mutex_);
        if (phase_ != Phase::running) return;
        phase_ = Phase::over;
        changed_.notifyAll();
    }
    if (!reason.empty()) KEP_HOST_ERROR(kind_.name + ": " + reason);
}

void CaptureSession::loseIfStalled() {
    {
        const MutexLock lock(mutex_);
        if (kind_.stallTimeout.count() == 0 || phase_ != Phase::running ||
            readBegan_ == Clock::time_point{} || Clock::now() - readBegan_ <= kind_.stallTimeout)
            return;
    }
    lose("has delivered nothing for " +
         std::to_string(std::chrono::duration_cast<std::chrono::seconds>(kind_.stallTimeout).count()) + " s");
    endHub();
}

}  // namespace kep::host
