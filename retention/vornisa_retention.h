/**
 * @file
 * Makes room for recordings: deletes the oldest ones in a folder. A separate library, libvornisaretention,
 * which needs neither the camera API nor its framework.
 */
#ifndef VORNISA_RETENTION_H
#define VORNISA_RETENTION_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define VN_RETENTION_API __attribute__((visibility("default")))
#else
#define VN_RETENTION_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Which recordings may be deleted, and the limits to enforce. A limit of 0 means no limit.
 *
 * A recording is a regular file in the folder whose name matches one of `names`: with the strftime fields
 * filled in and, if that name was taken, a running number, as in a-1.mp4. All other files are kept: other
 * names, files in subfolders, symbolic links, unfinished files (NAME.part), and files that a process has open
 * for writing.
 */
typedef struct VNRetention {
    const char* folder;       /**< of the recordings */
    const char* const* names; /**< file names as passed to VNRecMan or VNRecMan2 */
    size_t name_count;        /**< length of `names`; at least 1 */
    int64_t keep_bytes;       /**< maximum size of all recordings together */
    int64_t keep_seconds;     /**< maximum age of a recording, by its modification time */
    int64_t free_bytes;       /**< minimum free space for users other than root */
} VNRetention;

/** Results of VNRetain. */
enum {
    VN_RETAIN_KEPT = 0,     /**< all limits are met */
    VN_RETAIN_EXCEEDED = 1, /**< a limit is exceeded, and nothing more can be deleted */
    VN_RETAIN_FAILED = -1   /**< nothing was done; errno tells why */
};

/**
 * Reports a file that VNRetain has deleted or failed to delete. Called on the thread that calls VNRetain.
 *
 * @param path    in: of the file; valid during the call
 * @param bytes   size of the file
 * @param error   0 if it was deleted, else the errno value of the failure
 * @param context as given to VNRetain
 */
typedef void (*VNRetainCallback)(const char* path, int64_t bytes, int error, void* context);

/**
 * Deletes recordings, those finished first, until the limits are met. Reports a file that cannot be deleted
 * and tries the next one. Call it after each recordStop message and, while long files are recorded, every few
 * seconds. Several threads or processes may call it for the same folder.
 *
 * @param limits   in: not null
 * @param callback in: called for each file; may be null
 * @param context  in: passed on to `callback`
 *
 * @retval VN_RETAIN_KEPT     all limits are met
 * @retval VN_RETAIN_EXCEEDED a limit is exceeded, and no remaining file may or can be deleted
 * @retval VN_RETAIN_FAILED   errno is EINVAL when something in `limits` is null or negative, or a name has a
 * "/" or a field that strptime cannot read back, such as %D or %Z; otherwise the reason why the folder cannot
 * be read
 */
VN_RETENTION_API int VNRetain(const VNRetention* limits, VNRetainCallback callback, void* context);

#ifdef __cplusplus
}
#endif

#endif
