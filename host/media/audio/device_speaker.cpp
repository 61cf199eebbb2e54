#include <algorithm>
#include <string>
#include <thread>

#include "media/audio/speaker.h"
#include "media/common/ffmpeg.h"
#include "objects/log.h"

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace kep::host {

namespace {

constexpr std::chrono::milliseconds kRetryPause{5};
constexpr std::chrono::seconds kStuck{5};  // a device that accepts no samples for longer is lost
constexpr std::int64_t kBufferMilliseconds = 100;
constexpr std::int64_t kLongestDelay = 2000000;  // microseconds; bounds playOut()

/** A playback device of the workstation: ALSA or PulseAudio, by the names that libavdevice gives them. */
class DeviceSpeaker final : public Speaker {
  public:
    DeviceSpeaker(DeviceSpec device, AudioFormat format) : device_(std::move(device)), format_(format) {}
    ~DeviceSpeaker() override;

    /** False, with an error line, when the device cannot be opened for this format. */
    bool open();
    bool write(const std::int16_t* samples, std::int64_t frames) override;
    void playOut() override;

  private:
    int openDevice();

    const DeviceSpec device_;
    const AudioFormat format_;
    OutputPtr output_;
    PacketPtr packet_{av_packet_alloc()};
    bool opened_ = false;
    std::int64_t written_ = 0;  // samples of each channel
};

DeviceSpeaker::~DeviceSpeaker() {
    if (opened_) av_write_trailer(output_.get());
}

bool DeviceSpeaker::open() {
    const int result = openDevice();
    opened_ = result >= 0;
    if (!opened_)
        KEP_HOST_ERROR("cannot open speaker " + device_.text + " for " + std::to_string(format_.rate) +
                       " Hz, " + std::to_string(format_.channels) + " channels: " + ffmpegError(result));
    return opened_;
}

int DeviceSpeaker::openDevice() {
    AVFormatContext* made = nullptr;
    int result =
        avformat_alloc_output_context2(&made, nullptr, device_.kind.c_str(), device_.argument.c_str());
    output_.reset(made);
    if (result < 0) return result;
    AVStream* stream = avformat_new_stream(made, nullptr);
    if (!stream) return AVERROR(ENOMEM);
    AVCodecParameters& parameters = *stream->codecpar;
    parameters.codec_type = AVMEDIA_TYPE_AUDIO;
    parameters.codec_id = AV_CODEC_ID_PCM_S16LE;
    parameters.format = AV_SAMPLE_FMT_S16;
    parameters.sample_rate = format_.rate;
    av_channel_layout_default(&parameters.ch_layout, format_.channels);

    AVDictionary* options = nullptr;
    if (device_.kind == "pulse") {
        if (device_.argument != "default") av_dict_set(&options, "device", device_.argument.c_str(), 0);
        av_dict_set_int(&options, "buffer_duration", kBufferMilliseconds, 0);
        // The server's default would never play a sound shorter than its prebuffer.
        av_dict_set_int(&options, "prebuf", static_cast<std::int64_t>(format_.frameBytes()), 0);
        // A blocking write does not notice that the server has gone.
        output_->flags |= AVFMT_FLAG_NONBLOCK;
    }
    result = avformat_write_header(made, &options);
    av_dict_free(&options);
    return result;
}

bool DeviceSpeaker::write(const std::int16_t* samples, std::int64_t frames) {
    const AVRational unit{1, format_.rate};
    const AVRational base = output_->streams[0]->time_base;
    const SteadyTime begin = std::chrono::steady_clock::now();
    for (std::int64_t attempt = 0;; ++attempt) {
        packet_->data = reinterpret_cast<std::uint8_t*>(const_cast<std::int16_t*>(samples));
        packet_->size = static_cast<int>(static_cast<std::size_t>(frames) * format_.frameBytes());
        packet_->pts = packet_->dts =
            av_rescale_q(written_, unit, base) + attempt;  // libavformat requires increasing time stamps
        packet_->duration = av_rescale_q(frames, unit, base);
        int result = av_write_frame(output_.get(), packet_.get());
        packet_->data = nullptr;
        if (result >= 0) break;
        if (result == AVERROR(EAGAIN) && std::chrono::steady_clock::now() - begin < kStuck) {
            std::this_thread::sleep_for(kRetryPause);
            continue;
        }
        KEP_HOST_ERROR("speaker " + device_.text + " is lost: " +
                       (result == AVERROR(EAGAIN) ? "it accepts no more samples" : ffmpegError(result)));
        return false;
    }
    written_ += frames;
    return true;
}

void DeviceSpeaker::playOut() {
    // ALSA drains when it is closed; for PulseAudio, wait until its position has reached the end.
    std::int64_t played = 0;
    std::int64_t wall = 0;
    if (device_.kind != "pulse" || av_get_output_timestamp(output_.get(), 0, &played, &wall) < 0) return;
    const AVRational base = output_->streams[0]->time_base;
    const std::int64_t left =
        av_rescale_q(written_, {1, format_.rate}, {1, 1000000}) - av_rescale_q(played, base, {1, 1000000});
    std::this_thread::sleep_for(std::chrono::microseconds(std::clamp<std::int64_t>(left, 0, kLongestDelay)));
}

}  // namespace

std::unique_ptr<Speaker> openSpeakerDevice(const DeviceSpec& device, AudioFormat format) {
    auto speaker = std::make_unique<DeviceSpeaker>(device, format);
    if (!speaker->open()) return nullptr;
    return speaker;
}

}  // namespace kep::host
