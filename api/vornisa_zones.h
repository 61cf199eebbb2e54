#ifndef VORNISA_ZONES_H
#define VORNISA_ZONES_H

#include <cstdint>

#include "vornisa_types.h"

/** Converts a colour to the format of the zone table: U in bits 0-7, Y in 8-15, V in 16-23. */
std::uint32_t vnColorConvert(VNRes_Color rgb);

#endif
