#include "media/video/jfif_colours.h"

#include <algorithm>
#include <cmath>

#include "picture/colours.h"

namespace kep::host {

namespace {

constexpr int kFractionBits = 13;

// Luma is computed in unsigned 16-bit numbers: 7 bits of fraction, and an offset that keeps them positive.
constexpr int kLumaBits = 7;
constexpr int kLumaOffset = 64;
constexpr int kLumaScale = 149;  // 255 / 219
constexpr int kLumaBias = (kLumaOffset << kLumaBits) + (1 << (kLumaBits - 1)) - 16 * kLumaScale;

std::int16_t fraction(double value) {
    return static_cast<std::int16_t>(std::lround(value * (1 << kFractionBits)));
}

template <class Number>
std::uint8_t clipped(Number value) {
    return static_cast<std::uint8_t>(std::clamp<Number>(value, 0, 255));
}

constexpr std::size_t roundedUp(int width) {
    return (static_cast<std::size_t>(width) + 15) / 16 * 16;
}

void repeatLast(std::uint8_t* row, std::size_t used, std::size_t all) {
    std::fill(row + used, row + all, row[used - 1]);
}

}  // namespace

JfifColours::JfifColours(const AVFrame& like)
    : width_(like.width),
      stride_(roundedUp(like.width)),
      luma_(stride_ * stripRows),
      blue_(stride_ / 2 * chromaRows),
      red_(stride_ / 2 * chromaRows),
      shift_(stride_) {
    const LumaShares from = lumaSharesOf(like.colorspace, like.height);
    const LumaShares to = kStandardTelevision;
    // What one unit of each colour difference adds to red, green and blue at zero luma.
    const double redByRed = 2 * (1 - from.red);
    const double blueByBlue = 2 * (1 - from.blue);
    const double greenByRed = -redByRed * from.red / from.green();
    const double greenByBlue = -blueByBlue * from.blue / from.green();
    const double lumaByBlue = to.green() * greenByBlue + to.blue * blueByBlue;
    const double lumaByRed = to.red * redByRed + to.green() * greenByRed;
    const double ofChroma = 255.0 / 224;
    toLuma_ = {fraction(ofChroma * lumaByBlue), fraction(ofChroma * lumaByRed)};
    const double blueScale = ofChroma / (2 * (1 - to.blue));
    const double redScale = ofChroma / (2 * (1 - to.red));
    toBlue_ = {fraction(blueScale * (blueByBlue - lumaByBlue)), fraction(blueScale * -lumaByRed)};
    toRed_ = {fraction(redScale * -lumaByBlue), fraction(redScale * (redByRed - lumaByRed))};
}

void JfifColours::convert(const AVFrame& frame, int firstRow) {
    const auto rowOf = [&frame](int plane, int row, int last) {
        return frame.data[plane] + static_cast<std::ptrdiff_t>(std::min(row, last)) * frame.linesize[plane];
    };
    for (int row = 0; row < chromaRows; ++row) {
        const int from = firstRow / 2 + row;
        const int last = frame.height / 2 - 1;
        convertChroma(rowOf(1, from, last), rowOf(2, from, last), row);
        for (int half = 0; half < 2; ++half) {
            const int line = 2 * row + half;
            convertLuma(rowOf(0, firstRow + line, frame.height - 1), luma(line));
        }
    }
}

void JfifColours::convertChroma(const std::uint8_t* blueFrom, const std::uint8_t* redFrom, int row) {
    constexpr int half = 1 << (kFractionBits - 1);
    std::uint8_t* const blueTo = blue(row);
    std::uint8_t* const redTo = red(row);
    std::uint16_t* const shift = shift_.data();
    const std::size_t count = static_cast<std::size_t>(width_) / 2;
    const Weights toLuma = toLuma_, toBlue = toBlue_, toRed = toRed_;
    for (std::size_t i = 0; i < count; ++i) {
        const auto b = static_cast<std::int16_t>(blueFrom[i] - 128);
        const auto r = static_cast<std::int16_t>(redFrom[i] - 128);
        blueTo[i] = clipped(((b * toBlue.blue + r * toBlue.red + half) >> kFractionBits) + 128);
        redTo[i] = clipped(((b * toRed.blue + r * toRed.red + half) >> kFractionBits) + 128);
        shift[2 * i] = shift[2 * i + 1] = static_cast<std::uint16_t>(
            kLumaBias + ((b * toLuma.blue + r * toLuma.red) >> (kFractionBits - kLumaBits)));
    }
    repeatLast(blueTo, count, stride_ / 2);
    repeatLast(redTo, count, stride_ / 2);
}

void JfifColours::convertLuma(const std::uint8_t* from, std::uint8_t* to) const {
    const std::uint16_t* const shift = shift_.data();
    const auto count = static_cast<std::size_t>(width_);
    for (std::size_t i = 0; i < count; ++i) {
        const auto sum = static_cast<std::uint16_t>(from[i] * kLumaScale + shift[i]);
        to[i] = clipped(static_cast<std::int16_t>((sum >> kLumaBits) - kLumaOffset));
    }
    repeatLast(to, count, stride_);
}

}  // namespace kep::host
