#include "picture/stroke_font.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kep::host {

namespace {

/** A character as strokes: each point is a column and a row on a grid of 5 by 7, a space lifts the pen. */
struct Strokes {
    char character;
    std::string_view points;
};

constexpr Strokes strokes[] = {
    {'0', "103041453616050110"},
    {'1', "112026 1636"},
    {'2', "01103041420646"},
    {'3', "0110304142334445361605 1333"},
    {'4', "36300444"},
    {'5', "400003334445361605"},
    {'6', "413010010516364544331304"},
    {'7', "004016"},
    {'8', "103041423313020110 1304051636454433"},
    {'9', "051636454130100102133342"},
    {':', "2222 2424"},
    {'.', "2626"},
    {'-', "1333"},
    {'A', "0602204246 0444"},
    {'E', "40000646 0333"},
    {'F', "400006 0333"},
    {'M', "0600234046"},
    {'P', "06003041423303"},
    {'R', "06003041423303 2346"},
    {'S', "413010010213334445361605"},
};

constexpr float columnsOfCell = 6.2F;
constexpr float rowsOfCell = 7.6F;
constexpr float margin = 0.8F;
constexpr float pen = 0.42F;

float squareToSegment(float x, float y, float ax, float ay, float bx, float by) {
    const float dx = bx - ax;
    const float dy = by - ay;
    const float length = dx * dx + dy * dy;
    const float along = length > 0 ? std::clamp(((x - ax) * dx + (y - ay) * dy) / length, 0.0F, 1.0F) : 0.0F;
    const float awayX = x - (ax + along * dx);
    const float awayY = y - (ay + along * dy);
    return awayX * awayX + awayY * awayY;
}

float distanceToStrokes(float x, float y, std::string_view points) {
    float nearest = rowsOfCell * rowsOfCell;
    bool down = false;
    float fromX = 0;
    float fromY = 0;
    for (std::size_t at = 0; at + 1 < points.size(); at += 2) {
        if (points[at] == ' ') {
            down = false;
            --at;
            continue;
        }
        const auto toX = static_cast<float>(points[at] - '0');
        const auto toY = static_cast<float>(points[at + 1] - '0');
        if (down) nearest = std::min(nearest, squareToSegment(x, y, fromX, fromY, toX, toY));
        down = true;
        fromX = toX;
        fromY = toY;
    }
    return std::sqrt(nearest);
}

}  // namespace

StrokeFont::StrokeFont(int height, std::uint8_t ink, std::uint8_t background)
    : unit_(static_cast<float>(height) / rowsOfCell) {
    width_ = static_cast<int>(unit_ * columnsOfCell) / 2 * 2;
    height_ = height;
    const std::size_t cell = static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_);
    glyphs_[' '] = std::vector<std::uint8_t>(cell, background);
    for (const Strokes& one : strokes) {
        std::vector<std::uint8_t>& glyph = glyphs_[static_cast<unsigned char>(one.character)];
        glyph.resize(cell);
        for (int y = 0; y < height_; ++y) {
            for (int x = 0; x < width_; ++x) {
                const float distance =
                    distanceToStrokes((static_cast<float>(x) + 0.5F) / unit_ - margin,
                                      (static_cast<float>(y) + 0.5F) / unit_ - margin, one.points);
                const float cover = std::clamp((pen - distance) * unit_ + 0.5F, 0.0F, 1.0F);
                glyph[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                      static_cast<std::size_t>(x)] =
                    static_cast<std::uint8_t>(background + cover * static_cast<float>(ink - background));
            }
        }
    }
}

void StrokeFont::write(std::uint8_t* plane, int stride, int x, int y, std::string_view text) const {
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        const std::vector<std::uint8_t>& glyph =
            code < glyphs_.size() && !glyphs_[code].empty() ? glyphs_[code] : glyphs_[' '];
        for (int row = 0; row < height_; ++row) {
            std::memcpy(plane + static_cast<std::ptrdiff_t>(y + row) * stride + x,
                        glyph.data() + static_cast<std::ptrdiff_t>(row) * width_,
                        static_cast<std::size_t>(width_));
        }
        x += width_;
    }
}

}  // namespace kep::host
