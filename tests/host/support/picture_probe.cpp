#include "picture_probe.h"

#include "picture/frame_code.h"

namespace {

using kep::host::FrameCode;

/** Mean brightness of the inner half of an area given in coordinates of the full picture. */
int meanOf(const LumaPlane& luma, int left, int top, int width, int height) {
    const int fromX = (left + width / 4) * luma.width / FrameCode::pictureWidth;
    const int fromY = (top + height / 4) * luma.height / FrameCode::pictureHeight;
    const int toX = (left + width * 3 / 4) * luma.width / FrameCode::pictureWidth;
    const int toY = (top + height * 3 / 4) * luma.height / FrameCode::pictureHeight;
    int sum = 0;
    int count = 0;
    for (int y = fromY; y <= toY; ++y) {
        for (int x = fromX; x <= toX; ++x) {
            sum += luma.data[static_cast<std::ptrdiff_t>(y) * luma.stride + x];
            ++count;
        }
    }
    return sum / count;
}

}  // namespace

std::optional<std::uint32_t> readPictureNumber(const LumaPlane& luma) {
    std::uint64_t code = 0;
    for (int row = 0; row < FrameCode::rows; ++row) {
        for (int column = 0; column < FrameCode::columns; ++column) {
            const int mean = meanOf(luma, FrameCode::left + column * FrameCode::blockWidth,
                                    FrameCode::top + row * FrameCode::blockHeight, FrameCode::blockWidth,
                                    FrameCode::blockHeight);
            code = code << 1 | (mean > 127 ? 1U : 0U);
        }
    }
    std::uint32_t number = 0;
    if (!FrameCode::decode(code, number)) return std::nullopt;
    return number;
}

bool isFlashLit(const LumaPlane& luma) {
    return meanOf(luma, 1440, 440, 480, 256) > 180;
}
