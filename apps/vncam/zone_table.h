#ifndef VNCAM_ZONE_TABLE_H
#define VNCAM_ZONE_TABLE_H

#include <array>
#include <cstdint>
#include <optional>

namespace vncam {

/** A privacy zone as the shared memory "vornisa_shm_rects" has it. */
struct Zone {
    bool isDrawn;
    std::int32_t x, y, width, height; /**< in a frame of 1920x1080 */
    std::uint32_t colour;             /**< 0x00RRGGBB */
};

constexpr int kZones = 16;

/**
 * The zones of this machine; nullopt when none has been set yet. Throws Failure when they
 * cannot be read.
 */
std::optional<std::array<Zone, kZones>> readZones();

}  // namespace vncam

#endif
