#include "media/recording/recording.h"

#include <algorithm>

namespace kep::host {
namespace {

/** How long the first packets wait for streams that have not begun. */
constexpr std::chrono::seconds kPatience(1);

bool isSame(const MediaPtr& one, const Media& other) {
    return one && one->codec == other.codec && one->width == other.width && one->height == other.height &&
           one->sampleRate == other.sampleRate && one->channels == other.channels;
}

}  // namespace

bool Recording::hasPlaceFor(const Media& media) const {
    if (!file_) return true;
    return isSame(media.kind == Media::Kind::video ? streams_.video : streams_.audio, media);
}

bool Recording::write(const SharedPacket& packet) {
    if (failed_ || finished_) return false;
    if (file_) return put(*packet);
    if (!keep(packet)) return true;
    return !isReady() || open();
}

bool Recording::keep(const SharedPacket& packet) {
    if (packet->isVideo()) {
        if (!key_ && !packet->key) return false;
        if (!key_) key_ = packet;
        streams_.video = packet->media;
    } else {
        streams_.audio = packet->media;
    }
    kept_.push_back(packet);
    // Without pictures so far: sound that nothing will be heard with.
    if (!key_ && streams_.video && packet->stamp - kept_.front()->stamp > kPatience) kept_.pop_front();
    return true;
}

bool Recording::isReady() const {
    if (kept_.empty() || (streams_.video && !key_)) return false;
    return (streams_.video && streams_.audio) || streams_.complete ||
           kept_.back()->stamp - kept_.front()->stamp >= kPatience;
}

bool Recording::open() {
    start_ = key_ ? key_->stamp : kept_.front()->stamp;
    // Sound that ends before the first picture is no part of it.
    std::erase_if(kept_, [this](const SharedPacket& packet) {
        return !packet->isVideo() && packet->stamp + packet->duration <= start_;
    });
    std::stable_sort(kept_.begin(), kept_.end(), [](const SharedPacket& one, const SharedPacket& other) {
        return one->stamp < other->stamp;
    });
    start_ = kept_.front()->stamp;
    std::string path;
    std::string reason;
    do {
        path = names_.next(start_);
        file_ = MediaFile::open(path, settings_, streams_.video, streams_.audio, reason);
        // Another one may have taken the name meanwhile.
    } while (!file_ && names_.isTaken(path));
    if (!file_) {
        fail(path, reason);
        return false;
    }
    names_.use();
    witness_.opened(path);
    const std::deque<SharedPacket> packets = std::move(kept_);
    kept_.clear();
    key_.reset();
    return std::all_of(packets.begin(), packets.end(),
                       [this](const SharedPacket& packet) { return put(*packet); });
}

bool Recording::put(const MediaPacket& packet) {
    if (packet.stamp < start_ || !hasPlaceFor(*packet.media)) {
        witness_.lost(packet.media->kind, 1);
        return true;
    }
    std::string reason;
    if (!file_->write(packet, reason)) {
        fail(file_->path(), reason);
        finish();
        return false;
    }
    safe_ = file_->isSafe();
    return true;
}

bool Recording::finish() {
    if (finished_) return closed_;
    finished_ = true;
    if (!file_ && !failed_ && !kept_.empty() && (key_ || !streams_.video)) open();
    if (!file_) return false;
    std::string reason;
    const bool named = file_->finish(reason);
    safe_ = named;
    if (!reason.empty() && !failed_) fail(file_->path(), reason);
    closed_ = !file_->location().empty();
    if (closed_) witness_.closed(file_->location());
    file_.reset();
    return closed_;
}

void Recording::fail(const std::string& path, const std::string& reason) {
    failed_ = true;
    witness_.failed(path, reason);
}

}  // namespace kep::host
