/**
 * Checks an H.264 byte stream of the camera's test picture:
 *
 *   bench_stream_check FILE FPS GOP
 *
 * Prints, one figure a line: frames; frames lost and duplicated, by the numbers painted into the pictures;
 * the number of groups of pictures, except the last, that are not GOP frames long; the bit rate.
 */
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "picture/frame_code.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

using kep::host::FrameCode;

struct Deleter {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

bool numberIn(const AVFrame& picture, std::uint32_t& number) {
    std::uint64_t code = 0;
    for (int row = 0; row < FrameCode::rows; ++row) {
        for (int column = 0; column < FrameCode::columns; ++column) {
            const int x = FrameCode::left + column * FrameCode::blockWidth + FrameCode::blockWidth / 2;
            const int y = FrameCode::top + row * FrameCode::blockHeight + FrameCode::blockHeight / 2;
            const int luma =
                picture.data[0][y * picture.height / FrameCode::pictureHeight * picture.linesize[0] +
                                x * picture.width / FrameCode::pictureWidth];
            code = code << 1 | (luma > 127 ? 1 : 0);
        }
    }
    return FrameCode::decode(code, number);
}

struct Tally {
    long frames = 0;
    long unread = 0;
    long lost = 0;
    long doubled = 0;
    long wrongGroups = 0;
    long sinceKey = 0;
    std::uint32_t last = 0;

    void add(const AVFrame& picture, long gop) {
        if (picture.key_frame) {
            if (frames > 0 && sinceKey != gop) ++wrongGroups;
            sinceKey = 0;
        }
        ++sinceKey;
        std::uint32_t number = 0;
        if (!numberIn(picture, number)) {
            ++unread;
        } else if (frames > 0) {
            const auto step = static_cast<std::int32_t>(number - last);
            if (step <= 0) ++doubled;
            if (step > 1) lost += step - 1;
        }
        last = number;
        ++frames;
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: bench_stream_check FILE FPS GOP\n");
        return 2;
    }
    const long fps = std::atol(argv[2]);
    const long gop = std::atol(argv[3]);
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, argv[1], av_find_input_format("h264"), nullptr) < 0) {
        std::fprintf(stderr, "bench_stream_check: cannot open %s\n", argv[1]);
        return 1;
    }
    const std::unique_ptr<AVFormatContext, Deleter> input(opened);
    const AVCodec* decoder = avcodec_find_decoder(AV_CODEC_ID_H264);
    const std::unique_ptr<AVCodecContext, Deleter> codec(avcodec_alloc_context3(decoder));
    if (avcodec_open2(codec.get(), decoder, nullptr) < 0) return 1;
    const std::unique_ptr<AVPacket, Deleter> packet(av_packet_alloc());
    const std::unique_ptr<AVFrame, Deleter> frame(av_frame_alloc());

    Tally tally;
    std::int64_t bytes = 0;
    const auto take = [&] {
        while (avcodec_receive_frame(codec.get(), frame.get()) == 0) tally.add(*frame, gop);
    };
    while (av_read_frame(input.get(), packet.get()) == 0) {
        bytes += packet->size;
        if (avcodec_send_packet(codec.get(), packet.get()) < 0) ++tally.unread;
        take();
        av_packet_unref(packet.get());
    }
    avcodec_send_packet(codec.get(), nullptr);
    take();
    if (tally.frames == 0) return 1;
    std::printf(
        "stream_frames %ld\nstream_unread %ld\nstream_lost %ld\nstream_doubled %ld\nstream_wrong_groups "
        "%ld\n",
        tally.frames, tally.unread, tally.lost, tally.doubled, tally.wrongGroups);
    std::printf("stream_bps %.0f\n",
                8.0 * static_cast<double>(bytes * fps) / static_cast<double>(tally.frames));
    return 0;
}
