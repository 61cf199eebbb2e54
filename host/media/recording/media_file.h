#ifndef KEP_HOST_MEDIA_FILE_H
#define KEP_HOST_MEDIA_FILE_H

#include <array>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "media/pipeline/media_packet.h"
#include "media/recording/file_output.h"
#include "media/recording/track.h"

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

    ~MediaFile();

    /** Adds a packet, in the order of decoding. False, with `reason` filled, when it cannot be written: the
     * file ends with what was complete before. */
    bool write(const MediaPacket& packet, std::string& reason);
    /** Ends the fragment that is being gathered, or hands what is gathered to the disk. The packet that came
     * last is left for the next one, as nobody knows yet how long it lasts. */
    bool flush(std::string& reason);
    /**
     * Completes the file and gives it its final name. When the end of it could not be written it is named all
     * the same, with `reason` filled, if it plays as far as it goes. False, with `reason` filled, leaves it
     * under its open name, or removes it when nothing of it plays. To be called once, and last. A file that
     * is destroyed without it keeps its open name.
     */
    bool finish(std::string& reason);

    const std::string& path() const { return path_; } /**< the final name */
    /** Where it lies; once finished, empty if nothing of it plays. */
    const std::string& location() const { return location_; }
    /** Something of it plays as it lies on the disk. */
    bool isSafe() const { return safe_; }
    /** The disk has taken something that stays: the first fragment or, where the index comes last, the first
     * piece. */
    bool isTaken() const { return container_ == Container::mp4 ? output_->written() > 0 : safe_; }
    /** Once finished: how many of the packets that it was given it does not hold. */
    std::size_t lost(Media::Kind kind) const {
        const Stream& stream = kind == Media::Kind::video ? video_ : audio_;
        return stream.given - stream.kept;
    }
    std::uint64_t bytes() const { return output_->written(); } /**< written so far */

  private:
    using Container = MediaFileSettings::Container;
    struct Stream {
        std::optional<Track> track;
        std::size_t given = 0; /**< packets */
        std::size_t kept = 0;  /**< of these, in what is complete */
    };

    MediaFile(const std::string& path, const MediaFileSettings& settings, std::string openPath,
              std::unique_ptr<FileOutput> output, const MediaPtr& video, const MediaPtr& audio);
    bool begin(const MediaPacket& first, std::string& reason);
    bool writeHeader(std::string& reason);
    bool add(const MediaPacket& packet, bool key, std::string& reason);
    bool endFragment(bool isLast, std::string& reason);
    bool complete(std::string& reason);
    bool noteOnDisk(bool written);
    bool noted(bool done, std::string& reason);
    bool isFragmented() const { return container_ == Container::fragmentedMp4; }
    Stream& streamOf(const MediaPacket& packet) { return packet.isVideo() ? video_ : audio_; }
    std::array<Stream*, 2> streams() { return {&video_, &audio_}; }

    const std::string path_;
    const std::string openPath_;
    std::string location_ = openPath_;
    const Container container_;
    const bool flush_;
    std::unique_ptr<FileOutput> output_;
    OutputPtr context_;
    Stream video_;
    Stream audio_;
    std::deque<MediaPacket> early_;
    SteadyTime zero_;
    SteadyTime fragment_;        /**< when the fragment begins */
    bool named_ = false;         /**< the open name is on the disk */
    bool safe_ = false;          /**< what has been written can be played */
    bool gone_ = false;          /**< the file has been removed by others */
    bool unsynced_ = false;      /**< a failed sync left unknown what of it is on the disk */
    std::uint64_t complete_ = 0; /**< bytes up to the end of the last fragment that was written */
    std::string reason_;         /**< what has failed */
};

}  // namespace kep::host

#endif
