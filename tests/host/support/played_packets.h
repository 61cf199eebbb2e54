#ifndef VORNISA_PLAYED_PACKETS_H
#define VORNISA_PLAYED_PACKETS_H

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

/** A packet as a player sees it. */
struct PlayedPacket {
    bool video;
    std::int64_t time;
    std::vector<std::uint8_t> bytes;

    auto operator<=>(const PlayedPacket&) const = default;
};

struct PlacedPacket {
    PlayedPacket packet;
    std::size_t begin; /**< offset in the file */
};

/** All packets of a file in memory, first video, then audio; empty for an empty file. */
std::vector<PlacedPacket> placedPackets(const std::vector<std::uint8_t>& content);

/** The same without offsets. */
std::set<PlayedPacket> playedPackets(const std::vector<std::uint8_t>& content);

#endif
