#include "media/threads.h"

#include <pthread.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace kep::host {

namespace {

// In the order of enum Thread; Linux limits thread names to 15 characters.
constexpr std::array kNames = {"camera",     "microphone", "camera-element", "mic-element", "fifo",
                               "shm-source", "muxer",      "event",          "speaker",     "picture-writer",
                               "demuxer",    "func-sink",  "detector",       "prerecord"};
static_assert(kNames.size() == static_cast<std::size_t>(Thread::prerecord) + 1);

/** A tenth of the CPU share of a competing thread of nice 0. */
constexpr int kDetectorNice = 10;

}  // namespace

const char* nameOf(Thread thread) {
    return kNames[static_cast<std::size_t>(thread)];
}

std::thread startThread(Thread thread, std::function<void()> work) {
    return std::thread([thread, work = std::move(work)] {
        pthread_setname_np(pthread_self(), nameOf(thread));
        // This thread sleeps until pictures are due: the default timer slack of 50 us would be a tenth of the
        // latency allowed between capture and reader.
        if (thread == Thread::camera) prctl(PR_SET_TIMERSLACK, 1);
        // On a busy CPU, streams take precedence over detection.
        if (thread == Thread::detector) setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), kDetectorNice);
        work();
    });
}

}  // namespace kep::host
