#ifndef KEP_HOST_COLOURS_H
#define KEP_HOST_COLOURS_H

#include <cstdint>

#include "kep/visibility.h"
#include "media/common/ffmpeg.h"

namespace kep::host {

/** Shares of red and blue in brightness, by which a matrix of colours is known. */
struct LumaShares {
    double red, blue;
    double green() const { return 1 - red - blue; }
};

/** ITU-R BT.601-7, 2.5.1. */
constexpr LumaShares kStandardTelevision = {0.299, 0.114};
/** ITU-R BT.709-6, 3.2. */
constexpr LumaShares kHighDefinition = {0.2126, 0.0722};

/** Those of a picture that is `height` high. */
LumaShares lumaSharesOf(AVColorSpace colours, int height);

/** Brightness and colour differences, 8 bits each. */
struct YuvColour {
    std::uint8_t y, u, v;

    bool operator==(const YuvColour&) const = default;
};

/** Parts of red, green and blue, each from 0 to 1. */
struct RgbColour {
    double red, green, blue;
};

/** A colour in the range and the matrix of `picture`. */
KEP_API YuvColour inColoursOf(const AVFrame& picture, const RgbColour& colour);

/** A colour of full range and BT.601 in the range and the matrix of `picture`. */
KEP_API YuvColour inColoursOf(const AVFrame& picture, const YuvColour& fullRange601);

}  // namespace kep::host

#endif
