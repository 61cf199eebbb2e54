#ifndef KEP_HOST_FONT_H
#define KEP_HOST_FONT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "kep/visibility.h"

namespace kep::host {

/** A rendered character: its coverage of each pixel. */
struct Glyph {
    int left = 0;    /**< from the pen to the first column */
    int top = 0;     /**< from the base line up to the first row */
    int advance = 0; /**< of the pen */
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> coverage; /**< `width * height`, 255 is full coverage */
};

/**
 * A font in one size. Characters that it lacks are taken from other installed fonts. Rendered characters are
 * cached, in at most kMostBytes. For one thread only.
 */
class KEP_API Font {
  public:
    /** Hundreds of characters at a line height of 54 pixels, or several of the largest size. */
    static constexpr std::size_t kMostBytes = std::size_t{4} << 20;

    /**
     * @param name       a fontconfig pattern, such as "DejaVu Sans:bold", or a file if it has a `/`; empty
     * for the default font. If it is not available, the default font is used, and an error line says so.
     * @param cellWidth  width of a digit in pixels
     * @param lineHeight in pixels
     * @return null, with an error line, if no font is installed
     */
    static std::unique_ptr<Font> open(const std::string& name, double cellWidth, double lineHeight);
    Font(const Font&) = delete;
    Font& operator=(const Font&) = delete;
    ~Font();

    /** Valid until the next call. */
    const Glyph& glyph(char32_t character);
    /** From the top of a line to its base line. */
    int ascent() const { return ascent_; }
    int lineHeight() const { return lineHeight_; }

  private:
    class Face;

    Font(std::unique_ptr<Face> face, double cellWidth, double lineHeight);
    Face* faceWith(char32_t character);

    std::vector<std::unique_ptr<Face>> faces_; /**< the font, then those for characters that it lacks */
    double emWidth_;                           /**< in pixels, as emHeight_ */
    double emHeight_;
    int ascent_;
    int lineHeight_;
    std::unordered_map<char32_t, Glyph> glyphs_;
    std::size_t bytes_ = 0;
};

}  // namespace kep::host

#endif
