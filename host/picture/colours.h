#ifndef KEP_HOST_COLOURS_H
#define KEP_HOST_COLOURS_H

#include <cstdint>

#include "kep/visibility.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

/** Weights of red and blue in luma; they define a colour matrix. */
struct LumaShares {
    double red, blue;
    double green() const { return 1 - red - blue; }
};

/** ITU-R BT.601-7, 2.5.1. */
constexpr LumaShares kStandardTelevision = {0.299, 0.114};
/** ITU-R BT.709-6, 3.2. */
constexpr LumaShares kHighDefinition = {0.2126, 0.0722};

/** The weights of a colour space; if it is unspecified, of the one usual for pictures of this height. */
LumaShares lumaSharesOf(AVColorSpace colours, int height);

/** Luma and chroma, 8 bits each. */
struct YuvColour {
    std::uint8_t y, u, v;

    bool operator==(const YuvColour&) const = default;
};

/** Red, green and blue, each from 0 to 1. */
struct RgbColour {
    double red, green, blue;
};

/** Converts a colour to the range and the matrix of `picture`. */
KEP_API YuvColour inColoursOf(const AVFrame& picture, const RgbColour& colour);

/** Converts a full-range BT.601 colour to the range and the matrix of `picture`. */
KEP_API YuvColour inColoursOf(const AVFrame& picture, const YuvColour& fullRange601);

}  // namespace kep::host

#endif
