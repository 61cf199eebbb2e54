#ifndef KEP_HOST_PROCESS_END_H
#define KEP_HOST_PROCESS_END_H

#include <functional>

#include "kep/visibility.h"

namespace kep::host {

class ObjectImpl;

/**
 * Shutdown of the framework when the process ends by exit() or by a return from main: message delivery ends,
 * running objects are stopped, the newest first, and then devices are closed. It runs before the destructors
 * of the framework's statics, and of those of the application that are older than its first running object.
 * A step that hangs, as on a disk that does not respond, is abandoned after kProcessEndTimeout.
 */
class KEP_API ProcessEnd {
  public:
    /** Stops `object`, which has no parent, at the end unless it is removed before. */
    static void add(ObjectImpl& object);
    /** Blocks while shutdown is stopping the object. */
    static void remove(const ObjectImpl& object);

    /** Runs `step` after all objects have stopped. */
    static void addStep(std::function<void()> step);

    /** Whether shutdown has begun: objects no longer start. */
    static bool hasBegun();
};

}  // namespace kep::host

#endif
