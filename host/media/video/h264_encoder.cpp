#include "media/video/h264_encoder.h"

#include <algorithm>
#include <limits>

extern "C" {
#include <libavutil/opt.h>
}

namespace kep::host {

namespace {

constexpr std::size_t shelfRoom = 3;

void setRate(AVCodecContext& codec, int bitsPerSecond) {
    codec.bit_rate = bitsPerSecond;
    codec.rc_max_rate = bitsPerSecond;
    // Half a second holds a key frame and still keeps the mean of a short piece close to what is set.
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
    // Groups end where a key frame is asked for and nowhere else, so that their length can change at any
    // time.
    codec->gop_size = std::numeric_limits<int>::max();
    codec->max_b_frames = 0;
    codec->thread_count = 1;
    setRate(*codec, settings.bitRate);
    av_opt_set(codec->priv_data, "preset", "ultrafast", 0);
    av_opt_set(codec->priv_data, "tune", "zerolatency", 0);
    av_opt_set(codec->priv_data, "forced-idr", "1", 0);
    // Of one that writes its own lines, past the libraries' log; others have no such option.
    av_opt_set(codec->priv_data, "x265-params", "log-level=none", 0);

    const int opened = avcodec_open2(codec.get(), found, nullptr);
    if (opened < 0) {
        reason = std::string("encoder ") + encoder + ": " + ffmpegError(opened);
        return nullptr;
    }
    return std::unique_ptr<H264Encoder>(new H264Encoder(std::move(codec), settings));
}

bool H264Encoder::fits(const H264Settings& settings) const {
    return settings.width == settings_.width && settings.height == settings_.height &&
           av_cmp_q(settings.rate, settings_.rate) == 0 && settings.colours == settings_.colours &&
           (settings.bitRate == settings_.bitRate || count_ <= 1);
}

void H264Encoder::setBitRate(int bitsPerSecond) {
    settings_.bitRate = bitsPerSecond;
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
    if (result < 0) {
        reason = ffmpegError(result);
        return nullptr;
    }
    return packet;
}

std::unique_ptr<H264Encoder> EncoderShelf::take(const H264Settings& settings) {
    std::unique_ptr<H264Encoder> taken;
    const std::lock_guard lock(mutex_);
    asked_ = true;
    const auto found = std::find_if(encoders_.begin(), encoders_.end(),
                                    [&](const auto& one) { return one->fits(settings); });
    if (found != encoders_.end()) {
        taken = std::move(*found);
        encoders_.erase(found);
        taken->setBitRate(settings.bitRate);
    }
    return taken;
}

void EncoderShelf::put(std::unique_ptr<H264Encoder> encoder) {
    std::unique_ptr<H264Encoder> oldest;
    const std::lock_guard lock(mutex_);
    if (!open_) return;
    if (encoders_.size() == shelfRoom) {
        oldest = std::move(encoders_.front());
        encoders_.erase(encoders_.begin());
    }
    encoders_.push_back(std::move(encoder));
}

void EncoderShelf::prepare(const H264Settings& settings, std::shared_ptr<const AVFrame> picture) {
    const std::lock_guard lock(mutex_);
    if (!open_ || asked_) return;
    asked_ = true;
    preparing_ = std::thread([this, settings, picture = std::move(picture)] {
        // Whoever starts a stream in the meantime sets up its own, and tells why when that cannot be done.
        std::string reason;
        auto encoder = H264Encoder::open(settings, reason);
        if (encoder && encoder->encode(*picture, true, reason)) put(std::move(encoder));
    });
}

bool EncoderShelf::isPreparing() {
    const std::lock_guard lock(mutex_);
    return preparing_.joinable();
}

void EncoderShelf::close() {
    std::thread preparing;
    {
        const std::lock_guard lock(mutex_);
        encoders_.clear();
        open_ = false;
        preparing.swap(preparing_);
    }
    if (preparing.joinable()) preparing.join();
}

EncoderShelf::~EncoderShelf() {
    close();
}

}  // namespace kep::host
