#ifndef KEP_HOST_MESSAGE_PORT_H
#define KEP_HOST_MESSAGE_PORT_H

#include <functional>
#include <memory>
#include <string>

#include "kep/visibility.h"
#include "objects/dispatcher.h"
#include "objects/mutex.h"

namespace kep::host {

/**
 * Delivers the messages of an object to one callback, in the order of posting, on the threads of the
 * dispatcher: a slow callback delays neither the posting thread nor the callback of another port.
 */
class KEP_API MessagePort {
  public:
    using Callback = Dispatcher::Callback;

    MessagePort() = default;
    /**
     * No callback of this port runs after the destructor returns, unless that is called from within the
     * callback itself, or from another one that it waits for in the same way.
     */
    ~MessagePort();
    MessagePort(const MessagePort&) = delete;
    MessagePort& operator=(const MessagePort&) = delete;

    /**
     * Replaces the callback; the new one also gets the messages still queued, an empty one drops them. The
     * old callback no longer runs when this returns, with the exceptions of the destructor.
     */
    void setCallback(Callback callback);

    /** Queues a message. Safe on any thread, never blocks on a callback. */
    void post(std::string message);

  private:
    Mutex mutex_;
    std::shared_ptr<Dispatcher::Registration> registration_ GUARDED_BY(mutex_);
};

}  // namespace kep::host

#endif
