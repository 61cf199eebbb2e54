#include "media/audio/aac_encoder.h"

#include <algorithm>
#include <new>

#include "media/audio/adts.h"
#include "objects/log.h"

namespace kep::host {

AacEncoder::AacEncoder(AudioFormat from, AudioFormat to, const std::atomic<int>& bitRate, bool adts)
    : format_(to),
      wantedBitRate_(bitRate),
      adts_(adts),
      framer_(from, to, AV_SAMPLE_FMT_FLTP, kUnitSamples) {}

bool AacEncoder::open() {
    bitRate_ = wantedBitRate_;
    codec_ = openCodec(bitRate_);
    return codec_ != nullptr;
}

CodecPtr AacEncoder::openCodec(int bitRate) const {
    const AVCodec* encoder = avcodec_find_encoder_by_name("aac");
    if (!encoder) {
        KEP_HOST_ERROR("the FFmpeg libraries have no encoder \"aac\"");
        return nullptr;
    }
    CodecPtr codec(avcodec_alloc_context3(encoder));
    codec->sample_rate = format_.rate;
    codec->sample_fmt = AV_SAMPLE_FMT_FLTP;
    codec->bit_rate = bitRate;
    codec->time_base = {1, format_.rate};
    av_channel_layout_default(&codec->ch_layout, format_.channels);
    const int result = avcodec_open2(codec.get(), encoder, nullptr);
    if (result >= 0) return codec;
    KEP_HOST_ERROR("cannot encode AAC of " + std::to_string(format_.rate) + " Hz, " +
                   std::to_string(format_.channels) + " channels, " + std::to_string(bitRate) +
                   " bit/s: " + ffmpegError(result));
    return nullptr;
}

std::vector<std::uint8_t> AacEncoder::config() const {
    return aacConfig(format_.rate, format_.channels);
}

bool AacEncoder::add(const std::int16_t* samples, std::int64_t frames, SteadyTime stamp, const Emit& emit) {
    framer_.add(samples, frames, stamp);
    for (;;) {
        FramePtr frame(av_frame_alloc());
        frame->format = AV_SAMPLE_FMT_FLTP;
        frame->sample_rate = format_.rate;
        frame->nb_samples = kUnitSamples;
        av_channel_layout_default(&frame->ch_layout, format_.channels);
        if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
        SteadyTime first;
        if (!framer_.take(reinterpret_cast<void**>(frame->extended_data), first)) return true;
        frame->pts = encoded_;
        if (!followBitRate()) return false;
        previous_ = std::move(current_);
        current_ = std::move(frame);
        if (!encode(first, emit)) return false;
    }
}

bool AacEncoder::followBitRate() {
    const int wanted = wantedBitRate_;
    if (wanted == bitRate_) return true;
    CodecPtr next = openCodec(wanted);
    bitRate_ = wanted;
    if (!next) return true;  // told; the stream goes on as it was
    // The new encoder hears again what the old one has not yet given out, so that no sample is lost between
    // them; what it makes of its own beginning is not for the stream.
    for (AVFrame* heard : {previous_.get(), current_.get()}) {
        if (heard && avcodec_send_frame(next.get(), heard) < 0) return true;
        if (avcodec_receive_packet(next.get(), packet_.get()) >= 0) av_packet_unref(packet_.get());
    }
    codec_ = std::move(next);
    return true;
}

bool AacEncoder::encode(SteadyTime stamp, const Emit& emit) {
    if (encoded_ == 0) stamps_.push_back(stamp - format_.duration(codec_->initial_padding));
    stamps_.push_back(stamp);
    encoded_ += kUnitSamples;

    int result = avcodec_send_frame(codec_.get(), current_.get());
    while (result >= 0) {
        result = avcodec_receive_packet(codec_.get(), packet_.get());
        if (result < 0) break;
        emit(accessUnit());
    }
    if (result == AVERROR(EAGAIN)) return true;
    KEP_HOST_ERROR("the AAC encoder failed: " + ffmpegError(result));
    return false;
}

AacUnit AacEncoder::accessUnit() {
    const SteadyTime stamp = stamps_.front();
    stamps_.pop_front();
    if (!adts_) {
        const std::shared_ptr<AVPacket> bare(av_packet_alloc(), FfmpegDeleter());
        av_packet_move_ref(bare.get(), packet_.get());
        return {{bare, bare->data}, bare->size, stamp};
    }
    const auto payload = static_cast<std::size_t>(packet_->size);
    const auto unit = std::make_shared<std::vector<std::uint8_t>>(AdtsHeader::kBytes + payload);
    AdtsHeader::write(unit->data(), format_.rate, format_.channels, payload);
    std::copy_n(packet_->data, payload, unit->data() + AdtsHeader::kBytes);
    av_packet_unref(packet_.get());
    return {{unit, unit->data()}, static_cast<int>(unit->size()), stamp};
}

}  // namespace kep::host
