#include "picture/colours.h"

#include <algorithm>
#include <cmath>

namespace kep::host {
namespace {

constexpr double kMiddle = 128;  // zero chroma

/** Black level, and the extent of luma and chroma. */
struct Range {
    double black, luma, chroma;
};
constexpr Range kFullRange = {0, 255, 255};
constexpr Range kLimitedRange = {16, 219, 224};

std::uint8_t rounded(double value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

double unit(double value) {
    return std::clamp(value, 0.0, 1.0);
}

}  // namespace

LumaShares lumaSharesOf(AVColorSpace colours, int height) {
    // Players, too, choose by the size if a video does not specify its colour space.
    if (colours == AVCOL_SPC_UNSPECIFIED) return height > 576 ? kHighDefinition : kStandardTelevision;
    return colours == AVCOL_SPC_BT709 ? kHighDefinition : kStandardTelevision;
}

YuvColour inColoursOf(const AVFrame& picture, const YuvColour& colour) {
    const LumaShares from = kStandardTelevision;
    const double luma = colour.y / kFullRange.luma;
    const double red = unit(luma + 2 * (1 - from.red) * (colour.v - kMiddle) / kFullRange.chroma);
    const double blue = unit(luma + 2 * (1 - from.blue) * (colour.u - kMiddle) / kFullRange.chroma);
    const double green = unit((luma - from.red * red - from.blue * blue) / from.green());
    return inColoursOf(picture, RgbColour{red, green, blue});
}

YuvColour inColoursOf(const AVFrame& picture, const RgbColour& colour) {
    const auto [red, green, blue] = colour;
    const LumaShares to = lumaSharesOf(picture.colorspace, picture.height);
    const Range range = picture.color_range == AVCOL_RANGE_JPEG ? kFullRange : kLimitedRange;
    const double bright = to.red * red + to.green() * green + to.blue * blue;
    return {rounded(range.black + range.luma * bright),
            rounded(kMiddle + range.chroma * (blue - bright) / (2 * (1 - to.blue))),
            rounded(kMiddle + range.chroma * (red - bright) / (2 * (1 - to.red)))};
}

}  // namespace kep::host
