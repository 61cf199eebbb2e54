#include <optional>
#include <string>
#include <vector>

#include "colour.h"
#include "command.h"
#include "options.h"
#include "resource.h"
#include "values.h"

namespace vncam {
namespace {

constexpr Usage kStampUsage{
    "stamp", "[TEXT]",
    "Writes a text into the picture for all programs that film on this machine, until it is set again.",
    "TEXT may contain strftime fields, filled in with the time of each picture: '%Y-%m-%d %H:%M:%S'; %3N is\n"
    "milliseconds, %n a line break. Coordinates and sizes are in pixels of a frame of 1920x1080. Without\n"
    "TEXT, settings that are not given are kept, except that --at resets the colour, and --size and --font\n"
    "reset each other.\n"
    "COLOR is AARRGGBB, RRGGBB or a name that `vncam zone` knows; alpha 01 is nearly transparent, FF "
    "opaque."};

/** Defaults of a stamp: legible in a stream of 640x360, on a darkened background. */
constexpr std::uint32_t kDefaultColour = 0xFFFFFFFF;
constexpr std::uint32_t kDefaultBackground = 0x80000000;
constexpr int kDefaultWidth = 16;
constexpr int kDefaultHeight = 32;
constexpr int kDefaultEdge = 32;

struct Pair {
    int first, second;
};

Pair parsePair(const char* option, const std::string& text, char separator, int most, const char* form) {
    const std::size_t at = text.find(separator);
    if (at == std::string::npos) throw UsageError(std::string(option) + " '" + text + "': not " + form);
    return {parseInteger(option, text.substr(0, at), 1, most),
            parseInteger(option, text.substr(at + 1), 1, most)};
}

struct Stamp {
    std::optional<std::string> text;
    std::optional<Pair> size;
    std::optional<std::string> font;
    std::optional<Pair> place;
    std::optional<std::uint32_t> colour;
    std::optional<std::uint32_t> background;
    bool isShown = true;
};

void apply(const Stamp& stamp) {
    // With a text everything is set, to defaults where not given; without one earlier settings are kept.
    const bool isWhole = stamp.text.has_value();
    if (isWhole || stamp.size || stamp.font) {
        const Pair size = stamp.size.value_or(Pair{kDefaultWidth, kDefaultHeight});
        check(VNStampInit(size.first, size.second, stamp.font.value_or("").c_str()), "VNStampInit");
    }
    if (isWhole || stamp.place || stamp.colour) {
        const Pair place = stamp.place.value_or(isWhole ? Pair{kDefaultEdge, kDefaultEdge} : Pair{0, 0});
        check(VNStampSet1(place.first, place.second, stamp.colour.value_or(kDefaultColour),
                          stamp.text ? stamp.text->c_str() : nullptr),
              "VNStampSet1");
    }
    if (isWhole || stamp.background)
        check(VNStampBgColorSet(stamp.background.value_or(kDefaultBackground)), "VNStampBgColorSet");
    check(VNStampEnable(stamp.isShown ? 1 : 0), "VNStampEnable");
}

}  // namespace

int runStamp(int argc, char** argv) {
    Stamp stamp;
    bool isAny = false;
    const auto option = [&](auto& value, auto parse) {
        return [&value, &isAny, parse](const std::string& text) {
            value = parse(text);
            isAny = true;
        };
    };
    const std::vector<Option> options = {
        {"at", "X,Y", "top left corner (32,32)",
         option(stamp.place,
                [](const std::string& text) { return parsePair("--at", text, ',', 1919, "X,Y"); })},
        {"size", "WxH", "width of a digit and height of a line (16x32), up to 540x540",
         option(stamp.size,
                [](const std::string& text) { return parsePair("--size", text, 'x', 540, "WxH"); })},
        {"font", "NAME",
         "font name for fontconfig, such as 'DejaVu Sans:bold', or the path of a font file, with a /",
         option(stamp.font, [](const std::string& text) { return text; })},
        {"color", "COLOR", "colour of the text (white)",
         option(stamp.colour, [](const std::string& text) { return parseColourWithAlpha("--color", text); })},
        {"background", "COLOR", "colour behind the text (80000000), or none",
         option(stamp.background,
                [](const std::string& text) {
                    return text == "none" ? 0 : parseColourWithAlpha("--background", text);
                })},
        {"on", nullptr, "show the stamp again",
         option(stamp.isShown, [](const std::string&) { return true; })},
        {"off", nullptr, "hide the stamp", option(stamp.isShown, [](const std::string&) { return false; })},
    };
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kStampUsage, options, operands)) return exitOk;
    if (operands.size() > 1) throw UsageError("unexpected argument '" + operands[1] + "'");
    if (!operands.empty()) stamp.text = operands[0];
    if (operands.empty() && !isAny) throw UsageError("nothing to set; give TEXT or an option");
    apply(stamp);
    return exitOk;
}

}  // namespace vncam
