#include "wav_writer.h"

#include <cstdint>

extern "C" {
#include <libavformat/avformat.h>
}

#include "av_packet.h"

namespace vncam {

WavWriter::WavWriter(Output& output, int rate, int channels)
    : muxer_(output, "wav", "WAV", AvMuxer::Seeking::whereItCan) {
    AVCodecParameters& parameters = *avformat_new_stream(muxer_.get(), nullptr)->codecpar;
    parameters.codec_type = AVMEDIA_TYPE_AUDIO;
    parameters.codec_id = AV_CODEC_ID_PCM_S16LE;
    parameters.format = AV_SAMPLE_FMT_S16;
    parameters.bits_per_coded_sample = 16;
    parameters.sample_rate = rate;
    parameters.block_align = 2 * channels;
    parameters.bit_rate = std::int64_t{16} * rate * channels;
    av_channel_layout_default(&parameters.ch_layout, channels);
    muxer_.check(avformat_write_header(muxer_.get(), nullptr));
}

void WavWriter::write(const void* samples, std::size_t bytes) {
    const PacketPtr packet(av_packet_alloc());
    // Not owned: it is written before the call returns.
    packet->data = static_cast<std::uint8_t*>(const_cast<void*>(samples));
    packet->size = static_cast<int>(bytes);
    muxer_.check(av_write_frame(muxer_.get(), packet.get()));
}

void WavWriter::finish() {
    muxer_.check(av_write_trailer(muxer_.get()));
}

}  // namespace vncam
