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
 * Where the messages of an object go out to one callback, in the order of their posting. They are delivered
 * on threads of the process's dispatcher: a slow callback holds back neither the thread that posts nor the
 * callback of another port.
 */
class KEP_API MessagePort {
  public:
    using Callback = Dispatcher::Callback;

    MessagePort() = default;
    /**
     * No callback of this port runs once this has returned, unless it is called from within that callback,
     * or from within another one that this callback waits for in the same way.
     */
    ~MessagePort();
    MessagePort(const MessagePort&) = delete;
    MessagePort& operator=(const MessagePort&) = delete;

    /**
     * Replaces the callback, which then gets what the earlier one has not had; an empty one drops what is
     * posted. The earlier one has ended once this has returned, with the exceptions of the destructor.
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
