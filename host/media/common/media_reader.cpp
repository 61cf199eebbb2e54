#include "media/common/media_reader.h"

namespace kep::host {
namespace {

/** Whether all streams are audio and completely described by the header. */
bool isDescribed(const AVFormatContext& input) {
    for (unsigned i = 0; i < input.nb_streams; ++i) {
        const AVCodecParameters& stream = *input.streams[i]->codecpar;
        if (stream.codec_id == AV_CODEC_ID_NONE || stream.sample_rate <= 0 ||
            stream.ch_layout.nb_channels <= 0)
            return false;
    }
    return input.nb_streams > 0;
}

std::string lack(AVMediaType kind) {
    return kind == AVMEDIA_TYPE_VIDEO ? "contains no video" : "contains no audio";
}

}  // namespace

std::unique_ptr<MediaReader> MediaReader::open(const Source& source, AVMediaType kind, std::string& reason) {
    initFfmpeg();
    AVFormatContext* opened = avformat_alloc_context();
    opened->interrupt_callback = source.interrupt;
    opened->flags |= source.flags;
    AVDictionary* options = nullptr;
    av_dict_parse_string(&options, source.options.c_str(), "=", ":", 0);
    const AVInputFormat* const format = source.format ? av_find_input_format(source.format) : nullptr;
    int result = source.format && !format
                     ? AVERROR_DEMUXER_NOT_FOUND
                     : avformat_open_input(&opened, source.url.c_str(), format, &options);
    av_dict_free(&options);
    std::unique_ptr<MediaReader> reader(new MediaReader);
    reader->input_.reset(opened);
    // Probing beyond such a header would delay a pipe by its first seconds.
    if (result >= 0 && isDescribed(*opened))
        opened->probesize = 32;
    else if (result >= 0)
        result = avformat_find_stream_info(opened, nullptr);
    return succeeded(result, reason) && reader->openDecoder(kind, reason) ? std::move(reader) : nullptr;
}

bool MediaReader::openDecoder(AVMediaType kind, std::string& reason) {
    const AVCodec* decoder = nullptr;
    const int index = av_find_best_stream(input_.get(), kind, -1, -1, &decoder, 0);
    codec_.reset(decoder ? avcodec_alloc_context3(decoder) : nullptr);
    if (index < 0 || !codec_) {
        reason = index == AVERROR_STREAM_NOT_FOUND ? lack(kind) : "no decoder for its codec";
        return false;
    }
    for (unsigned i = 0; i < input_->nb_streams; ++i) input_->streams[i]->discard = AVDISCARD_ALL;
    stream_ = input_->streams[index];
    stream_->discard = AVDISCARD_DEFAULT;
    // One thread decodes several times faster than real time and costs the least.
    codec_->thread_count = 1;
    codec_->pkt_timebase = stream_->time_base;
    int result = avcodec_parameters_to_context(codec_.get(), stream_->codecpar);
    if (result >= 0) result = avcodec_open2(codec_.get(), decoder, nullptr);
    const bool isSized = kind == AVMEDIA_TYPE_VIDEO
                             ? codec_->width >= 2 && codec_->height >= 2
                             : codec_->sample_rate > 0 && codec_->ch_layout.nb_channels > 0;
    if (result >= 0 && isSized) return true;
    reason = result < 0 ? ffmpegError(result) : lack(kind);
    return false;
}

int MediaReader::read(AVFrame& frame) {
    for (;;) {
        const int decoded = avcodec_receive_frame(codec_.get(), &frame);
        if (decoded >= 0 || decoded == AVERROR_EOF) return decoded;
        const int result = av_read_frame(input_.get(), packet_.get());
        if (result < 0 && result != AVERROR_EOF) return result;
        if (result < 0 || packet_->stream_index == stream_->index)
            avcodec_send_packet(codec_.get(), result < 0 ? nullptr : packet_.get());
        av_packet_unref(packet_.get());
    }
}

bool MediaReader::rewind(bool byBytes) {
    avcodec_flush_buffers(codec_.get());
    if (byBytes) return av_seek_frame(input_.get(), -1, 0, AVSEEK_FLAG_BYTE) >= 0;
    const std::int64_t start = stream_->start_time == AV_NOPTS_VALUE ? 0 : stream_->start_time;
    return av_seek_frame(input_.get(), stream_->index, start, AVSEEK_FLAG_BACKWARD) >= 0;
}

}  // namespace kep::host
