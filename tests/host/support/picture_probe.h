#ifndef VORNISA_PICTURE_PROBE_H
#define VORNISA_PICTURE_PROBE_H

#include <cstdint>
#include <optional>

/** A picture's brightness, as a decoder or a raw stream gives it. */
struct LumaPlane {
    const std::uint8_t* data;
    int stride;
    int width;
    int height;
};

/** The number in the blocks of the workstation's test picture, in whatever size; nothing if it cannot be
 * read. */
std::optional<std::uint32_t> readPictureNumber(const LumaPlane& luma);

/** Whether the flash of the test picture is lit. */
bool isFlashLit(const LumaPlane& luma);

#endif
