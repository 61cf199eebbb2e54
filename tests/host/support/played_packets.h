#ifndef VORNISA_PLAYED_PACKETS_H
#define VORNISA_PLAYED_PACKETS_H

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

/** A packet as a player gets it: of which stream, when, and what is in it. */
struct PlayedPacket {
    bool video;
    std::int64_t time;
    std::vector<std::uint8_t> bytes;

    auto operator<=>(const PlayedPacket&) const = default;
};

struct PlacedPacket {
    PlayedPacket packet;
    std::size_t begin; /**< in the file */
};

/** The pictures of a file that is in memory, and behind them its sound; none of an empty one. */
std::vector<PlacedPacket> placedPackets(const std::vector<std::uint8_t>& content);

/** The same without their places. */
std::set<PlayedPacket> playedPackets(const std::vector<std::uint8_t>& content);

#endif
