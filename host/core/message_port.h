#ifndef KEP_HOST_MESSAGE_PORT_H
#define KEP_HOST_MESSAGE_PORT_H

#include <functional>
#include <memory>
#include <string>

#include "kep/visibility.h"

namespace kep::host {

/**
 * Where an object's messages go out. Messages of all ports are delivered in the order of their posting by one
 * thread of the process, so a slow callback never holds back the thread that posts.
 */
class KEP_API MessagePort {
  public:
    using Callback = std::function<void(const std::string& message)>;

    MessagePort();
    /** No callback of this port runs once this has returned, unless it is called from within that callback.
     */
    ~MessagePort();
    MessagePort(const MessagePort&) = delete;
    MessagePort& operator=(const MessagePort&) = delete;

    /** Replaces the callback; an empty one drops what is posted. */
    void setCallback(Callback callback);

    /** Queues a message. Safe on any thread, never blocks on a callback. */
    void post(std::string message);

  private:
    class State;
    std::shared_ptr<State> state_;
};

}  // namespace kep::host

#endif
