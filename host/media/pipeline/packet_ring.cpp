#include "media/pipeline/packet_ring.h"

#include <algorithm>

namespace kep::host {

namespace {
bool isKeyFrame(const PacketRing::Entry& entry) {
    return entry.packet->isVideo() && entry.packet->key;
}
}  // namespace

std::vector<SharedPacket> PacketRing::push(const SharedPacket& packet) {
    std::vector<SharedPacket> dropped;
    entries_.push_back({packet, groups_.begins(*packet)});
    ++end_;
    bytes_ += packet->weight();
    while (!entries_.empty()) {
        const auto second = std::find_if(entries_.begin() + 1, entries_.end(),
                                         [](const Entry& entry) { return entry.begins; });
        // Drop a group once the next one reaches back far enough.
        const bool tooLong = second != entries_.end() && packet->stamp - second->packet->stamp >= length_;
        if (!tooLong && bytes_ <= mostBytes_ && entries_.front().begins) break;
        dropGroup(dropped);
    }
    return dropped;
}

void PacketRing::dropGroup(std::vector<SharedPacket>& dropped) {
    do {
        bytes_ -= entries_.front().packet->weight();
        dropped.push_back(std::move(entries_.front().packet));
        entries_.pop_front();
    } while (!entries_.empty() && !entries_.front().begins);
}

void PacketRing::clear() {
    entries_.clear();
    bytes_ = 0;
    groups_ = {};
}

std::optional<std::uint64_t> PacketRing::keyAtOrBefore(SteadyTime time) const {
    for (std::uint64_t number = end_; number > first(); --number) {
        const Entry& entry = at(number - 1);
        if (isKeyFrame(entry) && entry.packet->stamp <= time) return number - 1;
    }
    return std::nullopt;
}

std::optional<std::uint64_t> PacketRing::keyAfter(SteadyTime time) const {
    const auto found = std::find_if(entries_.begin(), entries_.end(), [=](const Entry& entry) {
        return isKeyFrame(entry) && entry.packet->stamp > time;
    });
    if (found == entries_.end()) return std::nullopt;
    return first() + static_cast<std::uint64_t>(found - entries_.begin());
}

std::optional<SteadyTime> PacketRing::pictureAtOrBefore(SteadyTime time) const {
    const auto found = std::find_if(entries_.rbegin(), entries_.rend(), [=](const Entry& entry) {
        return entry.packet->isVideo() && entry.packet->stamp <= time;
    });
    if (found == entries_.rend()) return std::nullopt;
    return found->packet->stamp;
}

bool PacketRing::hasReached(SteadyTime time) const {
    const auto newest = std::find_if(entries_.rbegin(), entries_.rend(),
                                     [](const Entry& entry) { return entry.packet->isVideo(); });
    return newest != entries_.rend() && newest->packet->stamp >= time;
}

}  // namespace kep::host
