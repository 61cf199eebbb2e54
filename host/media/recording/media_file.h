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
    bool flush = false;        /**< sync after every fragment, not only before the final rename */
    std::string openExtension; /**< added to the name while the file is open; empty for none */
};

/**
 * One recording on the disk, from its first key frame to its final name. libavformat muxes, the file layer
 * writes. Used by one thread, which blocks while the disk writes.
 *
 * open() fixes the streams. Audio and video are aligned by the packets' time stamps. A fragment ends after
 * half a second, or at the key frame shortly before that. It becomes part of the file in one step: whenever
 * the process is killed or the power is cut, a fragmented file plays up to its last complete fragment.
 */
class KEP_API MediaFile {
  public:
    /**
     * Creates the file under its open name. `video` or `audio` may be null for a file without it. Null, with
     * `reason` filled, when the file cannot be created or both are null.
     */
    static std::unique_ptr<MediaFile> open(const std::string& path, const MediaFileSettings& settings,
                                           const MediaPtr& video, const MediaPtr& audio, std::string& reason);

    ~MediaFile();

    /** Adds a packet, in decoding order. False, with `reason` filled, when it cannot be written: the file
     * then ends with what was complete before. */
    bool write(const MediaPacket& packet, std::string& reason);
    /** Ends the current fragment; without fragments, writes the buffered bytes. Each track's newest packet
     * stays for the next fragment, as its duration is not known yet. */
    bool flush(std::string& reason);
    /**
     * Completes the file and renames it to its final name. If the end could not be written, a file that plays
     * up to there is renamed as well, with `reason` filled. False, with `reason` filled: the file keeps its
     * open name, or is removed if nothing of it plays. Call it once, as the last function. A file destroyed
     * without it keeps its open name.
     */
    bool finish(std::string& reason);

    const std::string& path() const { return path_; } /**< the final name */
    /** The current path; after finish() empty if nothing of it plays. */
    const std::string& location() const { return location_; }
    /** Whether the part on the disk can be played. */
    bool isSafe() const { return safe_; }
    /** Whether the disk has accepted the first fragment or, in a plain MP4, the first piece. */
    bool isTaken() const { return container_ == Container::mp4 ? output_->written() > 0 : safe_; }
    /** After finish(): how many packets were passed to write() and are not in the file. */
    std::size_t lost(Media::Kind kind) const {
        const Stream& stream = kind == Media::Kind::video ? video_ : audio_;
        return stream.given - stream.kept;
    }
    std::uint64_t bytes() const { return output_->written(); } /**< written so far */

  private:
    using Container = MediaFileSettings::Container;
    struct Stream {
        std::optional<Track> track;
        std::size_t given = 0; /**< packets passed to write() */
        std::size_t kept = 0;  /**< packets in the complete part of the file */
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
    bool named_ = false;         /**< the open name has been synced */
    bool safe_ = false;          /**< the written part can be played */
    bool gone_ = false;          /**< somebody else has removed the file */
    bool unsynced_ = false;      /**< a sync failed: unknown how much is on the disk */
    std::uint64_t complete_ = 0; /**< bytes up to the end of the last written fragment */
    std::string reason_;         /**< of the first failure; empty without one */
};

}  // namespace kep::host

#endif
