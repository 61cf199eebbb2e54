#ifndef KEP_HOST_FILMING_H
#define KEP_HOST_FILMING_H

#include <atomic>

namespace kep::host {

/** Called when something begins to film or record, on any thread; may be null. */
inline constinit std::atomic<void (*)()> filmingHook{nullptr};

/** To be called by the constructor of each element that films or records: camera, microphone, ShmSource. */
inline void filmingBegins() {
    if (const auto hook = filmingHook.load()) hook();
}

}  // namespace kep::host

#endif
