/**
 * @file
 * Recorded files: their duration, and demultiplexing of MP4 files. Include vornisa_api.h.
 */
#ifndef VORNISA_MEDIA_FILE_H
#define VORNISA_MEDIA_FILE_H

#include "vornisa_types.h"

/** The framework's description of one track of a file. Opaque: applications only compare the pointers. */
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
    int64_t pts_ms; /**< presentation time, in milliseconds */
    int codec;      /**< the framework's number of the track's codec; 0 for a packet without a track */
    VNMedia* media; /**< the track, as in VNDemuxTrack; null for a packet without a track */
    int iskey;      /**< 1 for a key frame, else 0 */
    void* user;     /**< as in VNDemuxRes */
} VNDemuxPacket;

/** One track of a file. The record and its text are valid during the callback only. */
typedef struct VNDemuxTrack {
    VNMedia* media;   /**< identifies the track while the demultiplexer plays the file */
    const char* desc; /**< attribute text */
    void* user;       /**< as in VNDemuxRes */
} VNDemuxTrack;

/**
 * Receives the packets of a file. Called on threads of the framework, for audio and video at the same time;
 * the stream waits while it runs. It may call VNDemuxSeek. On a workstation it may also call VNStop and
 * VNRelease of its handle while no other thread does; it is then not called for its track again.
 */
typedef void (*VNDemuxPacketCallback)(const VNDemuxPacket* packet);

/** Receives the tracks of a file, each once. Called on threads of the framework. */
typedef void (*VNDemuxTrackCallback)(const VNDemuxTrack* track);

/** What a demultiplexer plays, and where it delivers. */
typedef struct VNDemuxRes {
    const char* filename;         /**< in: path of an MP4 file; not null */
    int64_t seek_ms;              /**< in: start position in milliseconds; 0 for the beginning */
    VNDemuxPacketCallback cbfrm;  /**< in: not null */
    VNDemuxTrackCallback cbtrunk; /**< in: not null */
    int64_t duration; /**< out: duration of the file as the framework reports it; set only if known */
    void* user;       /**< in: any pointer, passed with every packet and track; never dereferenced */
} VNDemuxRes;

/**
 * Gets the duration of a fragmented MP4 file without playing it.
 *
 * @param filename in: absolute path, of any length; not null. Inserted into attribute text unchanged, where
 * "," and braces do not count as part of the name
 * @param durms    out: milliseconds; not null. Set once the file is open, even if closing it then fails
 *
 * @retval VNRES_SUCCEED     `durms` is set
 * @retval VNRES_INVALID_ARG `filename` or `durms` is null
 * @retval VNRES_FAIL        the file could not be opened or could not be closed
 */
VN_API int VNGetFMp4Duration(const char* filename, int64_t* durms);

/**
 * Sets the file and the callbacks of a demultiplexer and makes it ready; VNStart then starts the packets. The
 * record, including its text, is read during the call only and remains the caller's. The callbacks stay in
 * use until the handle is released, even if a later step of the call fails: nothing is undone. VNStop closes
 * the file; VNStart then starts from its beginning. The message `name=endOfFile` reports the end of the file,
 * once the callbacks for all packets have returned.
 *
 * @param id  handle of a VNRES_DEMUX; not 0
 * @param res in and out; not null, nor are its `filename`, `cbfrm` and `cbtrunk`
 *
 * @retval VNRES_SUCCEED     ready, and `duration` is set
 * @retval VNRES_INVALID_ARG `id` is 0, or `res` or one of the three fields named above is null
 * @retval VNRES_FAIL        the object is not a demultiplexer, the file could not be opened, or `seek_ms` is
 * not a position in it
 */
VN_API int VNDemuxSet(int id, VNDemuxRes* res);

/**
 * Seeks: moves a demultiplexer that VNDemuxSet made ready, playing or not, to another position. A workstation
 * continues at the last key frame at or before that position, discards queued packets except one whose
 * callback has begun, and plays on if it had reached the end of the file.
 *
 * @param id     handle of a VNRES_DEMUX; not 0
 * @param pts_ms milliseconds from the beginning of the file, 0 to its duration
 *
 * @retval VNRES_SUCCEED     the request was accepted
 * @retval VNRES_INVALID_ARG `id` is 0
 * @retval VNRES_FAIL        the object is not a demultiplexer, or refused the position
 */
VN_API int VNDemuxSeek(int id, int64_t pts_ms);

#ifdef __cplusplus
}
#endif

#endif
