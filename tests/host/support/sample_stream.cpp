#include "sample_stream.h"

#include <algorithm>
#include <atomic>
#include <random>
#include <stdexcept>

#include "media/audio/aac_encoder.h"
#include "media/audio/adts.h"
#include "media/video/h264_encoder.h"

namespace kep::host {
namespace {

constexpr int kWidth = 96;
constexpr int kHeight = 64;
constexpr int kBitRate = 100'000;
constexpr AudioFormat kSound = {48000, 1};

void paint(AVFrame& frame, int number, std::mt19937& random) {
    for (int plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        for (int y = 0; y < kHeight >> shift; ++y) {
            for (int x = 0; x < kWidth >> shift; ++x)
                frame.data[plane][y * frame.linesize[plane] + x] =
                    static_cast<std::uint8_t>(x + y * 2 + number * 3 + static_cast<int>(random() % 16));
        }
    }
}

std::shared_ptr<MediaPacket> packetOf(const MediaPtr& media, SteadyTime stamp,
                                      std::chrono::nanoseconds duration) {
    auto packet = std::make_shared<MediaPacket>();
    packet->media = media;
    packet->stamp = stamp;
    packet->duration = duration;
    return packet;
}

void addPictures(SampleStream& stream, int seconds, SteadyTime begin) {
    auto media = std::make_shared<Media>();
    media->codec = AV_CODEC_ID_H264;
    media->width = kWidth;
    media->height = kHeight;
    media->frameRate = {SampleStream::rate, 1};
    media->bitRate = kBitRate;
    stream.video = media;
    std::string reason;
    const auto encoder =
        H264Encoder::open({kWidth, kHeight, media->frameRate, kBitRate, AVCOL_SPC_UNSPECIFIED}, reason);
    if (!encoder) throw std::runtime_error(reason);
    const FramePtr frame(av_frame_alloc());
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = kWidth;
    frame->height = kHeight;
    if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
    std::mt19937 random(1);
    for (std::int64_t number = 0; number < seconds * SampleStream::rate; ++number) {
        paint(*frame, static_cast<int>(number), random);
        std::shared_ptr<AVPacket> unit = encoder->encode(*frame, number % SampleStream::group == 0, reason);
        if (!unit) throw std::runtime_error(reason);
        const std::chrono::nanoseconds second(1'000'000'000);
        auto packet =
            packetOf(media, begin + second * number / SampleStream::rate, second / SampleStream::rate);
        packet->key = unit->flags & AV_PKT_FLAG_KEY;
        packet->size = unit->size;
        packet->bytes = {unit, unit->data};
        stream.packets.push_back(packet);
    }
}

void addSound(SampleStream& stream, int seconds, SteadyTime begin) {
    auto media = std::make_shared<Media>();
    media->kind = Media::Kind::audio;
    media->codec = AV_CODEC_ID_AAC;
    media->sampleRate = kSound.rate;
    media->channels = kSound.channels;
    media->bitRate = 32'000;
    const std::atomic<int> bitRate{media->bitRate};
    AacEncoder encoder(kSound, kSound, bitRate, true);
    if (!encoder.open()) throw std::runtime_error("cannot open the AAC encoder");
    media->parameters = aacConfig(kSound.rate, kSound.channels);
    stream.audio = media;
    std::mt19937 random(2);
    for (std::int64_t block = 0; block < seconds * 50; ++block) {
        std::vector<std::int16_t> samples;
        for (int i = 0; i < kSound.blockFrames(); ++i)
            samples.push_back(static_cast<std::int16_t>(random() % 8192));
        const SteadyTime stamp = begin + kSound.duration(block * kSound.blockFrames());
        encoder.add(samples.data(), kSound.blockFrames(), stamp, [&](const AacUnit& unit) {
            auto packet = packetOf(media, unit.stamp, kSound.duration(AacEncoder::kUnitSamples));
            packet->size = unit.size;
            packet->bytes = unit.bytes;
            // A recording drops audio before the first picture, so none is generated.
            if (unit.stamp >= begin) stream.packets.push_back(packet);
        });
    }
}

}  // namespace

SampleStream::SampleStream(int seconds) {
    const SteadyTime begin{std::chrono::hours(1)};
    addPictures(*this, seconds, begin);
    addSound(*this, seconds, begin);
    std::stable_sort(packets.begin(), packets.end(), [](const SharedPacket& left, const SharedPacket& right) {
        return left->stamp < right->stamp;
    });
}

}  // namespace kep::host
