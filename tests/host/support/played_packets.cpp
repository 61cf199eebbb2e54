#include "played_packets.h"

#include "recorded_file.h"

std::vector<PlacedPacket> placedPackets(const std::vector<std::uint8_t>& content) {
    const RecordedFile file(content);
    std::vector<PlacedPacket> packets;
    for (const bool video : {true, false}) {
        for (const auto& packet : (video ? file.video() : file.audio()).packets) {
            packets.push_back({{video, packet->pts, {packet->data, packet->data + packet->size}},
                               static_cast<std::size_t>(packet->pos)});
        }
    }
    return packets;
}

std::set<PlayedPacket> playedPackets(const std::vector<std::uint8_t>& content) {
    std::set<PlayedPacket> played;
    for (PlacedPacket& packet : placedPackets(content)) played.insert(std::move(packet.packet));
    return played;
}
