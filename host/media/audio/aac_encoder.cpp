#include "media/audio/aac_encoder.h"

#include <algorithm>
#include <string>

#include "media/audio/adts.h"
#include "objects/log.h"

namespace kep::host {

AacEncoder::AacEncoder(AudioFormat from, AudioFormat to, const std::atomic<int>& bitRate, bool adts)
    : format_(to),
      wantedBitRate_(bitRate),
      adts_(adts),
      framer_(from, to, AV_SAMPLE_FMT_FLTP, kUnitSamples) {}

bool AacEncoder::open() {
    std::string reason;
    codec_ = openAacEncoder({format_.rate, format_.channels, wantedBitRate_}, reason);
    if (!codec_) KEP_HOST_ERROR(reason);
    return codec_ != nullptr;
}

bool AacEncoder::add(const std::int16_t* samples, std::int64_t frames, SteadyTime stamp, const Emit& emit) {
    framer_.add(samples, frames, stamp);
    for (;;) {
        const FramePtr frame = aacFrame(*codec_);
        SteadyTime first;
        if (!framer_.take(reinterpret_cast<void**>(frame->extended_data), first)) return true;
        frame->pts = encoded_;
        // The encoder reads the bit rate for each frame, but then without a bound.
        codec_->bit_rate =
            std::min(wantedBitRate_.load(), kMostUnitBits * format_.rate / kUnitSamples * format_.channels);
        if (!encode(*frame, first, emit)) return false;
    }
}

bool AacEncoder::encode(const AVFrame& frame, SteadyTime stamp, const Emit& emit) {
    if (encoded_ == 0) stamps_.push_back(stamp - format_.duration(codec_->initial_padding));
    stamps_.push_back(stamp);
    encoded_ += kUnitSamples;

    int result = avcodec_send_frame(codec_.get(), &frame);
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
