#ifndef KEP_HOST_PACKET_RING_H
#define KEP_HOST_PACKET_RING_H

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "media/pipeline/media_packet.h"

namespace kep::host {

/**
 * The newest packets of a stream, bounded in time and in bytes; drops whole groups. Packets are numbered
 * consecutively, so that a reader can continue where it stopped. Used by one thread at a time.
 */
class KEP_API PacketRing {
  public:
    struct Entry {
        SharedPacket packet;
        bool begins; /**< a group begins here */
    };

    /** Keeps at least `length`, and less than a group more; but never more than `bytes`. */
    PacketRing(std::chrono::nanoseconds length, std::size_t bytes) : length_(length), mostBytes_(bytes) {}

    std::chrono::nanoseconds length() const { return length_; }
    void setLength(std::chrono::nanoseconds length) { length_ = length; }

    /** Adds a packet. Returns those dropped to make room, oldest first; the last of them precedes first(). */
    std::vector<SharedPacket> push(const SharedPacket& packet);
    /** Drops all packets; numbering continues. */
    void clear();

    /** Number of the oldest packet; end() when empty. */
    std::uint64_t first() const { return end_ - entries_.size(); }
    /** Number of the next packet to be added. */
    std::uint64_t end() const { return end_; }
    bool isEmpty() const { return entries_.empty(); }
    const Entry& at(std::uint64_t number) const { return entries_[number - first()]; }

    /** The newest key frame that is not later than `time`. */
    std::optional<std::uint64_t> keyAtOrBefore(SteadyTime time) const;
    /** The oldest key frame that is later than `time`. */
    std::optional<std::uint64_t> keyAfter(SteadyTime time) const;
    /** Stamp of the newest picture that is not later than `time`. */
    std::optional<SteadyTime> pictureAtOrBefore(SteadyTime time) const;
    /** Whether there is a picture of `time` or later. */
    bool hasReached(SteadyTime time) const;

  private:
    void dropGroup(std::vector<SharedPacket>& dropped);

    std::chrono::nanoseconds length_;
    const std::size_t mostBytes_;
    std::deque<Entry> entries_;
    std::uint64_t end_ = 0;
    std::size_t bytes_ = 0;
    GroupSense groups_;
};

}  // namespace kep::host

#endif
