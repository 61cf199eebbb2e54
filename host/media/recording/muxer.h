#ifndef KEP_HOST_MUXER_H
#define KEP_HOST_MUXER_H

#include <functional>
#include <memory>
#include <string>

#include "kep/visibility.h"
#include "media/pipeline/element.h"

namespace kep::host {

/**
 * A clip being written. One muxer writes several at the same time; each is used by one thread. The muxer
 * sends `recordStart` and `recordStop` with the clip's URL; each `recordStart` is followed by either
 * `recordStop` or the OnFailed call.
 */
class KEP_API Clip {
  public:
    /** Ends the clip as finish() does. */
    virtual ~Clip() = default;
    /** Creates the file at the first key frame and drops earlier packets. False once the clip has failed. */
    virtual bool write(const SharedPacket& packet) = 0;
    /** Completes the file, renames it to its final name and sends `recordStop`. False on failure. */
    virtual bool finish() = 0;
};

/** Makes clips for an element before it in the pipeline. Implemented by the muxer. */
class KEP_API ClipWriter {
  public:
    using OnFailed = std::function<void(const FileFailure&)>;

    virtual ~ClipWriter() = default;
    /**
     * Begins a clip under `url`, or under the muxer's own URL if it is empty. Null for a URL that does not
     * name a file. A clip that fails, at once or later, writes an error line and calls `failed` once, on the
     * thread that uses the clip.
     */
    virtual std::unique_ptr<Clip> beginClip(const std::string& url, OnFailed failed) = 0;
};

}  // namespace kep::host

#endif
