#include "media/video/h264_encoder.h"

#include <limits>

extern "C" {
#include <libavutil/opt.h>
}

namespace kep::host {

namespace {

void setRate(AVCodecContext& codec, int bitsPerSecond) {
    codec.bit_rate = bitsPerSecond;
    codec.rc_max_rate = bitsPerSecond;
    // Half a second has room for a key frame, yet keeps the mean rate of a short clip close to the setting.
    codec.rc_buffer_size = bitsPerSecond / 2;
}

}  // namespace

std::unique_ptr<H264Encoder> H264Encoder::open(const H264Settings& settings, std::string& reason,
                                               const char* encoder) {
    initFfmpeg();
    const AVCodec* found = avcodec_find_encoder_by_name(encoder);
    if (!found) {
        reason = std::string("encoder ") + encoder + " is missing";
        return nullptr;
    }
    CodecPtr codec(avcodec_alloc_context3(found));
    if (!codec) {
        reason = "no memory for an encoder";
        return nullptr;
    }
    codec->width = settings.width;
    codec->height = settings.height;
    codec->pix_fmt = AV_PIX_FMT_YUV420P;
    codec->framerate = settings.rate;
    codec->time_base = av_inv_q(settings.rate);
    codec->color_range = AVCOL_RANGE_MPEG;
    codec->colorspace = settings.colours;
    if (settings.colours == AVCOL_SPC_BT709) {
        codec->color_primaries = AVCOL_PRI_BT709;
        codec->color_trc = AVCOL_TRC_BT709;
    }
    // Key frames only on request, so that the group length can change at any time.
    codec->gop_size = std::numeric_limits<int>::max();
    codec->max_b_frames = 0;
    codec->thread_count = 1;
    setRate(*codec, settings.bitRate);
    av_opt_set(codec->priv_data, "preset", "ultrafast", 0);
    av_opt_set(codec->priv_data, "tune", "zerolatency", 0);
    av_opt_set(codec->priv_data, "forced-idr", "1", 0);
    // x265 bypasses av_log; other encoders have no such option.
    av_opt_set(codec->priv_data, "x265-params", "log-level=none", 0);

    const int opened = avcodec_open2(codec.get(), found, nullptr);
    if (opened < 0) {
        reason = std::string("encoder ") + encoder + ": " + ffmpegError(opened);
        return nullptr;
    }
    return std::unique_ptr<H264Encoder>(new H264Encoder(std::move(codec)));
}

void H264Encoder::setBitRate(int bitsPerSecond) {
    setRate(*codec_, bitsPerSecond);
}

PacketPtr H264Encoder::encode(const AVFrame& picture, bool key, std::string& reason) {
    PacketPtr packet(av_packet_alloc());
    if (!packet || !frame_ || av_frame_ref(frame_.get(), &picture) < 0) {
        reason = "no memory for an access unit";
        return nullptr;
    }
    frame_->pts = count_++;
    frame_->pict_type = key ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    int result = avcodec_send_frame(codec_.get(), frame_.get());
    av_frame_unref(frame_.get());
    if (result >= 0) result = avcodec_receive_packet(codec_.get(), packet.get());
    return succeeded(result, reason) ? std::move(packet) : nullptr;
}

}  // namespace kep::host
