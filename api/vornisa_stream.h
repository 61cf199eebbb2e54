/**
 * @file
 * Resources and live streams. Include vornisa_api.h.
 */
#ifndef VORNISA_STREAM_H
#define VORNISA_STREAM_H

#include "vornisa_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Creates a resource. It is not started.
 *
 * @param type one of VNRes_Type
 * @param id   out: the handle; not null. Set only on success; the caller ends it with VNRelease
 *
 * @retval VNRES_SUCCEED     created
 * @retval VNRES_INVALID_ARG `id` is null, or `type` is not in VNRes_Type
 * @retval VNRES_FAIL        the framework did not create it
 */
VN_API int VNAcquire(int type, int* id);

/**
 * Destroys a resource and everything that other calls attached to its handle. Stop a running resource first.
 * When the call returns, the handle is invalid and its message callback is not called any more: the call
 * waits for a callback that runs on another thread, so the caller must not hold a lock that the callback
 * waits for. An object with several handles, such as a recording, exists until the last of them is released.
 * If it still plays then, it is stopped first, and the call waits as VNStop does.
 *
 * @param id handle; not 0
 *
 * @retval VNRES_SUCCEED     destroyed
 * @retval VNRES_INVALID_ARG `id` is 0
 */
VN_API int VNRelease(int id);

/**
 * Starts a resource.
 *
 * @param id handle; not 0
 *
 * @retval VNRES_SUCCEED     playing
 * @retval VNRES_INVALID_ARG `id` is 0
 * @retval VNRES_FAIL        the object refused
 * @retval VNRES_UNSUPPORTED the object cannot be started; no line is written
 */
VN_API int VNStart(int id);

/**
 * Stops a resource. It keeps its settings and can be started again. On a workstation the call first completes
 * the open files of a recording or an event service: it waits for their disk, without a timeout, and so do
 * concurrent calls that start, stop or release the same resource. No other calls wait, neither on this
 * resource nor on others.
 *
 * @param id handle; not 0
 *
 * @retval VNRES_SUCCEED     stopped
 * @retval VNRES_INVALID_ARG `id` is 0
 * @retval VNRES_FAIL        the object refused
 * @retval VNRES_UNSUPPORTED the object cannot be stopped; no line is written
 */
VN_API int VNStop(int id);

/**
 * Gets whether a resource is playing.
 *
 * @param id      handle; not 0
 * @param running out: 1 if it plays, else 0; null to check only whether the object has a state
 *
 * @retval VNRES_SUCCEED     `running` is set unless it is null
 * @retval VNRES_INVALID_ARG `id` is 0
 * @retval VNRES_UNSUPPORTED the object has no state
 */
VN_API int VNIsRunning(int id, int* running);

/**
 * Registers a callback for the messages of a resource. Messages of an object that is not a stream carry the
 * attribute "id", the handle in decimal. The framework decides whether a second registration adds a callback
 * or replaces the first.
 *
 * @param id handle; not 0
 * @param cb called for each message, one at a time, on a thread of the framework until the handle is
 * released; not null (not checked). It may call any function except VNRelease of this handle, and may block:
 * the callbacks of other handles are not delayed
 *
 * @retval VNRES_SUCCEED     passed to the object, whose result is ignored
 * @retval VNRES_INVALID_ARG `id` is 0
 * @retval VNRES_UNSUPPORTED the object sends no messages
 */
VN_API int VNRegisterMessageCallback(int id, VNMessageCallback cb);

/**
 * Like VNRegisterMessageCallback, but messages of an object that is not a stream carry "vornisa_id", the
 * handle in decimal, and "vornisa_hd", the pointer `hd` as text. Messages of a stream have neither.
 *
 * @param id handle; not 0
 * @param cb as for VNRegisterMessageCallback
 * @param hd any pointer, null included; never dereferenced, and remains the caller's
 *
 * @retval VNRES_SUCCEED     passed to the object, whose result is ignored
 * @retval VNRES_INVALID_ARG `id` is 0
 * @retval VNRES_UNSUPPORTED the object sends no messages
 */
VN_API int VNRegisterMessageCallback2(int id, VNMessageCallback cb, void* hd);

/**
 * Sets the two audio settings of an audio stream. The framework defines their meaning and unit; a workstation
 * takes the sample rate in hertz and the number of channels. The values are passed on unchecked, also to a
 * running stream.
 *
 * @param id     handle; not 0
 * @param first  the framework's first audio setting
 * @param second the framework's second audio setting
 *
 * @retval VNRES_SUCCEED      passed on
 * @retval VNRES_INVALID_ARG  `id` is 0, or the object is not a stream
 * @retval VNRES_WRONG_DEVICE the stream is not audio
 */
VN_API int VNSetAudio(int id, int first, int second);

/**
 * Sets the bit rate of an encoder. The value is passed on unchecked, also to a running stream.
 *
 * @param id  handle; not 0
 * @param bps bits per second
 *
 * @retval VNRES_SUCCEED      passed on
 * @retval VNRES_INVALID_ARG  `id` is 0
 * @retval VNRES_WRONG_DEVICE the object is not an encoder
 */
VN_API int VNSetBps(int id, int bps);

/**
 * Sets the frame rate of a video stream. The value is passed on unchecked, also to a running stream.
 *
 * @param id  handle; not 0
 * @param fps frames per second
 *
 * @retval VNRES_SUCCEED      passed on
 * @retval VNRES_INVALID_ARG  `id` is 0
 * @retval VNRES_WRONG_DEVICE the object has no frame rate
 */
VN_API int VNSetFramerate(int id, int fps);

/**
 * Sets the picture size of a video stream: the width, then the height. The values are passed on unchecked and
 * take effect when the stream is next started.
 *
 * @param id     handle; not 0
 * @param width  pixels
 * @param height pixels
 *
 * @retval VNRES_SUCCEED      passed on
 * @retval VNRES_INVALID_ARG  `id` is 0
 * @retval VNRES_WRONG_DEVICE the object is not video
 */
VN_API int VNSetResolution(int id, int width, int height);

/**
 * Requests a key frame from an H.264 encoder now.
 *
 * @param id handle; not 0
 *
 * @retval VNRES_SUCCEED      passed on
 * @retval VNRES_INVALID_ARG  `id` is 0
 * @retval VNRES_WRONG_DEVICE the object does not encode H.264
 */
VN_API int VNGetKeyFrame(int id);

/**
 * Sets the length of the groups of pictures of an H.264 encoder. The value is passed on unchecked, also to a
 * running stream.
 *
 * @param id  handle; not 0
 * @param gop frames from one key frame to the next
 *
 * @retval VNRES_SUCCEED      passed on
 * @retval VNRES_INVALID_ARG  `id` is 0
 * @retval VNRES_WRONG_DEVICE the object does not encode H.264
 */
VN_API int VNSetH264Gop(int id, int gop);

/**
 * Sets attributes of an object that is not a stream. The result does not tell whether the object accepts
 * them.
 *
 * @param id     handle; not 0
 * @param params in: attribute text, `key=value` items separated by ","; passed on unchecked, null included
 *
 * @retval VNRES_SUCCEED      passed on
 * @retval VNRES_INVALID_ARG  `id` is 0
 * @retval VNRES_WRONG_DEVICE the object has no attributes
 */
VN_API int VNSetParams(int id, const char* params);

/**
 * Reads frames of a stream into a buffer, one after the other. Blocks until there are `count` frames. Each
 * frame is copied once.
 *
 * On a workstation other threads may at the same time call VNStop, VNStart, VNIsRunning, VNGetKeyFrame,
 * VNSetBps, VNSetFramerate, VNSetH264Gop and VNSwitchResolution with this handle. A stop, also that of
 * VNSwitchResolution, ends the call with VNRES_FAIL. VNRelease must wait until the call has returned.
 *
 * @param id       handle; not 0
 * @param buf      out: the frames; not null (not checked) unless `count` is 0
 * @param buf_size bytes at `buf`
 * @param count    number of frames; with a negative number the call reads until there is no further frame or
 * one does not fit, so it ends with VNRES_FAIL or VNRES_BUF_TOO_SMALL and does not set `len`
 * @param len      out: bytes written to `buf`, set only on success; may be null
 *
 * @retval VNRES_SUCCEED       all frames are in `buf`
 * @retval VNRES_INVALID_ARG   `id` is 0
 * @retval VNRES_WRONG_DEVICE  the object does not output frames
 * @retval VNRES_UNSUPPORTED   the object does not support reading frames
 * @retval VNRES_FAIL          no further frame, for example because the stream is stopped
 * @retval VNRES_BUF_TOO_SMALL the next frame did not fit and is lost; those before it are in `buf`
 */
VN_API int VNRead(int id, char* buf, int buf_size, int count, int* len);

/**
 * Pushes a buffer to a playing stream as one frame, without copying it.
 *
 * @param id   handle; not 0
 * @param buf  in: the data; not null. Remains the caller's, who may change it once the call has returned
 * @param size bytes at `buf`
 *
 * @retval VNRES_SUCCEED      accepted
 * @retval VNRES_INVALID_ARG  `buf` is null, or `id` is 0
 * @retval VNRES_WRONG_DEVICE the object does not take frames
 * @retval VNRES_FAIL         the stream is not playing
 * @retval VNRES_UNSUPPORTED  the object does not support pushing frames
 * @retval VNRES_PUSH_FAIL    the stream refused the frame
 */
VN_API int VNFeed(int id, char* buf, int size);

/**
 * Changes the picture size of a playing video stream: stops it, sets the size, starts it. If a step fails,
 * nothing is undone: the stream is then stopped. Concurrent calls on the handle see it stopped.
 *
 * @param id     handle; not 0
 * @param width  pixels
 * @param height pixels
 *
 * @retval VNRES_SUCCEED     the stream plays in the new size
 * @retval VNRES_INVALID_ARG `id` is 0, or a step failed. The failed step also writes a line of its own,
 * unless the object cannot be stopped or started at all: VNStop and VNStart then write none
 */
VN_API int VNSwitchResolution(int id, int width, int height);

#ifdef __cplusplus
}
#endif

#endif
