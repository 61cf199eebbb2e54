#ifndef KEP_HOST_TRACK_H
#define KEP_HOST_TRACK_H

#include <optional>
#include <string>

#include "media/common/ffmpeg.h"
#include "media/pipeline/media_packet.h"

namespace kep::host {

/**
 * One stream of a file. Its newest packet waits for the next one, which determines its duration: a packet in
 * the file lasts exactly until the next one.
 */
class Track {
  public:
    explicit Track(MediaPtr media) : media_(std::move(media)) {}

    /** How many packets the muxer has been handed. */
    std::size_t handed() const { return handed_; }
    /** The time of the packet that waits for the next one. */
    std::optional<SteadyTime> waitingSince() const { return waiting_ ? std::optional(stamp_) : std::nullopt; }

    /** Adds the stream to `file`. Video takes its parameter sets from `first`, its first packet. */
    bool addTo(AVFormatContext& file, const MediaPacket* first, std::string& reason);

    /** Takes a packet whose time is counted from `zero`, and hands the one before it to the muxer. */
    bool take(const MediaPacket& packet, SteadyTime zero, std::string& reason);
    /** Hands the waiting packet to the muxer if it ends long before `time`, and none follows it in time. */
    bool flushBefore(SteadyTime time, std::string& reason);
    /** Hands the waiting packet to the muxer, as long as such packets usually are. */
    bool flush(std::string& reason);

  private:
    SteadyTime place(const MediaPacket& packet) const;
    bool hand(std::int64_t duration, std::string& reason);
    std::int64_t ticks(std::chrono::nanoseconds span) const;

    const MediaPtr media_;
    AVFormatContext* file_ = nullptr;
    AVStream* stream_ = nullptr;
    bool bare_ = false; /**< what a decoder must know is in the file's own header, and nowhere else */
    std::size_t handed_ = 0;
    std::optional<MediaPacket> waiting_;
    SteadyTime stamp_;        /**< of the waiting packet, where it has been placed */
    std::int64_t pts_ = 0;    /**< the same in the stream's time base */
    std::int64_t lowest_ = 0; /**< that the next packet may have */
    PacketPtr packet_{av_packet_alloc()};
};

}  // namespace kep::host

#endif
