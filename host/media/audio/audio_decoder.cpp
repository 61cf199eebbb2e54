#include "media/audio/audio_decoder.h"

#include <algorithm>

namespace kep::host {

bool AudioDecoder::open(InputPtr input, std::string& reason) {
    const AVCodec* decoder = nullptr;
    stream_ = av_find_best_stream(input.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (stream_ < 0 || !decoder) {
        reason =
            stream_ == AVERROR_DECODER_NOT_FOUND ? "no decoder for its sound" : "there is no sound in it";
        return false;
    }
    for (unsigned index = 0; index < input->nb_streams; ++index)
        if (static_cast<int>(index) != stream_) input->streams[index]->discard = AVDISCARD_ALL;

    const AVStream& stream = *input->streams[stream_];
    codec_.reset(avcodec_alloc_context3(decoder));
    int result = avcodec_parameters_to_context(codec_.get(), stream.codecpar);
    if (result >= 0) {
        codec_->pkt_timebase = stream.time_base;
        result = avcodec_open2(codec_.get(), decoder, nullptr);
    }
    if (result < 0) {
        reason = ffmpegError(result);
        return false;
    }
    if (codec_->sample_rate <= 0 || codec_->ch_layout.nb_channels <= 0) {
        reason = "its sound has no rate or no channels";
        return false;
    }
    format_ = {codec_->sample_rate, std::min(codec_->ch_layout.nb_channels, 2)};
    input_ = std::move(input);
    return true;
}

int AudioDecoder::decode(std::vector<std::int16_t>& samples) {
    int result = av_read_frame(input_.get(), packet_.get());
    if (result < 0 && result != AVERROR_EOF) return result;
    const bool ended = result == AVERROR_EOF;
    if (!ended && packet_->stream_index != stream_) {
        av_packet_unref(packet_.get());
        return 0;
    }
    if (!ended) wallTime_ = packet_->pts;
    // A damaged packet is refused here; what follows it decodes again.
    result = avcodec_send_packet(codec_.get(), ended ? nullptr : packet_.get());
    av_packet_unref(packet_.get());
    while ((result = avcodec_receive_frame(codec_.get(), frame_.get())) >= 0) {
        const bool converted = append(*frame_, samples);
        av_frame_unref(frame_.get());
        if (!converted) return AVERROR(EINVAL);
    }
    return ended ? AVERROR_EOF : 0;
}

bool AudioDecoder::rewind() {
    const std::int64_t start = input_->streams[stream_]->start_time;
    const bool done =
        av_seek_frame(input_.get(), stream_, start == AV_NOPTS_VALUE ? 0 : start, AVSEEK_FLAG_BACKWARD) >= 0;
    avcodec_flush_buffers(codec_.get());
    return done;
}

bool AudioDecoder::prepareConversion(const AVFrame& frame) {
    const AudioFormat decoded{frame.sample_rate, frame.ch_layout.nb_channels};
    if (converter_ && decoded == decodedFormat_ && frame.format == decodedSamples_) return true;

    AVChannelLayout from{};
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&from, frame.ch_layout.nb_channels);
    else
        av_channel_layout_copy(&from, &frame.ch_layout);
    AVChannelLayout to{};
    av_channel_layout_default(&to, format_.channels);
    SwrContext* made = nullptr;
    swr_alloc_set_opts2(&made, &to, AV_SAMPLE_FMT_S16, format_.rate, &from,
                        static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
    converter_.reset(made);
    av_channel_layout_uninit(&from);
    decodedFormat_ = decoded;
    decodedSamples_ = frame.format;
    return made && swr_init(made) >= 0;
}

bool AudioDecoder::append(const AVFrame& frame, std::vector<std::int16_t>& samples) {
    if (!prepareConversion(frame)) return false;
    const std::size_t before = samples.size();
    const int room = swr_get_out_samples(converter_.get(), frame.nb_samples);
    if (room < 0) return false;
    samples.resize(before + static_cast<std::size_t>(room) * format_.channels);
    auto* out = reinterpret_cast<std::uint8_t*>(samples.data() + before);
    const int made = swr_convert(converter_.get(), &out, room,
                                 const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
    samples.resize(before + static_cast<std::size_t>(std::max(made, 0)) * format_.channels);
    return made >= 0;
}

}  // namespace kep::host
