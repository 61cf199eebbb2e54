#ifndef KEP_HOST_STREAM_OBJECT_H
#define KEP_HOST_STREAM_OBJECT_H

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

#include "core/message_port.h"
#include "kep/status.h"
#include "kep/streaming.h"

namespace kep::host {

/**
 * What every streaming object has: a state, its changes one at a time, and messages
 * (`name=started`, `name=stopped`, `name=frameLost,media=video,lost=2,total=5`, `name=deviceLost,...`).
 *
 * A derived class brings start() and stop() and calls shutDown() first in its destructor.
 */
class StreamObject : public virtual api::streaming::common::IStreamControl, public stream::IStatus {
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

    void shutDown();
    void post(std::string message) { messages_.post(std::move(message)); }
    /** Posts that frames were lost and adds them to the total of this object. */
    void postLost(const char* media, std::size_t lost);

  private:
    std::mutex change_;
    std::atomic<State> state_{State::null};
    std::atomic<std::size_t> lostInAll_{0};
    MessagePort messages_;
};

}  // namespace kep::host

#endif
