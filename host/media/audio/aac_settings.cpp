#include "media/audio/aac_settings.h"

#include <algorithm>
#include <array>
#include <new>

namespace kep::host {
namespace {

constexpr int kUsualBitRate = 64'000;
/** The channel layouts that AAC's headers can name, by number of channels. */
constexpr std::array<std::uint64_t, 9> kLayouts = {
    0,
    AV_CH_LAYOUT_MONO,
    AV_CH_LAYOUT_STEREO,
    AV_CH_LAYOUT_SURROUND,
    AV_CH_LAYOUT_4POINT0,
    AV_CH_LAYOUT_5POINT0_BACK,
    AV_CH_LAYOUT_5POINT1_BACK,
    0,
    AV_CH_LAYOUT_7POINT1,
};

}  // namespace

CodecPtr openAacEncoder(const AacSettings& settings, std::string& reason) {
    initFfmpeg();
    const AVCodec* const encoder = avcodec_find_encoder_by_name("aac");
    if (!encoder) {
        reason = "the FFmpeg libraries have no encoder \"aac\"";
        return nullptr;
    }
    CodecPtr codec(avcodec_alloc_context3(encoder));
    if (!codec) throw std::bad_alloc();
    codec->sample_rate = settings.rate;
    codec->sample_fmt = AV_SAMPLE_FMT_FLTP;
    codec->bit_rate = settings.bitRate > 0 ? settings.bitRate : kUsualBitRate * settings.channels;
    codec->cutoff = std::min(settings.bandWidth, settings.rate / 2);
    codec->time_base = {1, settings.rate};
    av_channel_layout_from_mask(&codec->ch_layout, kLayouts[static_cast<std::size_t>(settings.channels)]);
    const int result = avcodec_open2(codec.get(), encoder, nullptr);
    if (result >= 0) return codec;
    reason = "cannot open an AAC encoder for " + std::to_string(settings.rate) + " Hz, " +
             std::to_string(settings.channels) + " channels, " + std::to_string(codec->bit_rate) +
             " bit/s: " + ffmpegError(result);
    return nullptr;
}

FramePtr aacFrame(const AVCodecContext& codec) {
    FramePtr frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    frame->format = AV_SAMPLE_FMT_FLTP;
    frame->sample_rate = codec.sample_rate;
    frame->nb_samples = AacSettings::kUnitSamples;
    frame->ch_layout = codec.ch_layout;
    if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
    return frame;
}

}  // namespace kep::host
