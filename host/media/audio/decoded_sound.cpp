#include "media/audio/decoded_sound.h"

#include <algorithm>
#include <new>

namespace kep::host {

DecodedSound::DecodedSound(const AVCodecContext& codec)
    : format_{codec.sample_rate, std::min(codec.ch_layout.nb_channels, 2)} {}

int DecodedSound::append(AVFrame& frame, std::vector<std::int16_t>& samples) {
    // libswresample never treats an unspecified layout as unchanged.
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&frame.ch_layout, frame.ch_layout.nb_channels);
    const FramePtr made(av_frame_alloc());
    if (!made) throw std::bad_alloc();
    made->format = AV_SAMPLE_FMT_S16;
    made->sample_rate = format_.rate;
    av_channel_layout_default(&made->ch_layout, format_.channels);
    int result = converter_ ? swr_convert_frame(converter_.get(), made.get(), &frame) : AVERROR_INPUT_CHANGED;
    if (result == AVERROR_INPUT_CHANGED) {
        converter_.reset(swr_alloc());
        result = swr_convert_frame(converter_.get(), made.get(), &frame);
    }
    if (result < 0) return result;
    const auto* const first = reinterpret_cast<const std::int16_t*>(made->extended_data[0]);
    samples.insert(samples.end(), first, first + std::ptrdiff_t{made->nb_samples} * format_.channels);
    return 0;
}

}  // namespace kep::host
