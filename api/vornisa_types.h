/**
 * @file
 * Result codes, kinds of resources and other types of the camera API. Include vornisa_api.h.
 */
#ifndef VORNISA_TYPES_H
#define VORNISA_TYPES_H

#include <stdint.h>

/** Version of this interface; the first number changes when applications must be rebuilt. */
#define VORNISA_API_VERSION_MAJOR 1
#define VORNISA_API_VERSION_MINOR 2
#define VORNISA_API_VERSION_PATCH 0
/** For comparison: 10200 is 1.2.0. */
#define VORNISA_API_VERSION \
    (VORNISA_API_VERSION_MAJOR * 10000 + VORNISA_API_VERSION_MINOR * 100 + VORNISA_API_VERSION_PATCH)

/** Marks an exported symbol. */
#if defined(__GNUC__)
#define VN_API __attribute__((visibility("default")))
#else
#define VN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Results of the functions. None is positive: a positive result is a length (VNAacEncode, VNAacDecode). */
enum VNRes_Code {
    VNRES_SUCCEED = 0,        /**< success */
    VNRES_FAIL = -1,          /**< the framework refused or failed the operation */
    VNRES_WRONG_DEVICE = -2,  /**< the handle's object is of the wrong kind for the call */
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
    VNRES_PHOTOGRAPHY = 73,   /**< still camera */
    VNRES_EVENT_SERVICE = 74, /**< recorder of clips around an event */
    VNRES_SHARED_MEMORY = 75, /**< shared memory */
    VNRES_STAMP = 76,         /**< text stamps on the picture */
    VNRES_DEMUX = 77,         /**< demultiplexer of MP4 files */
    VNRES_HUMAN_SHM = 78      /**< results of the detection of people */
};

/** A colour, 0x00RRGGBB. Any value may be given, not only one of VNRes_NamedColor. */
typedef uint32_t VNRes_Color;

/** Named colours, for parameters of type VNRes_Color. */
enum VNRes_NamedColor {
    VNRES_COLOR_BLACK = 0x000000,
    VNRES_COLOR_WHITE = 0xffffff,
    VNRES_COLOR_GRAY = 0x808080,
    VNRES_COLOR_SILVER = 0xc0c0c0,
    VNRES_COLOR_RED = 0xff0000,
    VNRES_COLOR_GREEN = 0x00ff00,
    VNRES_COLOR_BLUE = 0x0000ff,
    VNRES_COLOR_YELLOW = 0xffff00,
    VNRES_COLOR_CYAN = 0x00ffff,
    VNRES_COLOR_MAGENTA = 0xff00ff,
    VNRES_COLOR_ORANGE = 0xffa500
};

/**
 * Receives the messages of an object, on a thread of the framework.
 *
 * @param message attribute text, `key=value` items separated by ","; valid during the call only
 */
typedef void (*VNMessageCallback)(const char* message);

#ifdef __cplusplus
}
#endif

#endif
