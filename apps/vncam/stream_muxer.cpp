#include "stream_muxer.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <new>

#include "adts.h"
#include "command.h"
#include "frame_times.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace vncam {
namespace {

/** Time base of packets until they are written: nanoseconds of the steady clock. */
constexpr AVRational kClockUnit{1, 1'000'000'000};
constexpr int kAacSamples = 1024;
/** How long one stream waits for another to begin: longer than a camera takes for its first picture. */
constexpr std::int64_t kOtherTimeout = 5'000'000'000;
/** Time span buffered of each stream before the first write. Players need as much to begin. */
constexpr std::int64_t kSettling = std::chrono::nanoseconds(FrameTimes::kSettling).count();

/** Whether an access unit in byte-stream form has a slice of an IDR picture (ITU-T H.264, 7.4.1). */
bool isKeyFrame(std::span<const char> unit) {
    constexpr int kSlice = 1;
    constexpr int kIdrSlice = 5;
    for (std::size_t i = 0; i + 3 < unit.size(); ++i) {
        if (unit[i] != 0 || unit[i + 1] != 0 || unit[i + 2] != 1) continue;
        const int type = unit[i + 3] & 0x1f;
        if (type == kSlice || type == kIdrSlice) return type == kIdrSlice;
    }
    return false;
}

/** The AAC data of an ADTS unit; the first header also sets the configuration in `codec`. */
std::span<const char> withoutAdts(std::span<const char> unit, AVCodecParameters& codec) {
    const auto header = readAdts(unit);
    if (!header || header->bytes != unit.size()) throw Failure("VNRead of audio: not an AAC unit with ADTS");
    if (!codec.extradata) {
        const auto& config = header->config;
        codec.extradata =
            static_cast<std::uint8_t*>(av_mallocz(config.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (!codec.extradata) throw std::bad_alloc();
        std::ranges::copy(config, codec.extradata);
        codec.extradata_size = static_cast<int>(config.size());
    }
    return unit.subspan(header->headerBytes);
}

}  // namespace

StreamFormat streamFormatOf(const std::string& path) {
    if (path.ends_with(".mp4")) return StreamFormat::mp4;
    if (path == "-" || path.ends_with(".ts")) return StreamFormat::mpegTs;
    throw UsageError("--output " + path + ": not NAME.mp4, NAME.ts or - (MPEG-TS on standard output)");
}

class StreamMuxer::Sink final : public FrameSink {
  public:
    Sink(std::shared_ptr<StreamMuxer> muxer, int stream) : muxer_(std::move(muxer)), stream_(stream) {
        ++muxer_->openSinks_;
    }

    bool isTimed() const override { return true; }
    void write(std::span<const char> frame, Time time) override {
        muxer_->add(stream_, frame, time);
        bytes_ += frame.size();
    }
    void abandon() override { muxer_->output_->abandon(); }
    void close() override { muxer_->close(); }
    const std::string& name() const override { return muxer_->output_->name(); }
    std::uint64_t bytes() const override { return bytes_; }

  private:
    const std::shared_ptr<StreamMuxer> muxer_;
    const int stream_;
    std::atomic<std::uint64_t> bytes_{0};
};

StreamSinks StreamMuxer::open(std::unique_ptr<Output> output, StreamFormat format, const VideoFormat& video,
                              const std::optional<AudioFormat>& audio) {
    const std::shared_ptr<StreamMuxer> muxer(new StreamMuxer(std::move(output), format));
    StreamSinks sinks;
    sinks.video = std::make_unique<Sink>(muxer, muxer->addVideo(video));
    if (audio) sinks.audio = std::make_unique<Sink>(muxer, muxer->addAudio(*audio));
    return sinks;
}

StreamMuxer::StreamMuxer(std::unique_ptr<Output> output, StreamFormat format)
    : output_(std::move(output)),
      format_(format),
      muxer_(*output_, format == StreamFormat::mp4 ? "mp4" : "mpegts",
             format == StreamFormat::mp4 ? "MP4" : "MPEG-TS", AvMuxer::Seeking::no) {}

StreamMuxer::~StreamMuxer() = default;

int StreamMuxer::addVideo(const VideoFormat& format) {
    AVStream& stream = *avformat_new_stream(muxer_.get(), nullptr);
    stream.time_base = {1, 90'000};
    stream.avg_frame_rate = {format.framesPerSecond, 1};
    stream.codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    stream.codecpar->codec_id = AV_CODEC_ID_H264;
    stream.codecpar->width = format.size.width;
    stream.codecpar->height = format.size.height;
    durations_.push_back(av_rescale_q(1, {1, format.framesPerSecond}, kClockUnit));
    return stream.index;
}

int StreamMuxer::addAudio(const AudioFormat& format) {
    AVStream& stream = *avformat_new_stream(muxer_.get(), nullptr);
    stream.time_base = {1, format.samplesPerSecond};
    stream.codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
    stream.codecpar->codec_id = AV_CODEC_ID_AAC;
    stream.codecpar->sample_rate = format.samplesPerSecond;
    av_channel_layout_default(&stream.codecpar->ch_layout, format.channels);
    durations_.push_back(av_rescale_q(kAacSamples, {1, format.samplesPerSecond}, kClockUnit));
    return stream.index;
}

void StreamMuxer::add(int stream, std::span<const char> frame, FrameSink::Time time) {
    const std::lock_guard lock(mutex_);
    AVCodecParameters& codec = *muxer_->streams[stream]->codecpar;
    const bool isVideo = codec.codec_type == AVMEDIA_TYPE_VIDEO;
    const bool isKey = !isVideo || isKeyFrame(frame);
    if (!isVideo && format_ == StreamFormat::mp4) frame = withoutAdts(frame, codec);
    PacketPtr packet(av_packet_alloc());
    if (!packet || av_new_packet(packet.get(), static_cast<int>(frame.size())) < 0) throw std::bad_alloc();
    std::memcpy(packet->data, frame.data(), frame.size());
    packet->stream_index = stream;
    packet->pts = packet->dts = std::chrono::nanoseconds(time.time_since_epoch()).count();
    packet->duration = durations_[static_cast<std::size_t>(stream)];
    if (isKey) packet->flags |= AV_PKT_FLAG_KEY;
    if (hasBegun_) {
        write(*packet);
        return;
    }
    early_.push_back(std::move(packet));
    if (spans(kSettling))
        begin();
    else if (early_.back()->pts - early_.front()->pts > kOtherTimeout)
        throw Failure(std::string("no ") + (isVideo ? "audio" : "video") + " frame received");
}

/** Whether the buffered packets of each stream span this time. */
bool StreamMuxer::spans(std::int64_t nanoseconds) const {
    for (int stream = 0; stream < static_cast<int>(muxer_->nb_streams); ++stream) {
        const auto isOf = [&](const PacketPtr& packet) { return packet->stream_index == stream; };
        const auto first = std::ranges::find_if(early_, isOf);
        if (first == early_.end()) return false;
        const auto last = std::ranges::find_if(early_.rbegin(), early_.rend(), isOf);
        if ((*last)->pts - (*first)->pts < nanoseconds) return false;
    }
    return true;
}

/** Moves delayed packets earlier, so that each ends before the next one of its stream begins. */
void StreamMuxer::settle() {
    std::vector<std::int64_t> next(muxer_->nb_streams, std::numeric_limits<std::int64_t>::max());
    for (auto packet = early_.rbegin(); packet != early_.rend(); ++packet) {
        std::int64_t& end = next[static_cast<std::size_t>((*packet)->stream_index)];
        end = std::min((*packet)->pts, end - (*packet)->duration);
        (*packet)->pts = end;
    }
}

void StreamMuxer::begin() {
    hasBegun_ = true;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "avoid_negative_ts", "disabled", 0);
    if (format_ == StreamFormat::mp4) {
        // delay_moov: only a header written after the first packets has the offset between the streams.
        av_dict_set(&options, "movflags", "frag_keyframe+delay_moov+default_base_moof", 0);
        // In microseconds. Limits fragments of longer groups: one is kept in memory, and lost by a kill.
        av_dict_set(&options, "frag_duration", "1000000", 0);
        // The unit of that offset.
        av_dict_set(&options, "movie_timescale", "90000", 0);
    } else {
        // Each frame of sound is written at once.
        av_dict_set(&options, "pes_payload_size", "0", 0);
    }
    const int result = avformat_write_header(muxer_.get(), &options);
    av_dict_free(&options);
    muxer_.check(result);
    settle();
    zero_ = (*std::ranges::min_element(early_, {}, [](const PacketPtr& packet) { return packet->pts; }))->pts;
    for (const PacketPtr& packet : early_) write(*packet);
    early_.clear();
}

void StreamMuxer::write(AVPacket& packet) {
    muxer_.check(0);
    packet.pts = packet.dts = packet.pts - zero_;
    av_packet_rescale_ts(&packet, kClockUnit, muxer_->streams[packet.stream_index]->time_base);
    // Not interleaved by the library: that would wait for the other stream.
    muxer_.check(av_write_frame(muxer_.get(), &packet));
    // The library writes whole fragments.
    if (format_ == StreamFormat::mp4) output_->flush();
}

void StreamMuxer::close() {
    const std::lock_guard lock(mutex_);
    if (--openSinks_ > 0) return;
    if (!hasBegun_ && spans(0)) begin();
    // Stopped before all streams had begun: nothing was written.
    if (!hasBegun_) throw ClosedPipe();
    muxer_.check(0);
    muxer_.check(av_write_trailer(muxer_.get()));
    output_->close();
}

}  // namespace vncam
