#ifndef KEP_HOST_TRACK_H
#define KEP_HOST_TRACK_H

#include <optional>
#include <string>

#include "media/common/ffmpeg.h"
#include "media/pipeline/media_packet.h"

namespace kep::host {

/**
 * One stream of a file. Holds back the newest packet until the next one determines its duration: in the file
 * a packet lasts exactly until the next one.
 */
class Track {
  public:
    explicit Track(MediaPtr media) : media_(std::move(media)) {}

    /** Packets passed to libavformat. */
    std::size_t handed() const { return handed_; }
    /** The time stamp of the packet held back. */
    std::optional<SteadyTime> waitingSince() const { return waiting_ ? std::optional(stamp_) : std::nullopt; }

    /** Adds the stream to `file`. Video takes its parameter sets from `first`, its first packet. */
    bool addTo(AVFormatContext& file, const MediaPacket* first, std::string& reason);

    /** Holds back `packet` and passes its predecessor to libavformat. Times in the file count from `zero`. */
    bool take(const MediaPacket& packet, SteadyTime zero, std::string& reason);
    /** Passes on the packet held back if it ended long before `time`, so that its successor is overdue. */
    bool flushBefore(SteadyTime time, std::string& reason);
    /** Passes on the packet held back, with its nominal duration. */
    bool flush(std::string& reason);

  private:
    SteadyTime place(const MediaPacket& packet) const;
    bool hand(std::int64_t duration, std::string& reason);
    std::int64_t ticks(std::chrono::nanoseconds span) const;

    const MediaPtr media_;
    AVFormatContext* file_ = nullptr;
    AVStream* stream_ = nullptr;
    bool bare_ = false; /**< the decoder configuration is in the file's header only */
    std::size_t handed_ = 0;
    std::optional<MediaPacket> waiting_;
    SteadyTime stamp_;        /**< of waiting_, after place() */
    std::int64_t pts_ = 0;    /**< the same in the stream's time base */
    std::int64_t lowest_ = 0; /**< lowest pts for the next packet */
    PacketPtr packet_{av_packet_alloc()};
};

}  // namespace kep::host

#endif
