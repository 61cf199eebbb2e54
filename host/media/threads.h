#ifndef KEP_HOST_THREADS_H
#define KEP_HOST_THREADS_H

#include <functional>
#include <thread>

#include "kep/visibility.h"

namespace kep::host {

/**
 * Every thread of the framework's media part, and its reason. There is a thread wherever something blocks: on
 * a device, on a disk, on a slow consumer; and one behind each of the two captures, so that scaling and
 * encoding never delay the next capture. All other work runs on the thread that delivers a packet.
 *
 * A live H.264 stream has camera and cameraElement; a recording with sound also has microphone,
 * microphoneElement and muxer; an event service has event instead of muxer.
 */
enum class Thread {
    camera,            /**< waits for the camera: opens it, captures, closes it */
    microphone,        /**< likewise for the microphone */
    cameraElement,     /**< scales and encodes the camera's pictures for one chain */
    microphoneElement, /**< converts and encodes the microphone's samples for one chain */
    fifo,              /**< drains a queue before elements that may block or work for long */
    shmSource,         /**< likewise for packets of another pipeline */
    muxer,             /**< waits for the disk of a recording */
    event,             /**< waits for the disks of clips, and until clips are due */
    speaker,           /**< waits for the loudspeaker */
    pictureWriter,     /**< waits for the disk of pictures taken asynchronously */
    demuxer,           /**< reads a recorded file, and waits for the consumers of its packets */
    funcSink,          /**< waits for an application's callback to return */
    detector,          /**< analyses the newest picture of a chain, for as long as that takes */
    prerecord,         /**< retries devices missing for pre-recording; ends once it has them */
};

/** The thread's name, as shown by ps and debuggers. */
KEP_API const char* nameOf(Thread thread);

/** Starts a thread. The media part starts its threads here only. */
KEP_API std::thread startThread(Thread thread, std::function<void()> work);

}  // namespace kep::host

#endif
