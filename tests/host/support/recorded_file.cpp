#include "recorded_file.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <numbers>

#include "picture_probe.h"

namespace {

thread_local std::vector<std::string>* errorLines = nullptr;

void keepErrorLine(void*, int level, const char* format, std::va_list arguments) {
    if (!errorLines || level > AV_LOG_ERROR) return;
    char line[512];
    std::vsnprintf(line, sizeof line, format, arguments);
    errorLines->emplace_back(line);
}

/** Collects the FFmpeg libraries' error lines of this thread during its lifetime. */
class Listening {
  public:
    explicit Listening(std::vector<std::string>& errors) {
        static std::once_flag once;
        std::call_once(once, [] { av_log_set_callback(keepErrorLine); });
        errorLines = &errors;
    }
    ~Listening() { errorLines = nullptr; }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;
};

struct InMemory {
    const std::vector<std::uint8_t>& content;
    std::size_t at = 0;

    static int read(void* opaque, std::uint8_t* to, int size) {
        auto& file = *static_cast<InMemory*>(opaque);
        const std::size_t part = std::min(static_cast<std::size_t>(size), file.content.size() - file.at);
        if (part == 0) return AVERROR_EOF;
        std::memcpy(to, file.content.data() + file.at, part);
        file.at += part;
        return static_cast<int>(part);
    }
    static std::int64_t seek(void* opaque, std::int64_t offset, int whence) {
        auto& file = *static_cast<InMemory*>(opaque);
        const auto size = static_cast<std::int64_t>(file.content.size());
        if (whence & AVSEEK_SIZE) return size;
        if (whence == SEEK_CUR) offset += static_cast<std::int64_t>(file.at);
        if (whence == SEEK_END) offset += size;
        if (offset < 0 || offset > size) return AVERROR(EINVAL);
        file.at = static_cast<std::size_t>(offset);
        return offset;
    }
};

std::string errorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = "";
    av_strerror(code, text, sizeof text);
    return text;
}

constexpr int kBeepHertz = 1000;
constexpr int kToneHertz = 440;

}  // namespace

RecordedFile::RecordedFile(const std::string& path, bool edits) {
    const Listening listening(errors_);
    read(avformat_alloc_context(), path.c_str(), edits);
}

RecordedFile::RecordedFile(const std::vector<std::uint8_t>& content) {
    const Listening listening(errors_);
    constexpr int kBuffer = 32768;
    InMemory file{content};
    AVIOContext* io = avio_alloc_context(static_cast<unsigned char*>(av_malloc(kBuffer)), kBuffer, 0, &file,
                                         InMemory::read, nullptr, InMemory::seek);
    AVFormatContext* const input = avformat_alloc_context();
    input->pb = io;
    read(input, "memory", true);
    av_freep(&io->buffer);
    avio_context_free(&io);
}

void RecordedFile::read(AVFormatContext* input, const char* name, bool edits) {
    AVDictionary* options = nullptr;
    if (!edits) av_dict_set(&options, "ignore_editlist", "1", 0);
    input->error_recognition = AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_BUFFER | AV_EF_EXPLODE;
    const int opened = avformat_open_input(&input, name, nullptr, &options);
    av_dict_free(&options);
    if (opened < 0) {
        errors_.push_back(std::string("cannot be opened: ") + errorText(opened));
        return;
    }
    // Some stream parameters are in the packets only, not in the header.
    if (avformat_find_stream_info(input, nullptr) < 0) errors_.emplace_back("no stream information");
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVStream& stream = *input->streams[i];
        const bool isVideo = stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        RecordedStream& kept = isVideo ? video_ : audio_;
        std::shared_ptr<AVCodecParameters> codec(
            avcodec_parameters_alloc(),
            [](AVCodecParameters* parameters) { avcodec_parameters_free(&parameters); });
        avcodec_parameters_copy(codec.get(), stream.codecpar);
        kept.codec = codec;
        kept.unit = stream.time_base;
    }
    for (;;) {
        std::shared_ptr<AVPacket> packet(av_packet_alloc(), [](AVPacket* old) { av_packet_free(&old); });
        const int result = av_read_frame(input, packet.get());
        if (result == AVERROR_EOF) break;
        if (result < 0) {
            errors_.push_back("cannot be read: " + errorText(result));
            break;
        }
        if (packet->flags & AV_PKT_FLAG_CORRUPT) errors_.emplace_back("truncated packet");
        const AVMediaType type = input->streams[packet->stream_index]->codecpar->codec_type;
        (type == AVMEDIA_TYPE_VIDEO ? video_ : audio_).packets.push_back(packet);
    }
    avformat_close_input(&input);
}

template <class Take>
void RecordedFile::decode(const RecordedStream& stream, const Take& take) {
    if (!stream) return;
    const Listening listening(errors_);
    AVCodecContext* codec = avcodec_alloc_context3(avcodec_find_decoder(stream.codec->codec_id));
    avcodec_parameters_to_context(codec, stream.codec.get());
    codec->pkt_timebase = stream.unit;
    codec->thread_count = 1;
    codec->err_recognition = AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_BUFFER | AV_EF_EXPLODE;
    AVFrame* frame = av_frame_alloc();
    const auto send = [&](const AVPacket* packet) {
        const int result = avcodec_send_packet(codec, packet);
        if (result < 0) errors_.push_back("cannot be decoded: " + errorText(result));
        int received = 0;
        while ((received = avcodec_receive_frame(codec, frame)) >= 0) {
            if (frame->decode_error_flags || frame->flags & AV_FRAME_FLAG_CORRUPT)
                errors_.emplace_back("damaged frame");
            take(*frame);
        }
        if (received != AVERROR(EAGAIN) && received != AVERROR_EOF)
            errors_.push_back("cannot be decoded: " + errorText(received));
    };
    if (const int result = avcodec_open2(codec, nullptr, nullptr); result < 0) {
        errors_.push_back("no decoder: " + errorText(result));
    } else {
        for (const auto& packet : stream.packets) send(packet.get());
        send(nullptr);
    }
    av_frame_free(&frame);
    avcodec_free_context(&codec);
}

std::vector<RecordedPicture> RecordedFile::decodePictures() {
    std::vector<RecordedPicture> pictures;
    decode(video_, [&](const AVFrame& frame) {
        const LumaPlane luma = {frame.data[0], frame.linesize[0], frame.width, frame.height};
        pictures.push_back(
            {video_.seconds(frame.pts), frame.key_frame != 0, readPictureNumber(luma), isFlashLit(luma)});
    });
    return pictures;
}

RecordedSound RecordedFile::decodeSound() {
    RecordedSound sound;
    decode(audio_, [&](const AVFrame& frame) {
        if (sound.rate == 0) {
            sound.rate = frame.sample_rate;
            sound.begin = audio_.seconds(frame.pts);
        }
        const auto due = std::llround((audio_.seconds(frame.pts) - sound.begin) * sound.rate);
        if (due > static_cast<long long>(sound.samples.size()))
            sound.samples.resize(static_cast<std::size_t>(due));
        const auto* const samples = reinterpret_cast<const float*>(frame.extended_data[0]);
        sound.samples.insert(sound.samples.end(), samples, samples + frame.nb_samples);
    });
    return sound;
}

std::vector<double> beepsOf(const RecordedSound& sound) {
    // Matches the last milliseconds of the tone before a beep and the first of the beep: both restart their
    // phase there, so the expected waveform is known to the sample.
    if (sound.rate == 0) return {};
    const int half = sound.rate / 100;
    std::vector<double> expected;
    for (int i = -half; i < half; ++i) {
        const double hertz = i < 0 ? kToneHertz : kBeepHertz;
        expected.push_back(std::sin(2 * std::numbers::pi * hertz * i / sound.rate));
    }
    const auto correlation = [&](std::size_t at) {
        double product = 0;
        double energy = 1e-9;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const double sample = sound.samples[at - static_cast<std::size_t>(half) + i];
            product += sample * expected[i];
            energy += sample * sample;
        }
        return product / std::sqrt(energy * half);
    };
    std::vector<double> beeps;
    const auto margin = static_cast<std::size_t>(half);
    const std::size_t end = sound.samples.size() > margin ? sound.samples.size() - margin : 0;
    constexpr std::size_t kStride = 8;
    for (std::size_t at = margin; at < end; at += kStride) {
        if (correlation(at) < 0.5) continue;
        std::size_t best = at;
        double most = 0;
        for (std::size_t near = at; near < std::min(end, at + margin); ++near) {
            if (const double there = correlation(near); there > most) {
                most = there;
                best = near;
            }
        }
        if (most < 0.9) continue;
        beeps.push_back(sound.time(static_cast<double>(best)));
        at = best + margin;
    }
    return beeps;
}

std::vector<double> flashesOf(const std::vector<RecordedPicture>& pictures) {
    std::vector<double> flashes;
    for (std::size_t i = 1; i < pictures.size(); ++i) {
        if (pictures[i].lit && !pictures[i - 1].lit) flashes.push_back(pictures[i].time);
    }
    return flashes;
}
