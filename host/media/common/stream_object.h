#ifndef KEP_HOST_STREAM_OBJECT_H
#define KEP_HOST_STREAM_OBJECT_H

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

#include "kep/status.h"
#include "kep/streaming.h"
#include "objects/message_port.h"

namespace kep::host {

/**
 * What every streaming object has: a state, its changes one at a time, and messages
 * (`name=started`, `name=stopped`, `name=frameLost,media=video,lost=2,total=5`, `name=deviceLost,...`).
 *
 * A derived class brings start() and stop() and calls shutDown() first in its destructor. All posting is free
 * of waits, so that it may be done under a lock.
 */
class StreamObject : public virtual api::streaming::common::IStreamControl,
                     public virtual api::streaming::common::IState,
                     public stream::IStatus {
  public:
    State CurrentState() override { return state_; }
    bool StatusIsPlay() const override { return state_ == State::play; }
    bool ChangeUp(State target) override;
    bool ChangeDown(State target) override;
    bool RegisterMessageCallback(const std::function<bool(const char*)>& callback) override;

  protected:
    /** Brings the stream to life. False, with an error line written, leaves it as it was. */
    virtual bool start() = 0;
    /** Ends the stream; every waiting call of a reader or writer returns. */
    virtual void stop() = 0;

    /**
     * For the stream's own threads: it has ended by itself. The object reads as stopped from here on, posts
     * `why` and `name=stopped`, and is cleared up by stop() at its next change of state.
     */
    void ended(std::string why);

    void shutDown();
    void post(std::string message) { messages_.post(std::move(message)); }
    /** Posts that frames were lost and adds them to the total of this object. */
    void postLost(const char* media, std::size_t lost);

  private:
    void fall(std::string why);

    std::mutex change_; /**< held through a whole change of state */
    std::mutex mark_;   /**< state against ended(); never held while start() or stop() runs */
    bool fallen_ = false;
    std::string endedEarly_; /**< why the stream ended while it was still starting */
    std::atomic<State> state_{State::null};
    std::atomic<std::size_t> lostInAll_{0};
    MessagePort messages_;
};

}  // namespace kep::host

#endif
