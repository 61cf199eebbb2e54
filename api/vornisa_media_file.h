/**
 * @file
 * Recorded files: their duration, and MP4 taken apart. Include vornisa_api.h.
 */
#ifndef VORNISA_MEDIA_FILE_H
#define VORNISA_MEDIA_FILE_H

#include "vornisa_types.h"

/** The framework's description of one track of a file. Never followed by an application, only compared. */
#ifdef __cplusplus
namespace kep {
namespace stream {
class IMedia;
}
}  // namespace kep
typedef kep::stream::IMedia VNMedia;
#else
typedef struct VNMedia VNMedia;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** One packet of a file. The record and its data are valid during the callback only. */
typedef struct VNDemuxPacket {
    const void* data;
    int size;       /**< bytes at `data` */
    int64_t pts_ms; /**< when it is to be presented, in milliseconds */
    int codec;      /**< the framework's number of the track's codec; 0 when the packet is of no track */
    VNMedia* media; /**< the track, as in VNDemuxTrack; null when the packet is of no track */
    int iskey;      /**< 1 for a key frame, else 0 */
    void* user;     /**< as in VNDemuxRes */
} VNDemuxPacket;

/** One track of a file. The record and its text are valid during the callback only. */
typedef struct VNDemuxTrack {
    VNMedia* media;   /**< tells the tracks apart for as long as the demultiplexer plays the file */
    const char* desc; /**< attribute text */
    void* user;       /**< as in VNDemuxRes */
} VNDemuxTrack;

/**
 * Receives the packets of a file. Called on threads of the framework, for audio and video at the same time;
 * the stream waits while it runs. It may call VNDemuxSeek. The framework for workstations also lets it call
 * VNStop and VNRelease of its handle while no other thread does: its own call is then the last of its track.
 */
typedef void (*VNDemuxPacketCallback)(const VNDemuxPacket* packet);

/** Receives the tracks of a file, each once. Called on threads of the framework. */
typedef void (*VNDemuxTrackCallback)(const VNDemuxTrack* track);

/** What a demultiplexer is to play. */
typedef struct VNDemuxRes {
    const char* filename;         /**< in: path of an MP4 file; not null */
    int64_t seek_ms;              /**< in: where to begin, in milliseconds; 0 for the beginning */
    VNDemuxPacketCallback cbfrm;  /**< in: not null */
    VNDemuxTrackCallback cbtrunk; /**< in: not null */
    int64_t duration; /**< out: of the file, as the framework gives it; written only if it is known */
    void* user;       /**< in: any pointer, handed back with every packet and track; never followed */
} VNDemuxRes;

/**
 * Tells how long a fragmented MP4 file is, without playing it.
 *
 * @param filename in: absolute path, of any length; not null. Spliced into attribute text as it is, so ","
 * and braces in it are not understood as part of the name
 * @param durms    out: milliseconds; not null. Written once the file is open, also when closing it then fails
 *
 * @retval VNRES_SUCCEED     `durms` is written
 * @retval VNRES_INVALID_ARG `filename` or `durms` is null
 * @retval VNRES_FAIL        the file could not be opened, or not be closed
 */
VN_API int VNGetFMp4Duration(const char* filename, int64_t* durms);

/**
 * Gives a demultiplexer its file and its callbacks, and makes it ready; VNStart then lets the packets flow.
 * The record is read during the call only, its text included, and stays the caller's. The callbacks are
 * called until the handle is released, also when a later step of the call failed: nothing is undone. VNStop
 * closes the file; VNStart then begins at its beginning. The end of the file is told by the message
 * `name=endOfFile`, once the callbacks for all packets have returned.
 *
 * @param id  handle of a VNRES_DEMUX; not 0
 * @param res in and out; not null, nor are its `filename`, `cbfrm` and `cbtrunk`
 *
 * @retval VNRES_SUCCEED     ready, and `duration` is written
 * @retval VNRES_INVALID_ARG `id` is 0, `res` is null or one of its fields that must not be
 * @retval VNRES_FAIL        the object is no demultiplexer, the file could not be opened, or there is no such
 * position in it
 */
VN_API int VNDemuxSet(int id, VNDemuxRes* res);

/**
 * Moves a demultiplexer that VNDemuxSet made ready to another time, playing or not. The framework for
 * workstations goes on at the last key frame at or before that time, drops what was to be handed on before
 * it, but for a callback that has begun, and plays again when it had come to the end of the file.
 *
 * @param id     handle of a VNRES_DEMUX; not 0
 * @param pts_ms milliseconds from the beginning of the file, 0 to its duration
 *
 * @retval VNRES_SUCCEED     the request was taken
 * @retval VNRES_INVALID_ARG `id` is 0
 * @retval VNRES_FAIL        the object is no demultiplexer, or refused the position
 */
VN_API int VNDemuxSeek(int id, int64_t pts_ms);

#ifdef __cplusplus
}
#endif

#endif
