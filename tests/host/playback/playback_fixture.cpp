#include "playback_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "wait_until.h"

namespace {

/** The instance that gets the messages: their callback has no user pointer. */
std::atomic<Playback*> current{nullptr};

}  // namespace

Playback::Playback() {
    EXPECT_EQ(VNAcquire(VNRES_DEMUX, &id_), VNRES_SUCCEED);
    current = this;
    EXPECT_EQ(VNRegisterMessageCallback(id_, takeMessage), VNRES_SUCCEED);
}

Playback::~Playback() {
    release();
    // A callback that has released the handle itself may still be running.
    EXPECT_TRUE(waitUntil([this] { return inside_ == 0; }));
    current = nullptr;
}

void Playback::release() {
    if (released_) return;
    EXPECT_EQ(VNRelease(id_), VNRES_SUCCEED);
    released_ = true;
}

int Playback::open(const std::string& path, std::int64_t seek) {
    VNDemuxRes record = {path.c_str(), seek, take, takeTrack, -1, this};
    const int result = VNDemuxSet(id_, &record);
    duration_ = record.duration;
    return result;
}

void Playback::start() {
    EXPECT_EQ(VNStart(id_), VNRES_SUCCEED);
}

bool Playback::waitForEnd() {
    ++awaited_;
    return waitUntil([this] { return ends() >= awaited_; });
}

int Playback::ends() {
    const std::lock_guard lock(mutex_);
    return ends_;
}

bool Playback::playAll(const std::string& path, std::int64_t seek) {
    if (open(path, seek) != VNRES_SUCCEED) return false;
    start();
    return waitForEnd();
}

std::vector<PlayedPacket> Playback::packets() {
    const std::lock_guard lock(mutex_);
    return packets_;
}

std::vector<PlayedPacket> Playback::packets(bool video) {
    std::vector<PlayedPacket> found;
    for (PlayedPacket& packet : packets())
        if (packet.video == video) found.push_back(std::move(packet));
    return found;
}

std::string Playback::stream(bool video) {
    std::string all;
    for (const PlayedPacket& packet : packets(video)) all += packet.data;
    return all;
}

std::vector<std::string> Playback::tracks() {
    const std::lock_guard lock(mutex_);
    return tracks_;
}

std::size_t Playback::threads() {
    const std::lock_guard lock(mutex_);
    return threads_.size();
}

void Playback::clear() {
    const std::lock_guard lock(mutex_);
    packets_.clear();
}

void Playback::take(const VNDemuxPacket* packet) {
    auto& self = *static_cast<Playback*>(packet->user);
    ++self.inside_;
    self.keep(*packet);
    --self.inside_;
}

void Playback::keep(const VNDemuxPacket& packet) {
    if (released_) ++calledLate_;
    if (onPacket) onPacket(packet);
    const std::string data(static_cast<const char*>(packet.data), static_cast<std::size_t>(packet.size));
    // A byte stream begins with the zeros of a start code, an ADTS header with ones.
    const bool video = !data.empty() && data[0] == 0;
    const std::lock_guard lock(mutex_);
    threads_.insert(std::this_thread::get_id());
    EXPECT_TRUE(std::ranges::find(media_, packet.media) != media_.end()) << "packet of an unannounced track";
    packets_.push_back({video, packet.iskey == 1, packet.pts_ms, data, packet.media});
}

void Playback::takeTrack(const VNDemuxTrack* track) {
    auto& self = *static_cast<Playback*>(track->user);
    if (self.released_) ++self.calledLate_;
    const std::lock_guard lock(self.mutex_);
    EXPECT_TRUE(std::ranges::find(self.media_, track->media) == self.media_.end()) << "track announced twice";
    self.media_.push_back(track->media);
    self.tracks_.emplace_back(track->desc);
}

void Playback::takeMessage(const char* message) {
    Playback* const self = current;
    if (!self || std::string(message).find("name=endOfFile") == std::string::npos) return;
    const std::lock_guard lock(self->mutex_);
    ++self->ends_;
}
