#ifndef KEP_HOST_MEDIA_FILE_H
#define KEP_HOST_MEDIA_FILE_H

#include <memory>
#include <string>

#include "media/pipeline/media_packet.h"
#include "recordings/file_layer.h"

namespace kep::host {

/** How a file is written. */
struct MediaFileSettings {
    enum class Container { mp4, fragmentedMp4, mpegTs };

    Container container = Container::fragmentedMp4;
    bool flush =
        false; /**< sync every fragment to the disk, and not only the whole file before it is renamed */
    std::string openExtension; /**< added to the name while the file is open; empty for none */
};

/**
 * One recording on the disk, from its first key frame to its final name. libavformat muxes, the file layer
 * writes. It is used by one thread, which waits for the disk.
 *
 * The streams are those whose media are given at the opening; sound and picture keep their distance by the
 * packets' stamps. A fragment ends after half a second, or with the group of pictures that ends just before.
 * It becomes part of the file in one step: killed or cut from its power at any moment,
 * a file of fragments plays as far as it was complete.
 */
class KEP_API MediaFile {
  public:
    /**
     * Makes the file under its open name. `video` or `audio` may be null for a file without it. Null, with
     * `reason` filled, when the folder, the name or a stream is refused.
     */
    static std::unique_ptr<MediaFile> open(const std::string& path, const MediaFileSettings& settings,
                                           const MediaPtr& video, const MediaPtr& audio, std::string& reason);

    /** Closes the file under its open name when finish() has not been called. */
    virtual ~MediaFile() = default;

    /** Adds a packet, in the order of decoding. False, with `reason` filled, when it cannot be written: the
     * file ends with what was complete before. */
    virtual bool write(const MediaPacket& packet, std::string& reason) = 0;
    /** Ends the fragment that is being gathered, or hands what is gathered to the disk. The packet that came
     * last is left for the next one, as nobody knows yet how long it lasts. */
    virtual bool flush(std::string& reason) = 0;
    /**
     * Completes the file and gives it its final name. When the end of it could not be written it is named all
     * the same, with `reason` filled, if it plays as far as it goes. False, with `reason` filled, leaves it
     * under its open name, or removes it when nothing of it plays. To be called once, and last.
     */
    virtual bool finish(std::string& reason) = 0;

    virtual const std::string& path() const = 0; /**< the final name */
    virtual const std::string& location()
        const = 0;                   /**< where it lies; once finished, empty if nothing of it plays */
    virtual bool isSafe() const = 0; /**< something of it plays as it lies on the disk */
    /** The disk has taken something that stays: the first fragment or, where the index comes last, the first
     * piece. */
    virtual bool isTaken() const = 0;
    /** Once finished: how many of the packets that it was given it does not hold. */
    virtual std::size_t lost(Media::Kind kind) const = 0;
    virtual std::uint64_t bytes() const = 0; /**< written so far */
};

}  // namespace kep::host

#endif
