#include "picture/stamps.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "picture/colours.h"
#include "picture/reference_frame.h"
#include "picture/stamp_text.h"

namespace kep::host {
namespace {

/** One for each stamp. A full cache is cleared, as when the size of the pictures changes. */
constexpr std::size_t kMostFonts = std::size(StampTable{}.stamps);

template <std::size_t count>
std::string textOf(const char (&field)[count]) {
    return {field, strnlen(field, count)};
}

int sideOr(std::int32_t side, int usual) {
    return side >= 1 && side <= kLargestStampSide ? side : usual;
}

/** Scales a coordinate of a reference frame to a picture, rounded down to an even pixel. */
std::int64_t placed(std::int64_t place, std::int64_t reference, int size) {
    const std::int64_t scaled = place * size;
    const std::int64_t pixels = scaled / reference - (scaled % reference < 0);
    return pixels & ~std::int64_t{1};
}

std::int64_t evenUp(std::int64_t pixels) {
    return (pixels + 1) & ~std::int64_t{1};
}

RgbColour rgbOf(std::uint32_t colour) {
    const auto part = [&](int shift) { return (colour >> shift & 0xFF) / 255.0; };
    return {part(16), part(8), part(0)};
}

unsigned opacityOf(std::uint32_t colour) {
    return colour >> 24;
}

/** Blends `colour` over `below` with an opacity of `share` / 255. */
std::uint8_t mixed(std::uint8_t below, std::uint8_t colour, unsigned share) {
    return static_cast<std::uint8_t>((below * (255 - share) + colour * share + 127) / 255);
}

/** Sample values of one plane for the text and its background. */
struct Paint {
    std::uint8_t text, background;
};

}  // namespace

bool hasStamps(const StampTable& table) {
    return std::any_of(std::begin(table.stamps), std::end(table.stamps),
                       [](const StampRecord& stamp) { return stamp.draw != 0 && (stamp.pattern[0] != 0); });
}

void StampPainter::paint(AVFrame& picture, const StampTable& table,
                         std::chrono::system_clock::time_point time) {
    for (const StampRecord& stamp : table.stamps)
        if (stamp.draw != 0) paint(picture, stamp, time);
}

Font* StampPainter::fontOf(const StampRecord& stamp, double cellWidth, double lineHeight) {
    FontKey key{textOf(stamp.font), cellWidth, lineHeight};
    const auto known = fonts_.find(key);
    if (known != fonts_.end()) return known->second.get();
    if (fonts_.size() >= kMostFonts) fonts_.clear();
    // A failure is cached, too: the font is not looked up again for each picture.
    auto font = Font::open(textOf(stamp.font), cellWidth, lineHeight);
    return fonts_.emplace(std::move(key), std::move(font)).first->second.get();
}

void StampPainter::cover(Font& font, const std::vector<std::u32string>& lines, std::int64_t left,
                         std::int64_t top, const Box& seen) {
    const int width = seen.right - seen.left;
    mask_.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(seen.bottom - seen.top), 0);
    std::int64_t base = top + font.ascent();
    for (const std::u32string& line : lines) {
        std::int64_t pen = left;
        for (const char32_t character : line) {
            if (pen >= seen.right) break;
            const Glyph& glyph = font.glyph(character);
            const std::int64_t x = pen + glyph.left;
            const std::int64_t y = base - glyph.top;
            const auto first = static_cast<int>(std::max<std::int64_t>(0, seen.left - x));
            const auto last = static_cast<int>(
                std::clamp<std::int64_t>(seen.right - x, first, std::max(first, glyph.width)));
            for (int row = 0; row < glyph.height; ++row) {
                if (y + row < seen.top || y + row >= seen.bottom) continue;
                const std::uint8_t* const from = &glyph.coverage[std::size_t(row) * std::size_t(glyph.width)];
                std::uint8_t* const to = &mask_[std::size_t(y + row - seen.top) * std::size_t(width)];
                for (int column = first; column < last; ++column) {
                    std::uint8_t& covered = to[x + column - seen.left];
                    covered = std::max(covered, from[column]);
                }
            }
            pen += glyph.advance;
        }
        base += font.lineHeight();
    }
}

void StampPainter::paint(AVFrame& picture, const StampRecord& stamp,
                         std::chrono::system_clock::time_point time) {
    const bool isUsual = stamp.referenceWidth <= 0 || stamp.referenceHeight <= 0;
    const int referenceWidth = isUsual ? kReferenceWidth : stamp.referenceWidth;
    const int referenceHeight = isUsual ? kReferenceHeight : stamp.referenceHeight;
    const double cellWidth = double(sideOr(stamp.w, kUsualStampWidth)) * picture.width / referenceWidth;
    const double lineHeight = double(sideOr(stamp.h, kUsualStampHeight)) * picture.height / referenceHeight;
    const std::int64_t left = placed(stamp.x, referenceWidth, picture.width);
    const std::int64_t top = placed(stamp.y, referenceHeight, picture.height);
    if (left >= picture.width || top >= picture.height) return;

    const std::vector<std::u32string> lines = stampLines(textOf(stamp.pattern), time);
    Font* const font = fontOf(stamp, cellWidth, lineHeight);
    if (!font) return;
    std::int64_t width = 0;
    for (const std::u32string& line : lines) {
        std::int64_t length = 0;
        for (const char32_t character : line) {
            if (left + length >= picture.width) break;
            length += font->glyph(character).advance;
        }
        width = std::max(width, length);
    }
    const auto height = static_cast<std::int64_t>(lines.size()) * font->lineHeight();
    const auto within = [](std::int64_t place, int size) {
        return static_cast<int>(std::clamp<std::int64_t>(place, 0, size));
    };
    const Box seen = {within(left, picture.width), within(top, picture.height),
                      within(evenUp(left + width), picture.width),
                      within(evenUp(top + height), picture.height)};
    if (seen.left >= seen.right || seen.top >= seen.bottom) return;
    cover(*font, lines, left, top, seen);

    const YuvColour text = inColoursOf(picture, rgbOf(stamp.colour));
    const YuvColour background = inColoursOf(picture, rgbOf(stamp.background));
    // The simpler one of the two functions that set the colour sends no alpha: 0 is opaque.
    const unsigned ink = opacityOf(stamp.colour) == 0 ? 255 : opacityOf(stamp.colour);
    const unsigned ground = opacityOf(stamp.background);
    const auto blend = [&](std::uint8_t& sample, unsigned covered, Paint paint) {
        if (ground > 0) sample = mixed(sample, paint.background, ground);
        if (covered > 0) sample = mixed(sample, paint.text, (covered * ink + 127) / 255);
    };
    const int columns = seen.right - seen.left;
    for (int y = seen.top; y < seen.bottom; ++y) {
        std::uint8_t* const luma = picture.data[0] + std::ptrdiff_t{y} * picture.linesize[0] + seen.left;
        const std::uint8_t* const mask = &mask_[std::size_t(y - seen.top) * std::size_t(columns)];
        for (int x = 0; x < columns; ++x) blend(luma[x], mask[x], {text.y, background.y});
        if (y % 2 != 0) continue;
        const std::uint8_t* const below = mask + columns;
        std::uint8_t* const u = picture.data[1] + std::ptrdiff_t{y / 2} * picture.linesize[1] + seen.left / 2;
        std::uint8_t* const v = picture.data[2] + std::ptrdiff_t{y / 2} * picture.linesize[2] + seen.left / 2;
        for (int x = 0; x < columns; x += 2) {
            const unsigned covered = (mask[x] + mask[x + 1] + below[x] + below[x + 1] + 2U) / 4;
            blend(u[x / 2], covered, {text.u, background.u});
            blend(v[x / 2], covered, {text.v, background.v});
        }
    }
}

}  // namespace kep::host
