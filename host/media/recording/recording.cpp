#include "media/recording/recording.h"

#include <algorithm>
#include <utility>

#include "media/recording/muxer_settings.h"
#include "objects/log.h"

namespace kep::host {
namespace {

/** How long the first packets wait for streams that have not begun: no longer than a fragment, so that a
 * power cut loses no more. */
constexpr std::chrono::milliseconds kStreamTimeout(500);

bool isSame(const MediaPtr& one, const Media& other) {
    return one && one->codec == other.codec && one->width == other.width && one->height == other.height &&
           one->sampleRate == other.sampleRate && one->channels == other.channels;
}

std::string urlOf(const std::string& path) {
    return path.empty() ? path : fileUrl(path);
}

}  // namespace

void RecordingTeller::opened(const std::string& path) {
    muxer_.trace("opened " + path);
    if (sendsStart) muxer_.tell("recordStart", "url={" + fileUrl(path) + "}");
}

void RecordingTeller::closed(const std::string& path) {
    muxer_.trace("closed " + path);
    if (sendsStop) muxer_.tell("recordStop", "url={" + fileUrl(path) + "}");
}

void RecordingTeller::failed(const FileFailure& failure, bool wasOpened) {
    const bool known = inTrouble.exchange(true);
    if (!known) KEP_HOST_ERROR(muxer_.label() + ": " + failure.reason);
    // Every file reported as opened is also reported as failed, even during a series of failures.
    if (!known || wasOpened) failed_(failure);
}

bool Recording::hasPlaceFor(const Media& media) const {
    if (!file_) return true;
    return isSame(media.kind == Media::Kind::video ? streams_.video : streams_.audio, media);
}

bool Recording::write(const SharedPacket& packet) {
    if (finished_) return false;
    const bool done = file_ ? put(packet) : !keep(packet) || !isReady() || open();
    if (!done) finish();
    return done;
}

bool Recording::flush() {
    if (finished_) return false;
    if (!file_ || file_->flush(reason_)) return true;
    finish();
    return false;
}

bool Recording::keep(const SharedPacket& packet) {
    if (packet->isVideo()) {
        if (!key_ && !packet->key) {
            teller_.lost(*packet);
            return false;
        }
        if (!key_) key_ = packet;
        streams_.video = packet->media;
    } else {
        streams_.audio = packet->media;
    }
    kept_.push_back(packet);
    // Drop audio that precedes the first key frame.
    if (!key_ && streams_.video && packet->stamp - kept_.front()->stamp > kStreamTimeout) {
        teller_.lost(*kept_.front());
        kept_.pop_front();
    }
    return true;
}

bool Recording::isReady() const {
    if (kept_.empty() || (streams_.video && !key_)) return false;
    return (streams_.video && streams_.audio) || streams_.complete ||
           kept_.back()->stamp - kept_.front()->stamp >= kStreamTimeout;
}

bool Recording::open() {
    start_ = key_ ? key_->stamp : kept_.front()->stamp;
    // Drop audio that ends before the first picture.
    std::erase_if(kept_, [this](const SharedPacket& packet) {
        if (packet->isVideo() || packet->stamp + packet->duration > start_) return false;
        teller_.lost(*packet);
        return true;
    });
    std::stable_sort(kept_.begin(), kept_.end(), [](const SharedPacket& one, const SharedPacket& other) {
        return one->stamp < other->stamp;
    });
    start_ = kept_.front()->stamp;
    do {
        path_ = names_.next(start_);
        file_ = MediaFile::open(path_, settings_, streams_.video, streams_.audio, reason_);
        // Another recording may have taken the name in the meantime.
    } while (!file_ && names_.isTaken(path_));
    if (!file_) return false;
    reason_.clear();
    if (tellsSoon_) tellOpened();
    key_.reset();
    // A failure leaves packets here, which finish() reports as lost.
    while (!kept_.empty()) {
        const SharedPacket packet = kept_.front();
        kept_.pop_front();
        if (!put(packet)) return false;
    }
    return true;
}

bool Recording::put(const SharedPacket& packet) {
    if (packet->stamp < start_ || !hasPlaceFor(*packet->media)) {
        teller_.lost(*packet);
        return true;
    }
    if (!file_->write(*packet, reason_)) return false;
    // Find out early whether the disk accepts it.
    if (!opened_ && !file_->flush(reason_)) return false;
    if (file_->isTaken()) tellOpened();
    safe_ = file_->isSafe();
    return true;
}

void Recording::tellOpened() {
    if (opened_) return;
    opened_ = true;
    names_.use();
    teller_.opened(path_);
}

bool Recording::finish() {
    if (finished_) return complete_;
    const bool begins = !file_ && reason_.empty() && !kept_.empty() && (key_ || !streams_.video);
    if (begins) open();
    finished_ = true;
    std::string part;
    PacketCounts lost;
    for (const SharedPacket& packet : std::exchange(kept_, {})) lost.add(*packet);
    if (file_) {
        safe_ = file_->finish(reason_);
        complete_ = safe_ && reason_.empty();
        part = file_->location();
        for (const Media::Kind kind : {Media::Kind::video, Media::Kind::audio})
            lost[kind] += file_->lost(kind);
    }
    teller_.lost(lost);
    file_.reset();
    if (complete_) {
        tellOpened();
        teller_.closed(path_);
    } else if (hasFailed()) {
        teller_.failed({urlOf(path_), reason_, urlOf(part)}, opened_);
    }
    return complete_;
}

}  // namespace kep::host
