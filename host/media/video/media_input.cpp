#include "media/video/media_input.h"

namespace kep::host {

std::unique_ptr<MediaInput> MediaInput::open(const std::string& url, const AVInputFormat* format,
                                             AVDictionary* options, std::string& reason) {
    initFfmpeg();
    AVFormatContext* opened = nullptr;
    int result = avformat_open_input(&opened, url.c_str(), format, &options);
    av_dict_free(&options);
    if (result < 0) {
        reason = ffmpegError(result);
        return nullptr;
    }
    std::unique_ptr<MediaInput> input(new MediaInput);
    input->input_.reset(opened);
    result = avformat_find_stream_info(opened, nullptr);
    const int stream =
        result < 0 ? result : av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (stream < 0) {
        reason = result < 0 ? ffmpegError(result) : "no picture in it";
        return nullptr;
    }
    return input->openDecoder(stream, reason) ? std::move(input) : nullptr;
}

bool MediaInput::openDecoder(int stream, std::string& reason) {
    stream_ = input_->streams[stream];
    for (unsigned other = 0; other < input_->nb_streams; ++other) {
        if (input_->streams[other] != stream_) input_->streams[other]->discard = AVDISCARD_ALL;
    }
    const AVCodec* decoder = avcodec_find_decoder(stream_->codecpar->codec_id);
    codec_.reset(decoder ? avcodec_alloc_context3(decoder) : nullptr);
    if (!codec_ || !packet_) {
        reason = std::string("no decoder for ") + avcodec_get_name(stream_->codecpar->codec_id);
        return false;
    }
    // One thread decodes several times faster than real time and costs the least.
    codec_->thread_count = 1;
    codec_->pkt_timebase = stream_->time_base;
    int result = avcodec_parameters_to_context(codec_.get(), stream_->codecpar);
    if (result >= 0) result = avcodec_open2(codec_.get(), decoder, nullptr);
    if (result < 0) {
        reason = ffmpegError(result);
        return false;
    }
    if (width() < 2 || height() < 2) {
        reason = "no picture in it";
        return false;
    }
    return true;
}

AVRational MediaInput::rate() const {
    const AVRational mean = stream_->avg_frame_rate;
    return mean.num > 0 && mean.den > 0 ? mean : AVRational{0, 1};
}

MediaInput::Result MediaInput::read(FramePtr& picture, std::string& reason) {
    FramePtr decoded(av_frame_alloc());
    if (!decoded) {
        reason = "no memory for a picture";
        return Result::failed;
    }
    for (;;) {
        const int result = avcodec_receive_frame(codec_.get(), decoded.get());
        if (result >= 0) {
            picture = convert(std::move(decoded));
            if (!picture) reason = "its pictures cannot be converted";
            return picture ? Result::picture : Result::failed;
        }
        if (result == AVERROR_EOF) return Result::end;
        if (!feed(reason)) return Result::failed;
    }
}

bool MediaInput::feed(std::string& reason) {
    const int result = av_read_frame(input_.get(), packet_.get());
    if (result == AVERROR_EOF && !draining_) {
        draining_ = true;
        avcodec_send_packet(codec_.get(), nullptr);
        return true;
    }
    if (result < 0) {
        reason = ffmpegError(result);
        return false;
    }
    // What cannot be decoded is left out; a file that holds nothing else comes to its end.
    if (packet_->stream_index == stream_->index) avcodec_send_packet(codec_.get(), packet_.get());
    av_packet_unref(packet_.get());
    return true;
}

FramePtr MediaInput::convert(FramePtr decoded) {
    decoded->pts = decoded->best_effort_timestamp;
    const bool limited = decoded->color_range != AVCOL_RANGE_JPEG;
    if (decoded->format == AV_PIX_FMT_YUV420P && limited && decoded->width == width() &&
        decoded->height == height()) {
        return decoded;
    }
    FramePtr converted = scaler_.scale(*decoded, width(), height());
    if (converted) converted->pts = decoded->pts;
    return converted;
}

bool MediaInput::rewind(bool byBytes) {
    draining_ = false;
    avcodec_flush_buffers(codec_.get());
    if (byBytes) return av_seek_frame(input_.get(), -1, 0, AVSEEK_FLAG_BYTE) >= 0;
    const std::int64_t start = stream_->start_time == AV_NOPTS_VALUE ? 0 : stream_->start_time;
    return av_seek_frame(input_.get(), stream_->index, start, AVSEEK_FLAG_BACKWARD) >= 0;
}

}  // namespace kep::host
