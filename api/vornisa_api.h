/**
 * @file
 * The camera API: plain C functions over the camera's media framework.
 *
 * Handles. VNAcquire gives out an integer handle, VNRelease ends it, and the functions in between take it. 0
 * is never a handle. On a board a handle is not checked: to use one that was released or made up is an error
 * that nothing detects. On a workstation it finds nothing, and the call answers as for an object of the wrong
 * kind.
 *
 * Results. Every function returns one of VNRes_Code. A call that fails writes one line to the framework's
 * error stream, unless its description says otherwise. Beside the codes listed with it, any function returns
 * VNRES_FAIL when memory runs out. No C++ exception leaves a function.
 *
 * Threads. A function runs on its caller's thread and takes no lock. Different handles may be used from
 * different threads at the same time; acquisition and release are for the caller to serialise, as are calls
 * on one handle. Callbacks run on threads of the framework.
 */
#ifndef VORNISA_API_H
#define VORNISA_API_H

#include <stdint.h>

/** Marks what the library exports. */
#if defined(__GNUC__)
#define VN_API __attribute__((visibility("default")))
#else
#define VN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Results of the functions. Never positive. */
enum VNRes_Code {
    VNRES_SUCCEED = 0,        /**< the call did what was asked */
    VNRES_FAIL = -1,          /**< the framework refused or failed the operation */
    VNRES_WRONG_DEVICE = -2,  /**< the handle's object is of a kind that does not have what the call needs */
    VNRES_UNSUPPORTED = -3,   /**< the object does not offer the operation */
    VNRES_BUFFER_ERROR = -4,  /**< the library's own intermediate buffer refused data */
    VNRES_BUF_TOO_SMALL = -5, /**< the caller's buffer cannot hold the data */
    VNRES_PUSH_FAIL = -6,     /**< the device refused the data pushed to it */
    VNRES_INVALID_ARG = -7    /**< a required argument is null, a type unknown, or a step of a call failed */
};

/** What VNAcquire can create. */
enum VNRes_Type {
    VNRES_REC_MAN = 31,       /**< recording manager: an empty application */
    VNRES_YUV_SOURCE = 65,    /**< pictures of the camera, planar YUV 4:2:0 */
    VNRES_H264_SOURCE = 66,   /**< H.264 video of the camera */
    VNRES_PCM_SOURCE = 67,    /**< samples of the microphone */
    VNRES_AAC_SOURCE = 68,    /**< AAC audio of the microphone */
    VNRES_PCM_PLAYER = 69,    /**< loudspeaker */
    VNRES_AAC_ENCODER = 70,   /**< AAC encoder */
    VNRES_AAC_DECODER = 71,   /**< AAC decoder */
    VNRES_QRCODE = 72,        /**< reader of codes in the picture */
    VNRES_PHOTOGRAPHY = 73,   /**< still-picture taker */
    VNRES_EVENT_SERVICE = 74, /**< recorder of clips around an event */
    VNRES_SHARED_MEMORY = 75, /**< shared memory */
    VNRES_STAMP = 76,         /**< text stamps on the picture */
    VNRES_DEMUX = 77,         /**< demultiplexer of MP4 files */
    VNRES_HUMAN_SHM = 78      /**< results of the detection of people */
};

/** A colour, 0x00RRGGBB. Any value may be given, not only the named ones. */
typedef uint32_t VNRes_Color;

/**
 * Receives the messages of an object, on a thread of the framework.
 *
 * @param message attribute text, `key=value` items separated by ","; valid during the call only
 */
typedef void (*VNMessageCallback)(const char* message);

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
 * dead when the call returns; messages of the object no longer arrive.
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
 * Stops a resource. It keeps its settings and can be started again.
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
 * @param cb called for each message on a thread of the framework until the resource is released; not null
 * (not checked). It may call any function but VNRelease of this handle
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
 * Sets the two audio settings of an audio stream. The values are passed on unchecked, also to a running
 * stream.
 *
 * @param id     handle; not 0
 * @param first  first setting: the sample rate in hertz
 * @param second second setting: the number of channels
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
 * @param id       handle; not 0
 * @param buf      out: room for the frames; not null (not checked) unless `count` is 0
 * @param buf_size bytes at `buf`
 * @param count    how many frames; a negative one goes on until a frame cannot be had or does not fit
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
 * @retval VNRES_INVALID_ARG `id` is 0, or a step failed; the failed step writes a line of its own as well
 */
VN_API int VNSwitchResolution(int id, int width, int height);

#ifdef __cplusplus
}
#endif

#endif
