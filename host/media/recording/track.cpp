#include "media/recording/track.h"

#include <algorithm>

#include "media/recording/stream_parameters.h"

namespace kep::host {
namespace {

using std::chrono::microseconds;
using std::chrono::nanoseconds;

constexpr AVRational kNanoseconds = {1, 1'000'000'000};
constexpr int kVideoClock = 90'000;
/** How far sound may be from where the one before it ends and still be joined to it. */
constexpr microseconds kJitter(500);
/** What is overdue by so much does not come soon. */
constexpr std::chrono::milliseconds kOverdue(100);

/** Bytes of the ADTS header before an access unit; 0 for a bare one. */
int adtsBytes(const MediaPacket& packet) {
    constexpr int kWithout = 7;
    constexpr int kWithChecksum = 9;
    const std::uint8_t* const bytes = packet.bytes.get();
    if (packet.media->codec != AV_CODEC_ID_AAC || packet.size <= kWithChecksum || bytes[0] != 0xff ||
        (bytes[1] & 0xf6) != 0xf0)
        return 0;
    return bytes[1] & 1 ? kWithout : kWithChecksum;
}

}  // namespace

bool Track::addTo(AVFormatContext& file, const MediaPacket* first, std::string& reason) {
    file_ = &file;
    bare_ = file.oformat->flags & AVFMT_GLOBALHEADER;
    stream_ = avformat_new_stream(&file, nullptr);
    if (!stream_ || !packet_) {
        reason = "no memory for a stream";
        return false;
    }
    if (!describeStream(*media_, first, *stream_->codecpar, reason)) return false;
    // The tag of a stream whose parameter sets are in the header, as more players know it.
    if (bare_ && media_->codec == AV_CODEC_ID_HEVC) stream_->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
    if (media_->kind == Media::Kind::video) {
        stream_->time_base = {1, kVideoClock};
        stream_->avg_frame_rate = media_->frameRate;
    } else {
        stream_->time_base = {1, media_->sampleRate};
    }
    return true;
}

std::int64_t Track::ticks(nanoseconds span) const {
    return av_rescale_q(span.count(), kNanoseconds, stream_->time_base);
}

SteadyTime Track::place(const MediaPacket& packet) const {
    if (!waiting_) return packet.stamp;
    const SteadyTime due = stamp_ + waiting_->duration;
    const nanoseconds off = packet.stamp - due;
    const bool joins = media_->kind == Media::Kind::audio && off < kJitter && off > -kJitter;
    return joins || packet.stamp <= stamp_ ? due : packet.stamp;
}

bool Track::take(const MediaPacket& packet, SteadyTime zero, std::string& reason) {
    const SteadyTime stamp = place(packet);
    const std::int64_t pts = std::max(ticks(stamp - zero), lowest_);
    if (waiting_ && !hand(pts - pts_, reason)) return false;
    stamp_ = stamp;
    pts_ = pts;
    lowest_ = pts + 1;
    waiting_ = packet;
    return true;
}

bool Track::flushBefore(SteadyTime time, std::string& reason) {
    return !waiting_ || stamp_ + waiting_->duration + kOverdue > time || flush(reason);
}

bool Track::flush(std::string& reason) {
    return !waiting_ || hand(std::max<std::int64_t>(ticks(waiting_->duration), 1), reason);
}

bool Track::hand(std::int64_t duration, std::string& reason) {
    av_packet_unref(packet_.get());
    const int header = bare_ ? adtsBytes(*waiting_) : 0;
    packet_->data = const_cast<std::uint8_t*>(waiting_->bytes.get()) + header;
    packet_->size = waiting_->size - header;
    packet_->pts = packet_->dts = pts_;
    packet_->duration = duration;
    packet_->stream_index = stream_->index;
    packet_->flags = waiting_->key ? AV_PKT_FLAG_KEY : 0;
    const int result = av_write_frame(file_, packet_.get());
    waiting_.reset();
    if (result < 0) {
        reason = ffmpegError(result);
        return false;
    }
    ++handed_;
    return true;
}

}  // namespace kep::host
