/**
 * @file
 * The camera API: plain C functions over the camera's media framework.
 *
 * Handles. VNAcquire gives out an integer handle, VNRelease ends it, and the functions in between take it. 0
 * is never a handle. On a board a handle is not checked: to use one that was released or made up is an error
 * that nothing detects. On a workstation it finds nothing, and the call answers as for an object of the wrong
 * kind.
 *
 * Results. Every function returns one of VNRes_Code, none of which is positive; VNAacEncode and VNAacDecode
 * return a length in the place of VNRES_SUCCEED. A call that fails writes one line to the framework's error
 * stream, unless its description says otherwise. Beside the codes listed with it, any function returns
 * VNRES_FAIL when memory runs out. No C++ exception leaves a function.
 *
 * Threads. A function runs on its caller's thread and takes no lock. Different handles may be used from
 * different threads at the same time; acquisition and release are for the caller to serialise, as are calls
 * on one handle, but for VNRead on a workstation: see there. VNReadPcm, VNRecMan2 and the stamp functions
 * without a handle demand more: see there, too.
 * Callbacks run on threads of the framework.
 */
#ifndef VORNISA_API_H
#define VORNISA_API_H

#include "vornisa_audio.h"
#include "vornisa_media_file.h"
#include "vornisa_picture.h"
#include "vornisa_recording.h"
#include "vornisa_sound_device.h"
#include "vornisa_stream.h"
#include "vornisa_types.h"

#endif
