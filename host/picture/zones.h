#ifndef KEP_HOST_ZONES_H
#define KEP_HOST_ZONES_H

#include <array>
#include <vector>

#include "kep/shm_rects.h"
#include "kep/visibility.h"
#include "media/common/ffmpeg.h"
#include "picture/colours.h"

namespace kep::host {

/** The table of zones as the bytes that another process may be writing. */
using ZoneTable = std::array<unsigned char, sizeof(shm::shm_rects_t)>;

/** A part of a picture that is covered, in pixels: from `left` to before `right`, all of them even. */
struct Zone {
    int left, top, right, bottom;
    YuvColour colour; /**< full range, BT.601 */
};

/**
 * The zones of a table in a picture of `width` by `height`. Where an edge does not fall between two pixels,
 * or parts two that share their colour, the zone reaches outward. What lies outside the picture is cut off; a
 * zone of no or negative size, and one wholly outside, is left out.
 */
KEP_API std::vector<Zone> zonesIn(const ZoneTable& table, int width, int height);

/** Covers the zones, the later ones above the earlier. `picture` is planar YUV 4:2:0 that nobody else holds.
 */
KEP_API void paintZones(AVFrame& picture, const std::vector<Zone>& zones);

}  // namespace kep::host

#endif
