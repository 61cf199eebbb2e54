// `vncam flip` and `vncam flicker`: how the camera makes its picture.
#include <string>
#include <vector>

#include "command.h"
#include "options.h"
#include "resource.h"

namespace vncam {
namespace {

constexpr const char* kTurns[] = {"none", "horizontal", "vertical", "both"};

constexpr Usage kFlipUsage{
    "flip", "none|horizontal|vertical|both",
    "Mirrors the picture for all programs that film on this machine, until it is set again.",
    "horizontal swaps left and right, vertical top and bottom. Zones and stamps are not mirrored."};

constexpr Usage kFlickerUsage{
    "flicker", "on|off", "Makes the exposure avoid the flicker of lamps, or not, until it is set again.", ""};

/** The only operand; throws UsageError naming the choices. */
std::string onlyOperand(int argc, char** argv, const Usage& usage, const char* choices, bool& wantsHelp) {
    std::vector<std::string> operands;
    wantsHelp = !parseOptions(argc, argv, usage, {}, operands);
    if (wantsHelp) return "";
    if (operands.empty()) throw UsageError(std::string("missing operand: ") + choices);
    if (operands.size() > 1) throw UsageError("unexpected argument '" + operands[1] + "'");
    return operands[0];
}

}  // namespace

int runFlip(int argc, char** argv) {
    constexpr const char* choices = "none, horizontal, vertical or both";
    bool wantsHelp = false;
    const std::string wanted = onlyOperand(argc, argv, kFlipUsage, choices, wantsHelp);
    if (wantsHelp) return exitOk;
    // In the order of VNTurnVideo's modes.
    for (int mode = 0; mode < static_cast<int>(std::size(kTurns)); ++mode) {
        if (wanted != kTurns[mode]) continue;
        check(VNTurnVideo(mode), "VNTurnVideo");
        return exitOk;
    }
    throw UsageError("'" + wanted + "': not " + choices);
}

int runFlicker(int argc, char** argv) {
    bool wantsHelp = false;
    const std::string wanted = onlyOperand(argc, argv, kFlickerUsage, "on or off", wantsHelp);
    if (wantsHelp) return exitOk;
    if (wanted != "on" && wanted != "off") throw UsageError("'" + wanted + "': not on or off");
    check(VNAeFlick(wanted == "on" ? 1 : 0), "VNAeFlick");
    return exitOk;
}

}  // namespace vncam
