#include "picture/image_stage.h"

#include <algorithm>
#include <cstring>

namespace kep::host {
namespace {

constexpr int kPlanes = 3;

/** Copies a row in reverse order. */
void copyReversed(const std::uint8_t* from, std::uint8_t* to, std::size_t count) {
    const std::uint8_t* const end = from + count;
    std::size_t done = 0;
    for (std::uint64_t eight = 0; done + sizeof eight <= count; done += sizeof eight) {
        std::memcpy(&eight, end - done - sizeof eight, sizeof eight);
        eight = __builtin_bswap64(eight);
        std::memcpy(to + done, &eight, sizeof eight);
    }
    std::reverse_copy(from, end - done, to + done);
}

}  // namespace

FramePtr ImageStage::apply(FramePtr frame, std::chrono::steady_clock::time_point captured) {
    ImageRecord image{};
    if (imageReader_.read(&image) && (image.hflip || image.vflip)) {
        frame = flipped(*frame, image);
        if (!frame) return nullptr;
    }
    std::vector<Zone> zones;
    if (ZoneTable table; zonesReader_.read(table.data())) zones = zonesIn(table, frame->width, frame->height);
    StampTable stamps;
    const bool isStamped = stampsReader_.read(&stamps) && hasStamps(stamps);
    if (zones.empty() && !isStamped) return frame;
    if (!av_frame_is_writable(frame.get())) {
        frame = copied(*frame);
        if (!frame) return nullptr;
    }
    paintZones(*frame, zones);
    if (isStamped) stampPainter_.paint(*frame, stamps, wallTimeOf(captured));
    return frame;
}

FramePtr ImageStage::copied(const AVFrame& frame) {
    FramePtr copy = pool_.get(frame.width, frame.height);
    if (copy && (av_frame_copy(copy.get(), &frame) < 0 || av_frame_copy_props(copy.get(), &frame) < 0))
        return nullptr;
    return copy;
}

FramePtr ImageStage::flipped(const AVFrame& frame, const ImageRecord& image) {
    FramePtr turned = pool_.get(frame.width, frame.height);
    if (!turned || av_frame_copy_props(turned.get(), &frame) < 0) return nullptr;
    for (int plane = 0; plane < kPlanes; ++plane) {
        const int rows = plane == 0 ? frame.height : frame.height / 2;
        const auto columns = static_cast<std::size_t>(plane == 0 ? frame.width : frame.width / 2);
        for (int row = 0; row < rows; ++row) {
            const std::ptrdiff_t source = image.vflip ? rows - 1 - row : row;
            const std::uint8_t* const from = frame.data[plane] + source * frame.linesize[plane];
            std::uint8_t* const to = turned->data[plane] + std::ptrdiff_t{row} * turned->linesize[plane];
            if (image.hflip)
                copyReversed(from, to, columns);
            else
                std::memcpy(to, from, columns);
        }
    }
    return turned;
}

}  // namespace kep::host
