#ifndef KEP_HOST_PROCESS_END_H
#define KEP_HOST_PROCESS_END_H

#include <functional>

#include "kep/visibility.h"

namespace kep::host {

class ObjectImpl;

/**
 * The orderly end of the framework when the process ends by exit() or by a return from main: no more messages
 * are delivered, what still plays is stopped, the newest first, and then devices are closed. It happens
 * before the framework's own statics go, and before those of the application that are older than its first
 * running object. What hangs, as on a disk that does not answer, is left behind after kProcessEndTimeout.
 */
class KEP_API ProcessEnd {
  public:
    /** Has `object`, which is part of no other, stopped at the end, unless it is removed before. */
    static void add(ObjectImpl& object);
    /** Waits while the end of the process is stopping the object. */
    static void remove(const ObjectImpl& object);

    /** Has `step` taken when nothing plays any more. */
    static void addStep(std::function<void()> step);

    /** Whether the process ends: nothing is started any more. */
    static bool hasBegun();
};

}  // namespace kep::host

#endif
