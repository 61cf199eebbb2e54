#include <climits>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "colour.h"
#include "command.h"
#include "options.h"
#include "resource.h"
#include "values.h"
#include "zone_table.h"

namespace vncam {
namespace {

constexpr Usage kZoneUsage{
    "zone", "set|grid|on|off|list ...",
    "Covers parts of the picture for all programs that film on this machine, until they are set again.",
    "zone set N X,Y,WIDTHxHEIGHT   cover a part of a frame of 1920x1080, whatever the size of the stream\n"
    "zone grid N C,R-C,R           cover cells of 16 columns and 16 rows: from 0,0 to 15,15\n"
    "zone on N|all                 cover it again\n"
    "zone off N|all                uncover it, and keep its place\n"
    "zone list                     list the zones that have been set\n\n"
    "N is 0 to 15; where zones overlap, the highest N is on top. Write -- before a negative X."};

constexpr int kLastCell = 15;

int parseZone(const std::string& text) {
    return parseInteger("N", text, 0, kZones - 1);
}

/** Splits `text` at the separators, in their order; returns one part more than there are separators. */
std::vector<std::string> partsOf(const char* what, const std::string& text, const std::string& separators,
                                 const char* form) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (const char separator : separators) {
        // The sign of a number is not a separator.
        const std::size_t end = text.find(separator, begin + 1);
        if (end == std::string::npos) throw UsageError(std::string(what) + " '" + text + "': not " + form);
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    parts.push_back(text.substr(begin));
    return parts;
}

void show(int zone, bool isDrawn) {
    check(VNZonesEnable(zone, isDrawn ? 1 : 0), "VNZonesEnable(" + std::to_string(zone) + ")");
}

void set(const std::vector<std::string>& operands, std::uint32_t colour) {
    const int zone = parseZone(operands[1]);
    const auto parts = partsOf("rectangle", operands[2], ",,x", "X,Y,WIDTHxHEIGHT");
    const int x = parseInteger("X", parts[0], INT_MIN, INT_MAX);
    const int y = parseInteger("Y", parts[1], INT_MIN, INT_MAX);
    const int width = parseInteger("WIDTH", parts[2], 1, INT_MAX);
    const int height = parseInteger("HEIGHT", parts[3], 1, INT_MAX);
    check(VNZonesSet(zone, x, y, width, height, colour), "VNZonesSet");
    show(zone, true);
}

void setCells(const std::vector<std::string>& operands, std::uint32_t colour) {
    const int zone = parseZone(operands[1]);
    unsigned int cells = 0;
    for (const std::string& part : partsOf("cells", operands[2], ",-,", "C,R-C,R"))
        cells = cells << 8 | static_cast<unsigned int>(parseInteger("cell", part, 0, kLastCell));
    if ((cells & 0xFF) < (cells >> 16 & 0xFF) || (cells >> 8 & 0xFF) < cells >> 24)
        throw UsageError("cells '" + operands[2] + "': the second corner is left of the first or above it");
    check(VNZonesSet2(zone, cells, colour), "VNZonesSet2");
    show(zone, true);
}

void switchZones(const std::string& which, bool isDrawn) {
    const bool areAll = which == "all";
    const int first = areAll ? 0 : parseZone(which);
    const int last = areAll ? kZones - 1 : first;
    // Skips zones that were never set: enabling one would list a zone of no size.
    const auto zones = areAll ? readZones() : std::nullopt;
    for (int zone = first; zone <= last; ++zone) {
        if (areAll && (!zones || (*zones)[static_cast<std::size_t>(zone)].width == 0)) continue;
        show(zone, isDrawn);
    }
}

void list() {
    const auto zones = readZones();
    for (std::size_t i = 0; zones && i < zones->size(); ++i) {
        const Zone& zone = (*zones)[i];
        if (zone.width == 0 && zone.height == 0) continue;
        std::printf("%2zu  %-3s  %d,%d,%dx%d  %06X\n", i, zone.isDrawn ? "on" : "off", zone.x, zone.y,
                    zone.width, zone.height, zone.colour);
    }
}

void need(const std::vector<std::string>& operands, const std::vector<const char*>& names) {
    if (operands.size() <= names.size())
        throw UsageError(std::string("missing operand: ") + names[operands.size() - 1]);
    if (operands.size() > names.size() + 1)
        throw UsageError("unexpected argument '" + operands[names.size() + 1] + "'");
}

}  // namespace

int runZone(int argc, char** argv) {
    std::uint32_t colour = VNRES_COLOR_BLACK;
    const std::vector<Option> options = {
        {"color", "COLOR", "for `set` and `grid` (black): RRGGBB or " + colourNames(),
         [&](const std::string& text) { colour = parseColour("--color", text); }}};
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kZoneUsage, options, operands)) return exitOk;
    if (operands.empty()) throw UsageError("missing operand: set, grid, on, off or list");
    const std::string& action = operands[0];
    if (action == "set") {
        need(operands, {"N", "X,Y,WIDTHxHEIGHT"});
        set(operands, colour);
    } else if (action == "grid") {
        need(operands, {"N", "C,R-C,R"});
        setCells(operands, colour);
    } else if (action == "on" || action == "off") {
        need(operands, {"N or all"});
        switchZones(operands[1], action == "on");
    } else if (action == "list") {
        need(operands, {});
        list();
    } else {
        throw UsageError("'" + action + "': not set, grid, on, off or list");
    }
    return exitOk;
}

}  // namespace vncam
