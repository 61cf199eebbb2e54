#include "picture/zones.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "picture/reference_frame.h"

namespace kep::host {
namespace {

using shm::shm_rect_t;
using shm::shm_rects_t;

template <class Number>
Number numberAt(const ZoneTable& table, std::size_t offset) {
    Number number;
    std::memcpy(&number, &table[offset], sizeof number);
    return number;
}

struct Interval {
    int begin, end;
};

/** Scales `length` from `begin` on in a frame of `reference` to a picture of `size`, rounded outward to pairs
 * of pixels. */
Interval intervalIn(std::int64_t begin, std::int64_t length, std::int64_t reference, int size) {
    const std::int64_t last = (size + 1) / 2 * 2;
    const auto scaled = [&](std::int64_t place, std::int64_t more) {
        const std::int64_t clipped = std::clamp<std::int64_t>(place, 0, reference);
        return (clipped * size + more) / reference;
    };
    const std::int64_t from = scaled(begin, 0) / 2 * 2;
    const std::int64_t to = (scaled(begin + length, reference - 1) + 1) / 2 * 2;
    return {static_cast<int>(from), static_cast<int>(std::min(to, last))};
}

void fill(AVFrame& picture, int plane, Interval columns, Interval rows, std::uint8_t value) {
    const std::ptrdiff_t stride = picture.linesize[plane];
    for (int row = rows.begin; row < rows.end; ++row)
        std::memset(picture.data[plane] + row * stride + columns.begin, value,
                    static_cast<std::size_t>(columns.end - columns.begin));
}

}  // namespace

std::vector<Zone> zonesIn(const ZoneTable& table, int width, int height) {
    std::vector<Zone> zones;
    // Booleans are read as bytes: another process may have written a value that is neither true nor false.
    if (table[offsetof(shm_rects_t, valid)] == 0) return zones;
    auto referenceWidth = numberAt<std::int32_t>(table, offsetof(shm_rects_t, width));
    auto referenceHeight = numberAt<std::int32_t>(table, offsetof(shm_rects_t, height));
    if (referenceWidth <= 0 || referenceHeight <= 0) {
        referenceWidth = kReferenceWidth;
        referenceHeight = kReferenceHeight;
    }
    constexpr std::size_t kZones = sizeof(shm_rects_t::rects) / sizeof(shm_rect_t);
    for (std::size_t i = 0; i < kZones; ++i) {
        const std::size_t entry = i * sizeof(shm_rect_t);
        const auto number = [&](std::size_t offset) { return numberAt<std::int32_t>(table, entry + offset); };
        const std::int32_t w = number(offsetof(shm_rect_t, w));
        const std::int32_t h = number(offsetof(shm_rect_t, h));
        if (table[entry + offsetof(shm_rect_t, draw)] == 0 || w <= 0 || h <= 0) continue;
        const Interval columns = intervalIn(number(offsetof(shm_rect_t, x)), w, referenceWidth, width);
        const Interval rows = intervalIn(number(offsetof(shm_rect_t, y)), h, referenceHeight, height);
        if (columns.begin >= columns.end || rows.begin >= rows.end) continue;
        const auto colour = numberAt<std::uint32_t>(table, entry + offsetof(shm_rect_t, color));
        zones.push_back({columns.begin,
                         rows.begin,
                         columns.end,
                         rows.end,
                         {static_cast<std::uint8_t>(colour >> 8), static_cast<std::uint8_t>(colour),
                          static_cast<std::uint8_t>(colour >> 16)}});
    }
    return zones;
}

void paintZones(AVFrame& picture, const std::vector<Zone>& zones) {
    for (const Zone& zone : zones) {
        const YuvColour colour = inColoursOf(picture, zone.colour);
        const Interval columns = {zone.left, zone.right};
        const Interval rows = {zone.top, zone.bottom};
        const Interval columnPairs = {zone.left / 2, zone.right / 2};
        const Interval rowPairs = {zone.top / 2, zone.bottom / 2};
        fill(picture, 0, columns, rows, colour.y);
        fill(picture, 1, columnPairs, rowPairs, colour.u);
        fill(picture, 2, columnPairs, rowPairs, colour.v);
    }
}

}  // namespace kep::host
