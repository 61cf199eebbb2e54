/**
 * @file
 * The camera API: plain C functions over the camera's media framework.
 *
 * Handles. VNAcquire returns an integer handle for use with the other functions, and VNRelease ends it. 0 is
 * never a handle. A board does not check handles: using one that was released or never acquired is undefined
 * behaviour. On a workstation such a call fails as for an object of the wrong kind.
 *
 * Results. Every function returns one of VNRes_Code, none of which is positive; VNAacEncode and VNAacDecode
 * return a length instead of VNRES_SUCCEED. A call that fails writes one line to the framework's error
 * stream, unless its description says otherwise. In addition to the codes listed for it, any function returns
 * VNRES_FAIL when memory runs out. No C++ exception leaves a function.
 *
 * Threads. A function runs on its caller's thread and takes no lock. Different handles may be used from
 * different threads at the same time. The caller must serialise acquisition and release, and the calls on one
 * handle (on a workstation VNRead allows more). VNReadPcm, VNRecMan2 and the stamp functions without a handle
 * have further rules, given in their descriptions. Callbacks run on threads of the framework.
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
