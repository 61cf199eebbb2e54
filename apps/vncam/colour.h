#ifndef VNCAM_COLOUR_H
#define VNCAM_COLOUR_H

#include <cstdint>
#include <string>

namespace vncam {

/** The names that parseColour() and parseColourWithAlpha() know, for a help text. */
std::string colourNames();

// Each takes the option's name for its message and throws UsageError for text that is no colour.

/** A colour's name or RRGGBB, as 0x00RRGGBB. */
std::uint32_t parseColour(const char* option, const std::string& text);

/** A colour's name, RRGGBB, or AARRGGBB, as 0xAARRGGBB; opaque unless it says otherwise. */
std::uint32_t parseColourWithAlpha(const char* option, const std::string& text);

}  // namespace vncam

#endif
