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
 * @param id   out: the handle; not null. Written only on success; the caller ends it with VNRelease
 *
 * @retval VNRES_SUCCEED     created
 * @retval VNRES_INVALID_ARG `id` is null, or `type` is none of VNRes_Type
 * @retval VNRES_FAIL        the framework did not create it
 */
VN_API int VNAcquire(int type, int* id);

/**
 * Destroys a resource, and what other calls attached to its handle. Stop a running one first. The handle is
 * dead when the call returns, and its message callback is called no more: the call waits for one that runs on
 * another thread, so the caller must not hold a lock that the callback waits for. An object that several
 * handles reach, such as a recording, lives until the last of them is released. One that still
 * plays then is stopped first, and the call waits as VNStop does.
 *
 * @param id handle; not 0
 *
 * @retval VNRES_SUCCEED     destroyed
 * @retval VNRES_INVALID_ARG `id` is 0
 */
VN_API int VNRelease(int id);

/**
 * Brings a resource to play.
 *
 * @param id handle; not 0
 *
 * @retval VNRES_SUCCEED     it plays
 * @retval VNRES_INVALID_ARG `id` is 0
 * @retval VNRES_FAIL        the object refused
 * @retval VNRES_UNSUPPORTED the object cannot be started; this writes no line
 */
VN_API int VNStart(int id);

/**
 * Stops a resource. It keeps its settings and can be started again. On a workstation the files that a
 * recording or an event service has open are completed first: the call waits for the disk that they are on,
 * however long that takes, and so does a call that starts, stops or releases the same resource meanwhile.
 * Nobody else waits: all other calls on it return, and all calls on other resources.
 *
 * @param id handle; not 0
 *
 * @retval VNRES_SUCCEED     it has stopped
 * @retval VNRES_INVALID_ARG `id` is 0
 * @retval VNRES_FAIL        the object refused
 * @retval VNRES_UNSUPPORTED the object cannot be stopped; this writes no line
 */
VN_API int VNStop(int id);

/**
 * Tells whether a resource is playing.
 *
 * @param id      handle; not 0
 * @param running out: 1 if it plays, else 0; null to learn only whether the object can be asked
 *
 * @retval VNRES_SUCCEED     answered
 * @retval VNRES_INVALID_ARG `id` is 0
 * @retval VNRES_UNSUPPORTED the object does not tell its state
 */
VN_API int VNIsRunning(int id, int* running);

/**
 * Has the messages of a resource delivered. The messages of an object that is no stream carry the attribute
 * "id", the handle in decimal. Whether a second registration adds a callback or replaces the first is the
 * framework's rule.
 *
 * @param id handle; not 0
 * @param cb called for each message, one after the other, on a thread of the framework until the handle is
 * released; not null (not checked). It may call any function but VNRelease of this handle, and may take its
 * time: the callbacks of other handles are called meanwhile
 *
 * @retval VNRES_SUCCEED     handed to the object, whose own answer is not looked at
 * @retval VNRES_INVALID_ARG `id` is 0
 * @retval VNRES_UNSUPPORTED the object has no messages
 */
VN_API int VNRegisterMessageCallback(int id, VNMessageCallback cb);

/**
 * Like VNRegisterMessageCallback, but the messages of an object that is no stream carry "vornisa_id", the
 * handle in decimal, and "vornisa_hd", the pointer `hd` as text. Messages of a stream arrive unchanged,
 * without either.
 *
 * @param id handle; not 0
 * @param cb as for VNRegisterMessageCallback
 * @param hd any pointer of the caller's, null included; never followed, and stays the caller's
 *
 * @retval VNRES_SUCCEED     handed to the object, whose own answer is not looked at
 * @retval VNRES_INVALID_ARG `id` is 0
 * @retval VNRES_UNSUPPORTED the object has no messages
 */
VN_API int VNRegisterMessageCallback2(int id, VNMessageCallback cb, void* hd);

/**
 * Sets the two audio settings of an audio stream. What they mean, and in which unit, is for the framework to
 * define; that for workstations takes the sample rate in hertz and the number of channels. The values are
 * passed on unchecked, also to a running stream.
 *
 * @param id     handle; not 0
 * @param first  the framework's first audio setting
 * @param second the framework's second audio setting
 *
 * @retval VNRES_SUCCEED      passed on
 * @retval VNRES_INVALID_ARG  `id` is 0, or the object is no stream
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
 * @retval VNRES_WRONG_DEVICE the object is no encoder
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
 * Asks an H.264 encoder for a key frame now.
 *
 * @param id handle; not 0
 *
 * @retval VNRES_SUCCEED      passed on
 * @retval VNRES_INVALID_ARG  `id` is 0
 * @retval VNRES_WRONG_DEVICE the object does not encode H.264
 */
VN_API int VNGetKeyFrame(int id);

/**
 * Sets how many frames an H.264 encoder puts into a group of pictures. The value is passed on unchecked, also
 * to a running stream.
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
 * Hands attributes to an object that is no stream. Whether it accepts them does not show in the result.
 *
 * @param id     handle; not 0
 * @param params in: attribute text, `key=value` items separated by ","; passed on unchecked, null included
 *
 * @retval VNRES_SUCCEED      passed on
 * @retval VNRES_INVALID_ARG  `id` is 0
 * @retval VNRES_WRONG_DEVICE the object takes no attributes
 */
VN_API int VNSetParams(int id, const char* params);

/**
 * Takes frames from a stream and puts them into a buffer one behind the other. Blocks until there are enough.
 * Each frame is copied once.
 *
 * On a workstation other threads may meanwhile call VNStop, VNStart, VNIsRunning, VNGetKeyFrame, VNSetBps,
 * VNSetFramerate, VNSetH264Gop and VNSwitchResolution with this handle. A stop, that of a switch included,
 * ends the call with VNRES_FAIL. VNRelease must wait until the call has returned.
 *
 * @param id       handle; not 0
 * @param buf      out: room for the frames; not null (not checked) unless `count` is 0
 * @param buf_size bytes at `buf`
 * @param count    how many frames; a negative one goes on until a frame cannot be had or does not fit, so
 * that the call ends with VNRES_FAIL or VNRES_BUF_TOO_SMALL, and how much is in `buf` is not told
 * @param len      out: bytes put into `buf`, written only on success; may be null
 *
 * @retval VNRES_SUCCEED       all frames are in `buf`
 * @retval VNRES_INVALID_ARG   `id` is 0
 * @retval VNRES_WRONG_DEVICE  the object gives no frames
 * @retval VNRES_UNSUPPORTED   the object does not let frames be taken from it
 * @retval VNRES_FAIL          there was no further frame, as when the stream is stopped
 * @retval VNRES_BUF_TOO_SMALL the next frame did not fit, and is lost; those before it are in `buf`
 */
VN_API int VNRead(int id, char* buf, int buf_size, int count, int* len);

/**
 * Hands a buffer to a playing stream as one frame, without copying it.
 *
 * @param id   handle; not 0
 * @param buf  in: the data; not null. Stays the caller's, who may change it when the call has returned
 * @param size bytes at `buf`
 *
 * @retval VNRES_SUCCEED      taken
 * @retval VNRES_INVALID_ARG  `buf` is null, or `id` is 0
 * @retval VNRES_WRONG_DEVICE the object takes no frames
 * @retval VNRES_FAIL         the stream does not play
 * @retval VNRES_UNSUPPORTED  the object does not let frames be pushed to it
 * @retval VNRES_PUSH_FAIL    the stream refused the frame
 */
VN_API int VNFeed(int id, char* buf, int size);

/**
 * Changes the picture size of a playing video stream: stops it, sets the size, starts it. Nothing is undone
 * when a step fails: the stream is then stopped. Other calls on the handle meanwhile see it stopped.
 *
 * @param id     handle; not 0
 * @param width  pixels
 * @param height pixels
 *
 * @retval VNRES_SUCCEED     the stream plays in the new size
 * @retval VNRES_INVALID_ARG `id` is 0, or a step failed. The failed step writes a line of its own as well,
 * unless the object cannot be stopped or started at all: VNStop and VNStart then write none
 */
VN_API int VNSwitchResolution(int id, int width, int height);

#ifdef __cplusplus
}
#endif

#endif
