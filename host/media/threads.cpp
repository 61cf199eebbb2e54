#include "media/threads.h"

#include <pthread.h>
#include <sys/prctl.h>

#include <utility>

namespace kep::host {

const char* nameOf(Thread thread) {
    // The system takes 15 characters.
    switch (thread) {
        case Thread::camera:
            return "camera";
        case Thread::microphone:
            return "microphone";
        case Thread::cameraElement:
            return "camera-element";
        case Thread::microphoneElement:
            return "mic-element";
        case Thread::fifo:
            return "fifo";
        case Thread::shmSource:
            return "shm-source";
        case Thread::muxer:
            return "muxer";
        case Thread::event:
            return "event";
        case Thread::speaker:
            return "speaker";
        case Thread::pictureWriter:
            return "picture-writer";
        case Thread::prerecord:
            return "prerecord";
    }
    return "";
}

std::thread startThread(Thread thread, std::function<void()> work) {
    return std::thread([thread, work = std::move(work)] {
        pthread_setname_np(pthread_self(), nameOf(thread));
        // It holds pictures back until they are due: the default slack of a timer, 50 us, would be a tenth of
        // the time that a picture may take to its reader.
        if (thread == Thread::camera) prctl(PR_SET_TIMERSLACK, 1);
        work();
    });
}

}  // namespace kep::host
