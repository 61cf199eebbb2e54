#ifndef VORNISA_PICTURE_PROBE_H
#define VORNISA_PICTURE_PROBE_H

#include <cstdint>
#include <optional>

/** The luma plane of a decoded or raw picture. */
struct LumaPlane {
    const std::uint8_t* data;
    int stride;
    int width;
    int height;
};

/**
 * Reads the number encoded in the blocks of the test picture, at any picture size; nothing if it is
 * unreadable.
 */
std::optional<std::uint32_t> readPictureNumber(const LumaPlane& luma);

/** Whether the flash of the test picture is lit. */
bool isFlashLit(const LumaPlane& luma);

#endif
