#ifndef KEP_HOST_CAPTURE_SESSION_H
#define KEP_HOST_CAPTURE_SESSION_H

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "kep/visibility.h"
#include "media/common/device_spec.h"
#include "media/common/steady_time.h"
#include "media/threads.h"
#include "objects/mutex.h"

namespace kep::host {

/** Time limits and texts of one kind of device. */
struct CaptureKind {
    Thread thread;
    std::chrono::milliseconds openTimeout;  /**< a device that takes longer to open is abandoned */
    std::chrono::milliseconds closeTimeout; /**< a device that takes longer to close is abandoned */
    std::chrono::milliseconds linger;       /**< how long it stays open after its last consumer leaves */
    std::chrono::milliseconds stallTimeout; /**< the device is lost when read() blocks longer; 0: never */
    std::string name;                       /**< prefix of error lines */
    std::string noAnswer;                   /**< error line when it does not open in time */
    std::string hangs;                      /**< error line when it does not close in time */
};

/**
 * One run of a device: opened, captured from and closed on one thread, so that a device that hangs in its
 * driver can be abandoned with its thread. It captures from the first begin() on, and ends for good
 * `linger` after its last consumer leaves, or when the device fails.
 */
class KEP_API CaptureSession {
  public:
    virtual ~CaptureSession() = default;
    CaptureSession(const CaptureSession&) = delete;
    CaptureSession& operator=(const CaptureSession&) = delete;

    /** Starts the capture thread, which first waits until `before` has closed the device. */
    static void launch(const std::shared_ptr<CaptureSession>& session,
                       std::shared_ptr<CaptureSession> before);

    const DeviceSpec& device() const { return device_; }
    bool isOver() const;
    bool isInUse() const;
    /** Waits until the device is open. False, with an error line, when it does not open. */
    bool waitOpened();
    /** Counts a consumer. False when the session is over. */
    bool join();
    /** A consumer is ready. Capture waits for the first one, so that it misses nothing. */
    void begin();
    /** A consumer leaves. The last one ends the session, unless that lingers. */
    void leave();
    /** Ends the session and waits until the device is closed; false, with an error line, when it hangs. */
    bool end();
    /** Gives up a device on which read() has blocked for longer than `stallTimeout`. */
    void loseIfStalled();

  protected:
    CaptureSession(CaptureKind kind, DeviceSpec device)
        : kind_(std::move(kind)), device_(std::move(device)) {}

    // Called by the capture thread, with no lock held. A failure with an empty reason has already written its
    // error line.
    virtual bool open(std::string& reason) = 0;
    /** Blocks until something is captured; false when the device has ended or failed. */
    virtual bool read(std::string& reason) = 0;
    /** When to publish what read() captured. */
    virtual SteadyTime due() const { return {}; }
    virtual void publish() = 0;
    virtual void close() = 0;
    /** Ends the hub. May be called by other threads. */
    virtual void endHub() = 0;
    /** Makes read() return. Called by other threads, while the device is open. */
    virtual void interrupt() {}

  private:
    using Clock = std::chrono::steady_clock;
    enum class Phase { opening, running, over };

    void run(const std::shared_ptr<CaptureSession>& before);
    bool openDevice();
    void captureAll();
    bool isWanted() REQUIRES(mutex_);
    void lose(const std::string& reason);

    const CaptureKind kind_;
    const DeviceSpec device_;

    mutable Mutex mutex_;
    Condition changed_;
    Phase phase_ GUARDED_BY(mutex_) = Phase::opening;
    bool isClosed_ GUARDED_BY(mutex_) = false;
    bool isAbandoned_ GUARDED_BY(mutex_) = false;
    int consumers_ GUARDED_BY(mutex_) = 0;
    bool hasBegun_ GUARDED_BY(mutex_) = false;
    Clock::time_point lastUse_ GUARDED_BY(mutex_);
    Clock::time_point readBegan_ GUARDED_BY(mutex_); /**< when the running read() began; else zero */
};

/** The only device of its kind in the process: owns the current session. */
template <class Session>
class CaptureDevice {
  public:
    /** Joins the current session or a new one. Null, with an error line, when the device does not open. */
    std::shared_ptr<Session> join(const DeviceSpec& chosen) EXCLUDES(mutex_) {
        // A session may end between waitOpened() and join(): try again with the next.
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            std::shared_ptr<Session> session = current(chosen);
            if (!session->waitOpened()) return nullptr;
            if (session->join()) return session;
        }
        return nullptr;
    }

    void end() EXCLUDES(mutex_) {
        std::shared_ptr<Session> session;
        {
            const MutexLock lock(mutex_);
            session = session_;
        }
        if (session) session->end();
    }

  private:
    static constexpr int kAttempts = 3;

    std::shared_ptr<Session> current(const DeviceSpec& chosen) EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        const bool fits = session_ && !session_->isOver() &&
                          (session_->device().text == chosen.text || session_->isInUse());
        if (!fits) {
            auto next = std::make_shared<Session>(chosen);
            CaptureSession::launch(next, session_);
            session_ = std::move(next);
        }
        return session_;
    }

    Mutex mutex_;
    std::shared_ptr<Session> session_ GUARDED_BY(mutex_);
};

}  // namespace kep::host

#endif
