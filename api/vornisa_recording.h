/**
 * @file
 * Recordings, still pictures and clips around an event. Include vornisa_api.h.
 *
 * Texts may have any length. Those of recordings and clips go unchanged into a description of attributes, in
 * which a name or path must not contain one of ",+{}".
 */
#ifndef VORNISA_RECORDING_H
#define VORNISA_RECORDING_H

#include "vornisa_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Starts to record the microphone and the camera into fragmented MP4 files of one length each. The recording
 * goes on after the call, as an application of the framework's with the name appVornisaRecMan; a handle of
 * VNRES_REC_MAN reaches it, and ends it as VNRecMan2 says. Lines go to standard output.
 *
 * @param resolution pixels of a picture: 2073600 (1920 by 1080), 921600 (1280 by 720) or 230400 (640 by 360);
 * not 0. Any other number asks the framework for a picture of 0 by 0
 * @param in_video   in: attribute text with all of "codec" ("h264"), "framerate" (frames per second),
 * "bitrate" (bits per second), "goptype" ("ippp") and "gop" (frames from one key frame to the next). Passed
 * on unchecked, null included
 * @param in_audio   in: attribute text with "codec", "channels" and "bitrate", which are logged only: the
 * sound is that of the camera's AAC pipeline. Passed on unchecked, null included
 * @param rec_sec    length of a file in seconds; not 0
 * @param path       in: folder of the files, without a "/" at its end; not null
 * @param name       in: name of the files, with an extension, which does not choose the kind of file; not
 * null
 *
 * @retval VNRES_SUCCEED     it records
 * @retval VNRES_INVALID_ARG `resolution` or `rec_sec` is 0, `path` or `name` is null, `name` has no
 * extension, or a text is no attribute text
 * @retval VNRES_FAIL        the framework did not create the application, or did not start it, in which case
 * it still exists
 */
VN_API int VNRecMan(int resolution, const char* in_video, const char* in_audio, int rec_sec, const char* path,
                    const char* name);

/**
 * Starts to record the microphone and the camera into files of one length each, like VNRecMan, with a default
 * for each setting, a choice of the kind of file, and protection of the files against a loss of power. Calls
 * with another `resolution` than the three are for the caller to serialise.
 *
 * A recording is ended by VNAcquire(VNRES_REC_MAN), VNStop and VNRelease: VNStop finishes the file that is
 * open and returns when it has its name. What a further call does while a recording runs is the framework's
 * rule; on a workstation both record, and a handle reaches the newest recording that there was when it was
 * acquired, so acquire one after each call. (One that was acquired before any recording reaches the next.) At
 * the end of the process by exit() or a return from main, a workstation finishes what still records; a
 * process that is killed leaves the open file under its temporary name.
 *
 * @param resolution as for VNRecMan
 * @param in_video   in: attribute text with any of "codec" (default "h264"), "framerate" (30; the camera's 30
 * frames per second are thinned to it), "bitrate" (2000000), "goptype" ("ippp"), "gop" (15) and "clock"
 * (400000, of the encoder). Passed on unchecked, null included
 * @param in_audio   in: attribute text with any of "codec" (default "aac"), "channels" (2) and "bitrate"
 * (128000), which are logged only. Passed on unchecked, null included
 * @param rec_sec    length of a file in seconds; not 0
 * @param path       in: folder of the files, without a "/" at its end; not null
 * @param name       in: name of the files, with an extension, which chooses the kind of file; not null
 * @param param      in: attribute text with any of "PowerFailProtection" (default false: what is written is
 * not flushed; true: it is, into fragmented files, for which the extension must be mp4), "dbg" (default
 * false: tracing of the muxer) and "mp4" ("fragment" makes files with the extension mp4 fragmented ones,
 * any other text does not); null for the defaults. A workstation reports unknown keys of the three texts, and
 * values that are not numbers, in an error line each
 *
 * @retval VNRES_SUCCEED     it records
 * @retval VNRES_INVALID_ARG `resolution` or `rec_sec` is 0, `path` or `name` is null, `name` has no extension
 * or one that cannot be protected, or a text is no attribute text
 * @retval VNRES_FAIL        the framework did not create the application, or did not start it, in which case
 * it still exists
 */
VN_API int VNRecMan2(int resolution, const char* in_video, const char* in_audio, int rec_sec,
                     const char* path, const char* name, const char* param);

/**
 * Takes a still picture with a picture taker of its own, which lives as long as the call. Returns when the
 * file is written.
 *
 * @param fname  in: path of the file; null is an empty one
 * @param width  pixels; passed on unchecked
 * @param height pixels; passed on unchecked
 *
 * @retval VNRES_SUCCEED      the picture is in the file
 * @retval VNRES_WRONG_DEVICE the camera takes no still pictures
 * @retval VNRES_FAIL         the picture taker did not start, did not take the picture, or did not stop, in
 * which case the picture is in the file
 */
VN_API int VNTakePic(const char* fname, int width, int height);

/**
 * Takes a still picture with a picture taker of the caller's, which is started if it does not play, and plays
 * on after the call. Returns when the file is written.
 *
 * @param id    handle of VNRES_PHOTOGRAPHY; not 0
 * @param fname in: path of the file; not null
 *
 * @retval VNRES_SUCCEED     the picture is in the file
 * @retval VNRES_INVALID_ARG `fname` is null, `id` is 0, or the object is no picture taker
 * @retval VNRES_FAIL        the object did not start, or did not take the picture
 */
VN_API int VNTakePic2(int id, const char* fname);

/**
 * Records a clip from 3 seconds before now to 7 seconds after, as a fragmented MP4 file. The first call of a
 * process blocks until a clip is closed, without a limit; every later one starts the recording and ends it at
 * once. Lines go to standard output.
 *
 * @param url in: URL of the file, "file://" included; null for file://EVT_YYYY-MM-DD_hh-mm-ss.mp4 of the
 * local time
 *
 * @retval VNRES_SUCCEED recorded, and the recorder ended
 * @retval VNRES_FAIL    the framework refused a step; what it had started by then goes on
 */
VN_API int VNRecordEventTrigger(const char* url);

/**
 * Has the event service record a clip around now, and does not wait for it. Lines go to standard output.
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
