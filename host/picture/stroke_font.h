#ifndef KEP_HOST_STROKE_FONT_H
#define KEP_HOST_STROKE_FONT_H

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kep::host {

/** Digits, some capitals and punctuation as smooth round strokes, rendered once in one size, then copied. */
class StrokeFont {
  public:
    /**
     * @param height     of a character cell, in pixels
     * @param ink        luma of the strokes
     * @param background luma around them
     */
    StrokeFont(int height, std::uint8_t ink, std::uint8_t background);

    /** Size of a character cell in pixels; all characters have the same width. */
    int width() const { return width_; }
    int height() const { return height_; }

    /** Writes `text` into a luma plane with its top left corner at `x`, `y`. Characters that the font lacks
     * are blank. */
    void write(std::uint8_t* plane, int stride, int x, int y, std::string_view text) const;

  private:
    int width_;
    int height_;
    float unit_;
    std::array<std::vector<std::uint8_t>, 128> glyphs_;
};

}  // namespace kep::host

#endif
