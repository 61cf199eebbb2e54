#ifndef VNCAM_COLOUR_H
#define VNCAM_COLOUR_H

#include <cstdint>
#include <string>

namespace vncam {

/** The names that parseColour() and parseColourWithAlpha() accept, for a help text. */
std::string colourNames();

// Each takes the option's name for its message and throws UsageError for any other text.

/** A colour's name or RRGGBB, as 0x00RRGGBB. */
std::uint32_t parseColour(const char* option, const std::string& text);

/** A colour's name, RRGGBB, or AARRGGBB, as 0xAARRGGBB; opaque unless it has an alpha. */
std::uint32_t parseColourWithAlpha(const char* option, const std::string& text);

}  // namespace vncam

#endif
