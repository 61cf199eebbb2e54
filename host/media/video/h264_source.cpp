#include "media/video/h264_source.h"

#include "objects/log.h"

namespace kep::host {

using api::streaming::common::frame_t;

namespace {

// What a reader may leave lying: some seconds of a usual stream.
constexpr GroupQueue<std::shared_ptr<frame_t>>::Limits queueLimits = {120, 8U << 20};

constexpr int lowestBitRate = 10'000;
constexpr int highestBitRate = 200'000'000;

bool isBitRate(int bitsPerSecond) {
    if (bitsPerSecond >= lowestBitRate && bitsPerSecond <= highestBitRate) return true;
    KEP_HOST_ERROR("bit rate " + std::to_string(bitsPerSecond) + " is not from " +
                   std::to_string(lowestBitRate) + " to " + std::to_string(highestBitRate));
    return false;
}

}  // namespace

H264Source::H264Source() : queue_(queueLimits) {}

void H264Source::SetBitRate(int bitsPerSecond) {
    if (run() && !isBitRate(bitsPerSecond)) return;
    bitRate_ = bitsPerSecond;
}

bool H264Source::start() {
    if (!isBitRate(bitRate_) || !openRun()) return false;
    const std::shared_ptr<Run> current = run();
    std::string reason;
    if (!openEncoder(*current, current->tap->rate(), reason)) {
        KEP_HOST_ERROR(reason);
        closeRun();
        return false;
    }
    queue_.open();
    thread_ = std::thread([this, current] { encodeAll(*current); });
    return true;
}

void H264Source::stop() {
    const std::shared_ptr<Run> last = run();
    closeRun();
    if (thread_.joinable()) thread_.join();
    queue_.close();
    if (last && encoder_) last->tap->encoders().put(std::move(encoder_));
}

bool H264Source::openEncoder(Run& run, AVRational rate, std::string& reason) {
    encoderBitRate_ = bitRate_;
    encoderRate_ = rate;
    inGroup_ = 0;
    const H264Settings settings = {run.width, run.height, rate, encoderBitRate_, run.tap->format().colours};
    if (encoder_) run.tap->encoders().put(std::move(encoder_));
    encoder_ = run.tap->encoders().take(settings);
    if (!encoder_) encoder_ = H264Encoder::open(settings, reason);
    return encoder_ != nullptr;
}

void H264Source::encodeAll(Run& run) {
    const auto encodeOne = [&](const PicturePtr& given) {
        const PicturePtr picture = scaled(run, given);
        std::string reason;
        if (!picture || encode(run, *picture, reason)) return picture != nullptr;
        KEP_HOST_ERROR(reason);
        encoder_.reset();
        ended("name=failed,media=video");
        return false;
    };
    run.tap->serve(encodeOne, [] { return true; });
    queue_.finish();
}

bool H264Source::encode(Run& run, const Picture& picture, std::string& reason) {
    const AVRational rate = run.tap->rate();
    if (av_cmp_q(rate, encoderRate_) != 0 && !openEncoder(run, rate, reason)) return false;
    if (const int bitRate = bitRate_; bitRate != encoderBitRate_) {
        encoder_->setBitRate(bitRate);
        encoderBitRate_ = bitRate;
    }
    PacketPtr packet = encoder_->encode(*picture.frame, beginsGroup(), reason);
    if (!packet) return false;
    hand(std::move(packet), picture);
    return true;
}

bool H264Source::beginsGroup() {
    const int gop = gop_;
    const bool asked = keyAsked_.exchange(false);
    const bool begins = asked || inGroup_ == 0 || (gop > 0 && inGroup_ >= gop);
    inGroup_ = begins ? 1 : inGroup_ + 1;
    return begins;
}

void H264Source::hand(PacketPtr packet, const Picture& picture) {
    auto frame = std::make_shared<frame_t>();
    frame->index = static_cast<int>(picture.number);
    frame->data = packet->data;
    frame->size = packet->size;
    frame->key = packet->flags & AV_PKT_FLAG_KEY;
    frame->stamp = picture.stamp;
    frame->release = [owned = packet.release()](frame_t*) { PacketPtr{owned}; };
    const bool key = frame->key;
    const auto bytes = static_cast<std::size_t>(frame->size);
    const auto pushed = queue_.push(std::move(frame), key, bytes);
    if (pushed.lost) postLost("video", pushed.lost);
    if (pushed.awaitsKey) keyAsked_ = true;
}

}  // namespace kep::host
