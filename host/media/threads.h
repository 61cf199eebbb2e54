#ifndef KEP_HOST_THREADS_H
#define KEP_HOST_THREADS_H

#include <functional>
#include <thread>

#include "kep/visibility.h"

namespace kep::host {

/**
 * Every thread of the framework's media part, and why it is there. A thread stands wherever something waits:
 * for a device, for a disk, for a consumer that blocks; and behind the two captures, so that scaling and
 * encoding never delay the next capture. All other work runs on the thread that delivers a packet.
 *
 * A live H.264 stream has camera and cameraElement; a recording with sound has these, their two of the
 * microphone, and muxer; an event service has event in the place of muxer.
 */
enum class Thread {
    camera,            /**< waits for the camera: opens it, captures, closes it */
    microphone,        /**< the same of the microphone */
    cameraElement,     /**< scales and encodes what one chain takes from the camera */
    microphoneElement, /**< converts and encodes what one chain takes from the microphone */
    fifo,              /**< a queue before elements that may block or work for long; others run inline */
    shmSource,         /**< the same for packets of another pipeline */
    muxer,             /**< waits for the disk that a recording is on */
    event,             /**< waits for the disks that clips are on, and for their time to come */
    speaker,           /**< waits for the loudspeaker */
    pictureWriter,     /**< waits for the disk of pictures taken without waiting */
    demuxer,           /**< reads a recorded file, and waits for those who are handed its packets */
    funcSink,          /**< waits for an application's callback to return */
    detector,          /**< looks at the newest picture of a chain for as long as that takes */
    prerecord,         /**< looks for devices that pre-recording lacks; ends once it has them */
};

/** The thread's name, as tools show it. */
KEP_API const char* nameOf(Thread thread);

/** Starts a thread. The only place of the media part that does. */
KEP_API std::thread startThread(Thread thread, std::function<void()> work);

}  // namespace kep::host

#endif
