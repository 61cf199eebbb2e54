#include "media/audio/aac_block_decoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "media/audio/adts.h"

namespace kep::host {
namespace {

constexpr std::size_t kBlockSamples = 1024;  // of each channel

std::int16_t toSample(float value) {
    return static_cast<std::int16_t>(std::lrintf(std::clamp(value * 32768.0F, -32768.0F, 32767.0F)));
}

}  // namespace

void AacBlockDecoder::use(const AacSettings& settings) {
    if (settings == settings_) return;
    settings_ = settings;
    codec_.reset();
    unit_.clear();
    samples_.clear();
    samplesOfUnit_ = kBlockSamples;
    channels_ = 0;
}

bool AacBlockDecoder::open(std::string& reason) {
    const AVCodec* const decoder = avcodec_find_decoder(AV_CODEC_ID_AAC);
    if (!decoder) {
        reason = "the FFmpeg libraries have no AAC decoder";
        return false;
    }
    CodecPtr codec(avcodec_alloc_context3(decoder));
    if (!codec) throw std::bad_alloc();
    if (!settings_.adts) {
        const std::vector<std::uint8_t> config = aacConfig(settings_.rate, settings_.channels);
        codec->extradata =
            static_cast<std::uint8_t*>(av_mallocz(config.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (!codec->extradata) throw std::bad_alloc();
        codec->extradata_size = static_cast<int>(config.size());
        std::copy(config.begin(), config.end(), codec->extradata);
    }
    if (const int result = avcodec_open2(codec.get(), decoder, nullptr); result < 0) {
        reason = ffmpegError(result);
        return false;
    }
    codec_ = std::move(codec);
    return true;
}

bool AacBlockDecoder::hasRoom(std::size_t room, int channels, std::string& reason) const {
    // What was decoded last tells more than a header: one channel may be coded so that two come of it.
    const auto expected = static_cast<std::size_t>(channels_ > 0 ? channels_ : channels);
    const std::size_t samples = samples_.empty() ? samplesOfUnit_ * expected : samples_.size();
    const std::size_t needed = samples * sizeof(std::int16_t);
    if (room >= needed) return true;
    reason = "output buffer of " + std::to_string(room) + " bytes: the next samples take " +
             std::to_string(needed);
    return false;
}

bool AacBlockDecoder::decode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, BlockUse& used,
                             std::string& skipped, std::string& reason) {
    used = {};
    // A unit that had more samples than the ones before it may have had no room.
    if (!samples_.empty()) {
        if (!hasRoom(out.size(), settings_.channels, reason)) return false;
        hand(out, used);
    }
    if (in.empty()) return true;
    return settings_.adts ? decodeStream(in, out, used, skipped, reason) : decodeBare(in, out, used, reason);
}

bool AacBlockDecoder::decodeBare(std::span<const std::uint8_t> in, std::span<std::uint8_t> out,
                                 BlockUse& used, std::string& reason) {
    if (!hasRoom(out.size() - used.written, settings_.channels, reason)) return used.written > 0;
    if (!decodeUnit(in, reason)) return false;
    used.taken = in.size();
    hand(out, used);
    return true;
}

bool AacBlockDecoder::decodeStream(std::span<const std::uint8_t> in, std::span<std::uint8_t> out,
                                   BlockUse& used, std::string& skipped, std::string& reason) {
    std::size_t passedOver = 0;
    std::string damaged;
    while (used.taken < in.size()) {
        const std::size_t wanted = bytesWanted();
        const std::size_t count = std::min(wanted - unit_.size(), in.size() - used.taken);
        const bool completes = wanted > AdtsHeader::kBytes && count == wanted - unit_.size();
        if (completes) {
            const int told = AdtsHeader::read(unit_)->channels;
            if (!hasRoom(out.size() - used.written, told > 0 ? told : settings_.channels, reason)) {
                if (used.taken == 0 && used.written == 0) return false;
                break;
            }
        }
        const auto from = in.begin() + static_cast<std::ptrdiff_t>(used.taken);
        unit_.insert(unit_.end(), from, from + static_cast<std::ptrdiff_t>(count));
        used.taken += count;
        if (!completes) {
            passedOver += findHeader();
            continue;
        }
        if (!decodeUnit(unit_, damaged)) passedOver += unit_.size();
        unit_.clear();
        hand(out, used);
    }
    if (passedOver > 0)
        skipped = std::to_string(passedOver) + " bytes that are no access unit" +
                  (damaged.empty() ? "" : ": " + damaged);
    return true;
}

std::size_t AacBlockDecoder::findHeader() {
    // Whole headers are judged, and the first two bytes of what has not yet come.
    const auto mayBegin = [this](std::size_t at) {
        const std::span<const std::uint8_t> rest = std::span(unit_).subspan(at);
        if (rest.size() >= AdtsHeader::kBytes) return AdtsHeader::read(rest).has_value();
        return rest[0] == 0xff && (rest.size() < 2 || (rest[1] & 0xf6) == 0xf0);
    };
    std::size_t begin = 0;
    while (begin < unit_.size() && !mayBegin(begin)) ++begin;
    unit_.erase(unit_.begin(), unit_.begin() + static_cast<std::ptrdiff_t>(begin));
    return begin;
}

std::size_t AacBlockDecoder::bytesWanted() const {
    if (unit_.size() < AdtsHeader::kBytes) return AdtsHeader::kBytes;
    return AdtsHeader::read(unit_)->unitBytes;
}

bool AacBlockDecoder::decodeUnit(std::span<const std::uint8_t> unit, std::string& reason) {
    if (!codec_ && !open(reason)) return false;
    padded_.resize(unit.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    std::copy(unit.begin(), unit.end(), padded_.begin());
    std::fill(padded_.begin() + static_cast<std::ptrdiff_t>(unit.size()), padded_.end(), std::uint8_t{0});
    packet_->data = padded_.data();
    packet_->size = static_cast<int>(unit.size());
    int result = avcodec_send_packet(codec_.get(), packet_.get());
    packet_->data = nullptr;
    packet_->size = 0;
    while (result >= 0) {
        result = avcodec_receive_frame(codec_.get(), frame_.get());
        if (result < 0) break;
        const auto channels = static_cast<std::size_t>(frame_->ch_layout.nb_channels);
        const auto count = static_cast<std::size_t>(frame_->nb_samples);
        const std::size_t first = samples_.size();
        samples_.resize(first + count * channels);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const auto* const plane = reinterpret_cast<const float*>(frame_->extended_data[channel]);
            for (std::size_t i = 0; i < count; ++i)
                samples_[first + i * channels + channel] = toSample(plane[i]);
        }
        samplesOfUnit_ = count;
        channels_ = static_cast<int>(channels);
        av_frame_unref(frame_.get());
    }
    if (result == AVERROR(EAGAIN)) return true;
    reason = ffmpegError(result);
    return false;
}

void AacBlockDecoder::hand(std::span<std::uint8_t> out, BlockUse& used) {
    const std::size_t bytes = samples_.size() * sizeof(std::int16_t);
    if (bytes == 0 || bytes > out.size() - used.written) return;
    std::memcpy(out.data() + used.written, samples_.data(), bytes);
    used.written += bytes;
    samples_.clear();
}

}  // namespace kep::host
