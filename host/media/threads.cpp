#include "media/threads.h"

#include <pthread.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace kep::host {

namespace {

// In the order of the threads; the system takes 15 characters.
constexpr std::array kNames = {"camera",     "microphone", "camera-element", "mic-element", "fifo",
                               "shm-source", "muxer",      "event",          "speaker",     "picture-writer",
                               "demuxer",    "func-sink",  "detector",       "prerecord"};
static_assert(kNames.size() == static_cast<std::size_t>(Thread::prerecord) + 1);

/** A tenth of the processor that a thread of nice 0 gets beside it. */
constexpr int kDetectorNice = 10;

}  // namespace

const char* nameOf(Thread thread) {
    return kNames[static_cast<std::size_t>(thread)];
}

std::thread startThread(Thread thread, std::function<void()> work) {
    return std::thread([thread, work = std::move(work)] {
        pthread_setname_np(pthread_self(), nameOf(thread));
        // It holds pictures back until they are due: the default slack of a timer, 50 us, would be a tenth of
        // the time that a picture may take to its reader.
        if (thread == Thread::camera) prctl(PR_SET_TIMERSLACK, 1);
        // Where the processor is short, pictures for people come first.
        if (thread == Thread::detector) setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), kDetectorNice);
        work();
    });
}

}  // namespace kep::host
