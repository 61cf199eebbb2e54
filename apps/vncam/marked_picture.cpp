#include "marked_picture.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixdesc.h>
}

#include "av_packet.h"
#include "command.h"
#include "output.h"

namespace vncam {
namespace {

constexpr int kFrameWidth = 1920;
constexpr int kFrameHeight = 1080;
/** Width of an edge in pixels: two columns or rows of chroma. */
constexpr int kThickness = 4;
/** Green, full range. */
constexpr std::array<std::uint8_t, 3> kColour = {150, 44, 21};
/** Quantiser scale of the new file; 2 is the finest. */
constexpr int kQuantiser = 3;

struct FreeCodec {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};
struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using CodecPtr = std::unique_ptr<AVCodecContext, FreeCodec>;
using FramePtr = std::unique_ptr<AVFrame, FreeFrame>;

/** Null when the bytes are not a JPEG picture. */
FramePtr decoded(const std::vector<char>& bytes) {
    const AVCodec* const type = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    const CodecPtr codec(avcodec_alloc_context3(type));
    const PacketPtr packet(av_packet_alloc());
    FramePtr frame(av_frame_alloc());
    if (bytes.empty() || !codec || !packet || !frame || avcodec_open2(codec.get(), type, nullptr) < 0 ||
        av_new_packet(packet.get(), static_cast<int>(bytes.size())) < 0)
        return nullptr;
    std::copy(bytes.begin(), bytes.end(), packet->data);
    if (avcodec_send_packet(codec.get(), packet.get()) < 0 || avcodec_send_packet(codec.get(), nullptr) < 0 ||
        avcodec_receive_frame(codec.get(), frame.get()) < 0 || av_frame_make_writable(frame.get()) < 0)
        return nullptr;
    return frame;
}

/** Null on failure. */
PacketPtr encoded(AVFrame& frame) {
    const AVCodec* const type = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    const CodecPtr codec(avcodec_alloc_context3(type));
    PacketPtr packet(av_packet_alloc());
    if (!codec || !packet) return nullptr;
    codec->width = frame.width;
    codec->height = frame.height;
    codec->pix_fmt = static_cast<AVPixelFormat>(frame.format);
    codec->color_range = frame.color_range;
    codec->time_base = {1, 1};
    codec->flags |= AV_CODEC_FLAG_QSCALE;
    codec->global_quality = frame.quality = kQuantiser * FF_QP2LAMBDA;
    frame.pts = 0;
    frame.pict_type = AV_PICTURE_TYPE_NONE;
    if (avcodec_open2(codec.get(), type, nullptr) < 0 || avcodec_send_frame(codec.get(), &frame) < 0 ||
        avcodec_receive_packet(codec.get(), packet.get()) < 0)
        return nullptr;
    return packet;
}

/** Fills a rectangle, without its right column and bottom row; it may reach beyond the picture. */
void fill(AVFrame& frame, int left, int top, int right, int bottom) {
    const AVPixFmtDescriptor* const format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    for (int plane = 0; plane < format->nb_components; ++plane) {
        const int across = plane ? format->log2_chroma_w : 0, down = plane ? format->log2_chroma_h : 0;
        const int end = std::clamp(right, 0, frame.width) >> across;
        for (int y = std::clamp(top, 0, frame.height) >> down;
             y < std::clamp(bottom, 0, frame.height) >> down; ++y)
            for (int x = std::clamp(left, 0, frame.width) >> across; x < end; ++x)
                frame.data[plane][y * frame.linesize[plane] + x] = kColour[static_cast<std::size_t>(plane)];
    }
}

void draw(AVFrame& frame, const Mark& mark) {
    const int left = mark.x * frame.width / kFrameWidth,
              right = (mark.x + mark.w) * frame.width / kFrameWidth;
    const int top = mark.y * frame.height / kFrameHeight;
    const int bottom = (mark.y + mark.h) * frame.height / kFrameHeight;
    fill(frame, left, top, right, top + kThickness);
    fill(frame, left, bottom - kThickness, right, bottom);
    fill(frame, left, top, left + kThickness, bottom);
    fill(frame, right - kThickness, top, right, bottom);
}

}  // namespace

void markPicture(const std::string& path, const std::vector<Mark>& marks) {
    std::ifstream file(path, std::ios::binary);
    const FramePtr frame = decoded({std::istreambuf_iterator<char>(file), {}});
    if (!frame) throw Failure(path + ": not a JPEG file");
    for (const Mark& mark : marks) draw(*frame, mark);
    const PacketPtr packet = encoded(*frame);
    if (!packet) throw Failure(path + ": cannot encode the picture");
    const std::string unfinished = path + ".marked";
    Output output(unfinished);
    output.write(reinterpret_cast<const char*>(packet->data), static_cast<std::size_t>(packet->size));
    output.close();
    std::error_code error;
    std::filesystem::rename(unfinished, path, error);
    if (error) throw Failure(path + ": cannot replace: " + error.message());
}

}  // namespace vncam
