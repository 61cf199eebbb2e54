#include "media/recording/track.h"

#include <algorithm>
#include <cstring>

#include "media/audio/aac_encoder.h"
#include "media/audio/adts.h"

namespace kep::host {
namespace {

using std::chrono::microseconds;
using std::chrono::nanoseconds;

constexpr AVRational kNanoseconds = {1, 1'000'000'000};
constexpr int kVideoClock = 90'000;
/** Audio this close to the end of its predecessor is joined to it. Larger hides gaps, smaller leaves clicks.
 */
constexpr microseconds kJitter(500);
/** A packet overdue by this much is not waited for. */
constexpr std::chrono::milliseconds kLongestWait(100);

bool setExtradata(AVCodecParameters& parameters, const std::uint8_t* bytes, std::size_t size) {
    av_freep(&parameters.extradata);
    parameters.extradata_size = 0;
    parameters.extradata = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!parameters.extradata) return false;
    std::memcpy(parameters.extradata, bytes, size);
    parameters.extradata_size = static_cast<int>(size);
    return true;
}

/** Copies the parameter sets of a key frame to the extradata. */
bool readParameterSets(const MediaPacket& first, AVCodecParameters& parameters) {
    AVBSFContext* made = nullptr;
    if (av_bsf_alloc(av_bsf_get_by_name("extract_extradata"), &made) < 0) return false;
    const FilterPtr filter(made);
    const PacketPtr packet(av_packet_alloc());
    if (!packet || avcodec_parameters_copy(filter->par_in, &parameters) < 0 ||
        av_bsf_init(filter.get()) < 0 || av_new_packet(packet.get(), first.size) < 0)
        return false;
    std::memcpy(packet->data, first.bytes.get(), static_cast<std::size_t>(first.size));
    if (av_bsf_send_packet(filter.get(), packet.get()) < 0 ||
        av_bsf_receive_packet(filter.get(), packet.get()) < 0)
        return false;
    std::size_t size = 0;
    const std::uint8_t* const found = av_packet_get_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, &size);
    return found && setExtradata(parameters, found, size);
}

/**
 * Fills in the codec parameters of a stream. The decoder configuration comes from the media or, for streams
 * with in-band parameter sets, from the key packet `first`. False, with `reason` filled, if neither has it.
 */
bool describeStream(const Media& media, const MediaPacket* first, AVCodecParameters& parameters,
                    std::string& reason) {
    const bool video = media.kind == Media::Kind::video;
    parameters.codec_type = video ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO;
    parameters.codec_id = media.codec;
    parameters.bit_rate = media.bitRate;
    if (video) {
        parameters.width = media.width;
        parameters.height = media.height;
        parameters.format = AV_PIX_FMT_YUV420P;
        parameters.color_range = AVCOL_RANGE_MPEG;
        parameters.color_space = media.colours;
        if (media.colours == AVCOL_SPC_BT709) {
            parameters.color_primaries = AVCOL_PRI_BT709;
            parameters.color_trc = AVCOL_TRC_BT709;
        }
    } else {
        parameters.sample_rate = media.sampleRate;
        parameters.frame_size = AacEncoder::kUnitSamples;
        av_channel_layout_default(&parameters.ch_layout, media.channels);
    }
    bool known = false;
    if (!media.parameters.empty()) {
        known = setExtradata(parameters, media.parameters.data(), media.parameters.size());
    } else if (video) {
        known = first && readParameterSets(*first, parameters);
    }
    if (!known)
        reason = std::string("cannot record this ") + avcodec_get_name(media.codec) +
                 " stream: no decoder configuration";
    return known;
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
    // hvc1: parameter sets in the header only; more players know it than hev1.
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
    return !waiting_ || stamp_ + waiting_->duration + kLongestWait > time || flush(reason);
}

bool Track::flush(std::string& reason) {
    return !waiting_ || hand(std::max<std::int64_t>(ticks(waiting_->duration), 1), reason);
}

bool Track::hand(std::int64_t duration, std::string& reason) {
    av_packet_unref(packet_.get());
    int header = 0;
    if (bare_ && media_->codec == AV_CODEC_ID_AAC) {
        const auto adts = AdtsHeader::read({waiting_->bytes.get(), static_cast<std::size_t>(waiting_->size)});
        if (adts) header = static_cast<int>(adts->headerBytes);
    }
    packet_->data = const_cast<std::uint8_t*>(waiting_->bytes.get()) + header;
    packet_->size = waiting_->size - header;
    packet_->pts = packet_->dts = pts_;
    packet_->duration = duration;
    packet_->stream_index = stream_->index;
    packet_->flags = waiting_->key ? AV_PKT_FLAG_KEY : 0;
    const int result = av_write_frame(file_, packet_.get());
    waiting_.reset();
    handed_ += result >= 0;
    return succeeded(result, reason);
}

}  // namespace kep::host
