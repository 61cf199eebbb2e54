#ifndef KEP_HOST_MUXER_H
#define KEP_HOST_MUXER_H

#include <functional>
#include <memory>
#include <string>

#include "kep/visibility.h"
#include "media/pipeline/element.h"

namespace kep::host {

/**
 * A clip that is being written beside others through one muxer. Used by one thread. Opening and closing are
 * told as the muxer's own messages, with the clip's URL; after `recordStart` comes either `recordStop` or the
 * call that tells of its failure.
 */
class KEP_API Clip {
  public:
    /** Ends the clip as finish() does. */
    virtual ~Clip() = default;
    /** The file is made at the first key frame; what comes before it is left out. False once it has failed.
     */
    virtual bool write(const SharedPacket& packet) = 0;
    /** Completes the file, gives it its name and sends `recordStop`. False when it has failed. */
    virtual bool finish() = 0;
};

/** What an element that makes clips asks of the muxer that follows it in its pipeline. */
class KEP_API ClipWriter {
  public:
    using OnFailed = std::function<void(const FileFailure&)>;

    virtual ~ClipWriter() = default;
    /**
     * Begins a clip under `url`, or under the muxer's own when it is empty. Null for a URL that does not name
     * a file. A clip that fails, then or later, writes an error line and calls `failed`, once and on the
     * thread that uses the clip.
     */
    virtual std::unique_ptr<Clip> beginClip(const std::string& url, OnFailed failed) = 0;
};

}  // namespace kep::host

#endif
