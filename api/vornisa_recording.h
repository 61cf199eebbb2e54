/**
 * @file
 * Recordings, still pictures and clips around an event. Include vornisa_api.h.
 *
 * Texts may have any length. Those of recordings and clips are inserted unchanged into attribute text, so a
 * name or path must not contain any of ",+{}".
 */
#ifndef VORNISA_RECORDING_H
#define VORNISA_RECORDING_H

#include "vornisa_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Starts recording the microphone and the camera into fragmented MP4 files of equal length. The recording
 * continues after the call, as an application of the framework with the name appVornisaRecMan; a handle of
 * VNRES_REC_MAN refers to it and ends it, see VNRecMan2. Log lines go to standard output.
 *
 * @param resolution pixels of a picture: 2073600 (1920 by 1080), 921600 (1280 by 720) or 230400 (640 by 360);
 * not 0. Any other number requests a picture of 0 by 0 from the framework
 * @param in_video   in: attribute text with all of "codec" ("h264"), "framerate" (frames per second),
 * "bitrate" (bits per second), "goptype" ("ippp") and "gop" (frames from one key frame to the next). Passed
 * on unchecked, null included
 * @param in_audio   in: attribute text with "codec", "channels" and "bitrate", which are only logged: the
 * sound comes from the camera's AAC pipeline. Passed on unchecked, null included
 * @param rec_sec    length of a file in seconds; not 0
 * @param path       in: folder of the files, without a trailing "/"; not null
 * @param name       in: name of the files, with an extension, which does not select the file format; not
 * null
 *
 * @retval VNRES_SUCCEED     recording
 * @retval VNRES_INVALID_ARG `resolution` or `rec_sec` is 0, `path` or `name` is null, `name` has no
 * extension, or a text is not attribute text
 * @retval VNRES_FAIL        the framework did not create the application, or did not start it; it then still
 * exists
 */
VN_API int VNRecMan(int resolution, const char* in_video, const char* in_audio, int rec_sec, const char* path,
                    const char* name);

/**
 * Starts recording the microphone and the camera into files of equal length, like VNRecMan, with a default
 * for each setting, a choice of the file format, and power-fail protection. The caller must serialise calls
 * with any `resolution` other than the three listed for VNRecMan.
 *
 * To end a recording, call VNAcquire(VNRES_REC_MAN), VNStop and VNRelease: VNStop finishes the open file and
 * returns when the file has its final name. The framework decides what a further call does while a recording
 * runs. On a workstation both record, and a handle refers to the recording that was the newest when the
 * handle was acquired, so acquire one after each call. (A handle acquired before any recording refers to the
 * next one.) When a process ends by exit() or a return from main, a workstation finishes its running
 * recordings; a killed process leaves the open file under its temporary name.
 *
 * @param resolution as for VNRecMan
 * @param in_video   in: attribute text with any of "codec" (default "h264"), "framerate" (30; the camera's 30
 * frames per second are reduced to it), "bitrate" (2000000), "goptype" ("ippp"), "gop" (15) and "clock"
 * (400000, of the encoder). Passed on unchecked, null included
 * @param in_audio   in: attribute text with any of "codec" (default "aac"), "channels" (2) and "bitrate"
 * (128000), which are only logged. Passed on unchecked, null included
 * @param rec_sec    length of a file in seconds; not 0
 * @param path       in: folder of the files, without a trailing "/"; not null
 * @param name       in: name of the files, with an extension, which selects the file format; not null
 * @param param      in: attribute text with any of "PowerFailProtection" (default false; true flushes written
 * data and makes the files fragmented, for which the extension must be mp4), "dbg" (default false; true
 * traces the muxer) and "mp4" ("fragment" makes files with the extension mp4 fragmented, any other text does
 * not); null for the defaults. A workstation reports each unknown key of the three texts, and each value that
 * should be a number and is not, in an error line
 *
 * @retval VNRES_SUCCEED     recording
 * @retval VNRES_INVALID_ARG `resolution` or `rec_sec` is 0, `path` or `name` is null, `name` has no extension
 * or one that cannot be protected, or a text is not attribute text
 * @retval VNRES_FAIL        the framework did not create the application, or did not start it; it then still
 * exists
 */
VN_API int VNRecMan2(int resolution, const char* in_video, const char* in_audio, int rec_sec,
                     const char* path, const char* name, const char* param);

/**
 * Takes a still picture with a still camera that exists only during the call. Returns when the file is
 * written.
 *
 * @param fname  in: path of the file; null means an empty path
 * @param width  pixels; passed on unchecked
 * @param height pixels; passed on unchecked
 *
 * @retval VNRES_SUCCEED      the picture is in the file
 * @retval VNRES_WRONG_DEVICE the camera takes no still pictures
 * @retval VNRES_FAIL         the still camera did not start, did not take the picture, or did not stop; in
 * the last case the picture is in the file
 */
VN_API int VNTakePic(const char* fname, int width, int height);

/**
 * Takes a still picture with a still camera of the caller, which is started if it does not play, and plays on
 * after the call. Returns when the file is written.
 *
 * @param id    handle of VNRES_PHOTOGRAPHY; not 0
 * @param fname in: path of the file; not null
 *
 * @retval VNRES_SUCCEED     the picture is in the file
 * @retval VNRES_INVALID_ARG `fname` is null, `id` is 0, or the object is not a still camera
 * @retval VNRES_FAIL        the object did not start, or did not take the picture
 */
VN_API int VNTakePic2(int id, const char* fname);

/**
 * Records a clip from 3 seconds before now to 7 seconds after, as a fragmented MP4 file. The first call in a
 * process blocks until a clip is closed, without a timeout; every later call starts the recording and ends it
 * at once. Log lines go to standard output.
 *
 * @param url in: URL of the file, "file://" included; null for file://EVT_YYYY-MM-DD_hh-mm-ss.mp4 in local
 * time
 *
 * @retval VNRES_SUCCEED recorded, and the recorder has ended
 * @retval VNRES_FAIL    the framework refused a step; what it had already started keeps running
 */
VN_API int VNRecordEventTrigger(const char* url);

/**
 * Requests a clip around now from the event service, without waiting for it. Log lines go to standard output.
 *
 * @param id   handle of VNRES_EVENT_SERVICE; not 0
 * @param url  in: as for VNRecordEventTrigger
 * @param pre  seconds before now; passed on unchecked
 * @param post seconds after now; passed on unchecked
 *
 * @retval VNRES_SUCCEED      passed on, whether it is accepted or not
 * @retval VNRES_INVALID_ARG  `id` is 0
 * @retval VNRES_WRONG_DEVICE the object takes no attributes
 */
VN_API int VNRecordEventServiceTrigger(int id, const char* url, int pre, int post);

#ifdef __cplusplus
}
#endif

#endif
