#include "media/audio/sample_framer.h"

#include <new>

namespace kep::host {

SampleFramer::SampleFramer(AudioFormat from, AudioFormat to, AVSampleFormat samples, int frameSamples)
    : from_(from),
      to_(to),
      frameSamples_(frameSamples),
      converted_(av_frame_alloc()),
      fifo_(av_audio_fifo_alloc(samples, to.channels, frameSamples * 2)) {
    AVChannelLayout fromLayout{};
    AVChannelLayout toLayout{};
    av_channel_layout_default(&fromLayout, from.channels);
    av_channel_layout_default(&toLayout, to.channels);
    SwrContext* made = nullptr;
    swr_alloc_set_opts2(&made, &toLayout, samples, to.rate, &fromLayout, AV_SAMPLE_FMT_S16, from.rate, 0,
                        nullptr);
    resampler_.reset(made);
    // By default libswresample changes the level, differently for each sample format.
    constexpr double kToMono[] = {0.5, 0.5};
    constexpr double kToStereo[] = {1, 1};
    if (made && from.channels != to.channels)
        swr_set_matrix(made, to.channels == 1 ? kToMono : kToStereo, from.channels);
    if (!made || !converted_ || !fifo_ || swr_init(made) < 0) throw std::bad_alloc();
    converted_->format = samples;
    converted_->sample_rate = to.rate;
    converted_->ch_layout = toLayout;
}

void SampleFramer::add(const std::int16_t* samples, std::int64_t frames, SteadyTime stamp) {
    const auto count = static_cast<int>(frames);
    const int room = swr_get_out_samples(resampler_.get(), count);
    if (room > capacity_) makeRoom(room);
    const auto* in = reinterpret_cast<const std::uint8_t*>(samples);
    const int made = swr_convert(resampler_.get(), converted_->extended_data, room, &in, count);
    if (made < 0) return;
    av_audio_fifo_write(fifo_.get(), reinterpret_cast<void**>(converted_->extended_data), made);
    const std::chrono::nanoseconds held(swr_get_delay(resampler_.get(), 1000000000));
    end_ = stamp + from_.duration(frames) - held;
}

void SampleFramer::makeRoom(int samples) {
    converted_->nb_samples = samples;
    for (AVBufferRef*& buffer : converted_->buf) av_buffer_unref(&buffer);
    if (av_frame_get_buffer(converted_.get(), 0) < 0) throw std::bad_alloc();
    capacity_ = samples;
}

bool SampleFramer::take(void** planes, SteadyTime& stamp) {
    const int queued = av_audio_fifo_size(fifo_.get());
    if (queued < frameSamples_) return false;
    stamp = end_ - to_.duration(queued);
    av_audio_fifo_read(fifo_.get(), planes, frameSamples_);
    return true;
}

}  // namespace kep::host
