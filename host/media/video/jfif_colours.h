#ifndef KEP_HOST_JFIF_COLOURS_H
#define KEP_HOST_JFIF_COLOURS_H

#include <array>
#include <cstdint>
#include <vector>

#include "media/common/ffmpeg.h"

namespace kep::host {

/**
 * Converts the camera's colours, of limited range and often BT.709, to those that readers of a JPEG file
 * assume: full range, BT.601. Works in strips of 16 luma rows, the unit of a JPEG encoder.
 */
class JfifColours {
  public:
    static constexpr int stripRows = 16;
    static constexpr int chromaRows = stripRows / 2;

    /** For pictures like this one: planar YUV 4:2:0 of limited range and even size. */
    explicit JfifColours(const AVFrame& like);

    /** Converts the strip that begins at a row; rows and columns beyond the picture repeat its last. */
    void convert(const AVFrame& frame, int firstRow);

    std::uint8_t* luma(int row) { return luma_.data() + static_cast<std::size_t>(row) * stride_; }
    std::uint8_t* blue(int row) { return blue_.data() + static_cast<std::size_t>(row) * stride_ / 2; }
    std::uint8_t* red(int row) { return red_.data() + static_cast<std::size_t>(row) * stride_ / 2; }

  private:
    /** Weights of the colour differences in a result, as 13-bit fractions. */
    struct Weights {
        std::int16_t blue, red;
    };

    void convertChroma(const std::uint8_t* blue, const std::uint8_t* red, int row);
    void convertLuma(const std::uint8_t* from, std::uint8_t* to) const;

    const int width_;
    const std::size_t stride_;
    Weights toLuma_{}, toBlue_{}, toRed_{};
    std::vector<std::uint8_t> luma_, blue_, red_;
    std::vector<std::uint16_t> shift_; /**< what the colours of two rows add to their luma */
};

}  // namespace kep::host

#endif
