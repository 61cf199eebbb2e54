#include "colour.h"

#include <charconv>

#include "command.h"
#include "vornisa_api.h"

namespace vncam {
namespace {

struct Named {
    const char* name;
    std::uint32_t colour;
};

constexpr Named kColours[] = {
    {"black", VNRES_COLOR_BLACK},     {"white", VNRES_COLOR_WHITE},   {"gray", VNRES_COLOR_GRAY},
    {"silver", VNRES_COLOR_SILVER},   {"red", VNRES_COLOR_RED},       {"green", VNRES_COLOR_GREEN},
    {"blue", VNRES_COLOR_BLUE},       {"yellow", VNRES_COLOR_YELLOW}, {"cyan", VNRES_COLOR_CYAN},
    {"magenta", VNRES_COLOR_MAGENTA}, {"orange", VNRES_COLOR_ORANGE},
};

/** A name or `digits` hexadecimal digits. */
bool readColour(const std::string& text, std::size_t digits, std::uint32_t& colour) {
    for (const Named& one : kColours) {
        if (digits == 6 && text == one.name) {
            colour = one.colour;
            return true;
        }
    }
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, colour, 16);
    return text.size() == digits && error == std::errc() && rest == end;
}

}  // namespace

std::string colourNames() {
    std::string names;
    for (const Named& one : kColours) names += (names.empty() ? "" : " ") + std::string(one.name);
    return names;
}

std::uint32_t parseColour(const char* option, const std::string& text) {
    std::uint32_t colour = 0;
    if (!readColour(text, 6, colour))
        throw UsageError(std::string(option) + " '" + text + "': not RRGGBB or one of " + colourNames());
    return colour;
}

std::uint32_t parseColourWithAlpha(const char* option, const std::string& text) {
    std::uint32_t colour = 0;
    if (readColour(text, 6, colour)) return 0xFF000000 | colour;
    if (!readColour(text, 8, colour))
        throw UsageError(std::string(option) + " '" + text + "': not RRGGBB, AARRGGBB or one of " +
                         colourNames());
    return colour;
}

}  // namespace vncam
