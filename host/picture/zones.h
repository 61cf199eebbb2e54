#ifndef KEP_HOST_ZONES_H
#define KEP_HOST_ZONES_H

#include <array>
#include <vector>

#include "kep/shm_rects.h"
#include "kep/visibility.h"
#include "media/common/ffmpeg.h"
#include "picture/colours.h"

namespace kep::host {

/** The table of zones as raw bytes, which another process may be writing. */
using ZoneTable = std::array<unsigned char, sizeof(shm::shm_rects_t)>;

/** A covered part of a picture in pixels; `right` and `bottom` are exclusive, all edges are even. */
struct Zone {
    int left, top, right, bottom;
    YuvColour colour; /**< full range, BT.601 */
};

/**
 * Scales the zones of a table to a picture of `width` by `height`. Edges are rounded outward to even pixels,
 * as each pair shares its chroma. Zones are clipped to the picture; those of no or negative size and those
 * wholly outside are dropped.
 */
KEP_API std::vector<Zone> zonesIn(const ZoneTable& table, int width, int height);

/** Fills the zones, later ones over earlier ones. `picture` is planar YUV 4:2:0, not shared. */
KEP_API void paintZones(AVFrame& picture, const std::vector<Zone>& zones);

}  // namespace kep::host

#endif
