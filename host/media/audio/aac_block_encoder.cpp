#include "media/audio/aac_block_encoder.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "media/audio/adts.h"

namespace kep::host {
namespace {

constexpr int kUnitSamples = AacSettings::kUnitSamples;
/** Bytes of an access unit for each channel: the 6144 bits of a decoder's input buffer. */
constexpr std::size_t kMostUnitBytes = 768;

}  // namespace

void AacBlockEncoder::use(const AacSettings& settings) {
    if (settings == settings_) return;
    settings_ = settings;
    codec_.reset();
    block_.clear();
}

std::size_t AacBlockEncoder::blockBytes() const {
    return kUnitSamples * sizeof(std::int16_t) * static_cast<std::size_t>(settings_.channels);
}

std::size_t AacBlockEncoder::mostUnitBytes() const {
    return kMostUnitBytes * static_cast<std::size_t>(settings_.channels) +
           (settings_.adts ? AdtsHeader::kBytes : 0);
}

bool AacBlockEncoder::hasRoom(std::span<std::uint8_t> out, const BlockUse& used, std::string& reason) const {
    if (out.size() - used.written >= mostUnitBytes()) return true;
    reason = "output buffer of " + std::to_string(out.size()) + " bytes: an access unit may take " +
             std::to_string(mostUnitBytes());
    return false;
}

bool AacBlockEncoder::open(std::string& reason) {
    codec_ = openAacEncoder(settings_, reason);
    if (!codec_) return false;
    frame_ = aacFrame(*codec_);
    block_.reserve(blockBytes());
    encoded_ = 0;
    isEnding_ = false;
    return true;
}

bool AacBlockEncoder::encode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out, BlockUse& used,
                             std::string& reason) {
    used = {};
    if (in.empty()) return drain(out, used, reason);
    if (isEnding_) {
        codec_.reset();
        isEnding_ = false;
    }
    while (used.taken < in.size()) {
        const std::size_t missing = blockBytes() - block_.size();
        const std::size_t count = std::min(missing, in.size() - used.taken);
        const bool completes = count == missing;
        if (completes && !hasRoom(out, used, reason)) return used.taken > 0 || used.written > 0;
        if (!codec_ && !open(reason)) return false;
        const auto from = in.begin() + static_cast<std::ptrdiff_t>(used.taken);
        block_.insert(block_.end(), from, from + static_cast<std::ptrdiff_t>(count));
        used.taken += count;
        if (completes && !encodeBlock(out, used, reason)) return false;
    }
    return true;
}

bool AacBlockEncoder::drain(std::span<std::uint8_t> out, BlockUse& used, std::string& reason) {
    if (!codec_) return true;
    if (!hasRoom(out, used, reason)) return false;
    if (!isEnding_) {
        if (!block_.empty()) {
            block_.resize(blockBytes());
            if (!encodeBlock(out, used, reason)) return false;
        }
        isEnding_ = true;
        avcodec_send_frame(codec_.get(), nullptr);
    }
    return takeUnits(out, used, reason);
}

bool AacBlockEncoder::encodeBlock(std::span<std::uint8_t> out, BlockUse& used, std::string& reason) {
    // The encoder may still hold a reference to the previous samples.
    if (av_frame_make_writable(frame_.get()) < 0) throw std::bad_alloc();
    const auto channels = static_cast<std::size_t>(settings_.channels);
    for (std::size_t channel = 0; channel < channels; ++channel) {
        auto* const plane = reinterpret_cast<float*>(frame_->extended_data[channel]);
        for (std::size_t i = 0; i < kUnitSamples; ++i) {
            std::int16_t sample = 0;
            std::memcpy(&sample, block_.data() + (i * channels + channel) * sizeof sample, sizeof sample);
            plane[i] = static_cast<float>(sample) / 32768.0F;
        }
    }
    block_.clear();
    frame_->pts = encoded_;
    encoded_ += kUnitSamples;
    if (const int result = avcodec_send_frame(codec_.get(), frame_.get()); result < 0) {
        codec_.reset();
        reason = ffmpegError(result);
        return false;
    }
    return takeUnits(out, used, reason);
}

bool AacBlockEncoder::takeUnits(std::span<std::uint8_t> out, BlockUse& used, std::string& reason) {
    // The encoder returns one unit for each block, and two at the end.
    while (out.size() - used.written >= mostUnitBytes()) {
        const int result = avcodec_receive_packet(codec_.get(), packet_.get());
        if (result == AVERROR(EAGAIN)) return true;
        if (result < 0) {
            codec_.reset();
            if (result == AVERROR_EOF) return true;
            reason = ffmpegError(result);
            return false;
        }
        std::uint8_t* const unit = out.data() + used.written;
        const std::size_t header = settings_.adts ? AdtsHeader::kBytes : 0;
        const auto payload = static_cast<std::size_t>(packet_->size);
        if (settings_.adts) AdtsHeader::write(unit, settings_.rate, settings_.channels, payload);
        std::memcpy(unit + header, packet_->data, payload);
        used.written += header + payload;
        av_packet_unref(packet_.get());
    }
    return true;
}

}  // namespace kep::host
