#ifndef KEP_HOST_MUXER_H
#define KEP_HOST_MUXER_H

#include <memory>
#include <string>

#include "kep/visibility.h"
#include "media/pipeline/media_packet.h"

namespace kep::host {

/**
 * A clip that is being written beside others through one muxer. Used by one thread. Opening, closing and
 * failing are told as the muxer's own messages, with the clip's URL.
 */
class KEP_API Clip {
  public:
    /** Ends the clip as finish() does. */
    virtual ~Clip() = default;
    /** The file is made at the first key frame; what comes before it is left out. False once it has failed.
     */
    virtual bool write(const SharedPacket& packet) = 0;
    /** Completes the file, gives it its name and sends `recordStop`. False when there is no file of it, of
     * which only `failed` has told. */
    virtual bool finish() = 0;
};

/** What an element that makes clips asks of the muxer that follows it in its pipeline. */
class KEP_API ClipWriter {
  public:
    virtual ~ClipWriter() = default;
    /**
     * Begins a clip under `url`, or under the muxer's own when it is empty. Null for a URL that is none of a
     * file, of which an error line and `failed` have told.
     */
    virtual std::unique_ptr<Clip> beginClip(const std::string& url) = 0;
};

}  // namespace kep::host

#endif
