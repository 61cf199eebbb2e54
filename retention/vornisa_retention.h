/**
 * @file
 * Makes room for recordings: deletes the oldest ones in a folder. A library of its own, libvornisaretention,
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
 * Which recordings may be deleted, and the limits that they are to keep. A limit of 0 is none.
 *
 * A recording is a regular file in the folder whose name a recording of one of `names` gives its files: the
 * name with its fields of strftime filled in, and with a running number, as in a-1.mp4, when it was taken.
 * All other files stay: those of other names, in folders below, behind links, unfinished ones (NAME.part),
 * and files that a process has open for writing.
 */
typedef struct VNRetention {
    const char* folder;       /**< of the recordings */
    const char* const* names; /**< as they were given to VNRecMan or VNRecMan2 */
    size_t name_count;        /**< how many there are; at least 1 */
    int64_t keep_bytes;       /**< how large all recordings may be together */
    int64_t keep_seconds;     /**< how long ago a recording may have been finished, by the file's time */
    int64_t free_bytes;       /**< how much of the file system is to be free for users that are not root */
} VNRetention;

/** Results of VNRetain. */
enum {
    VN_RETAIN_KEPT = 0,     /**< the limits are kept */
    VN_RETAIN_EXCEEDED = 1, /**< a limit is not kept, and nothing more can be deleted */
    VN_RETAIN_FAILED = -1   /**< nothing was done; errno tells why */
};

/**
 * Tells of a file that VNRetain has deleted, or failed to. Called on the thread that calls VNRetain.
 *
 * @param path    in: of the file; valid during the call
 * @param bytes   size of the file
 * @param error   0, or the error number for which it is still there
 * @param context as given to VNRetain
 */
typedef void (*VNRetainCallback)(const char* path, int64_t bytes, int error, void* context);

/**
 * Deletes the recordings that were finished first until the limits are kept. A file that cannot be deleted is
 * reported, and the next one is tried. Call it when a file has been finished, which recordStop tells, and,
 * while files are long, every few seconds. Calls for one folder from several threads or processes do no harm.
 *
 * @param limits   in: not null
 * @param callback in: told of each file; may be null
 * @param context  in: passed on to `callback`
 *
 * @retval VN_RETAIN_KEPT     the limits are kept
 * @retval VN_RETAIN_EXCEEDED a limit is not kept by what is left, of which nothing may or can be deleted
 * @retval VN_RETAIN_FAILED   errno is EINVAL when something in `limits` is null or negative, or a name has a
 * "/" or a field that cannot be read back, such as %D or %Z; otherwise why the folder cannot be read
 */
VN_RETENTION_API int VNRetain(const VNRetention* limits, VNRetainCallback callback, void* context);

#ifdef __cplusplus
}
#endif

#endif
