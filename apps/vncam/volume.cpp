#include <string>
#include <vector>

#include "command.h"
#include "options.h"
#include "sound_device.h"
#include "terminal.h"
#include "values.h"

namespace vncam {
namespace {

#define VNCAM_REACH                                                                                          \
    "On a workstation the setting applies to one process: without COMMAND it ends with this one. A camera\n" \
    "keeps it. The two can be combined: vncam volume mic 50 mute speaker live ..."

constexpr Usage kVolumeUsage{
    "volume", "mic|speaker N [COMMAND [ARG]...]",
    "Sets the volume of microphone or speaker, and runs COMMAND with this volume.",
    "N is 0 (silence) to 100 (samples unchanged); 50 halves the amplitude.\n" VNCAM_REACH, true};

constexpr Usage kMuteUsage{"mute", "mic|speaker [COMMAND [ARG]...]",
                           "Mutes microphone or speaker, and runs COMMAND.", VNCAM_REACH, true};

#undef VNCAM_REACH

/** Runs the command after the first `used` operands; without one reports the setting. */
int runRest(const char* command, const SoundDevice& device, std::vector<std::string>& operands,
            std::size_t used) {
    if (operands.size() == used) {
        report(command, device.text());
        return exitOk;
    }
    std::vector<char*> rest;
    for (std::size_t i = used; i < operands.size(); ++i) rest.push_back(operands[i].data());
    rest.push_back(nullptr);
    return runCommandLine(static_cast<int>(rest.size()) - 1, rest.data());
}

}  // namespace

int runVolume(int argc, char** argv) {
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kVolumeUsage, {}, operands)) return exitOk;
    if (operands.empty()) throw UsageError("missing operand: mic or speaker");
    SoundDevice& device = SoundDevice::named(operands[0]);
    if (operands.size() == 1) throw UsageError("missing operand: N");
    device.setVolume(parseInteger("N", operands[1], 0, SoundDevice::kMostVolume));
    return runRest("volume", device, operands, 2);
}

int runMute(int argc, char** argv) {
    std::vector<std::string> operands;
    bool mutes = true;
    const std::vector<Option> options = {
        {"off", nullptr, "unmute", [&](const std::string&) { mutes = false; }}};
    if (!parseOptions(argc, argv, kMuteUsage, options, operands)) return exitOk;
    if (operands.empty()) throw UsageError("missing operand: mic or speaker");
    SoundDevice& device = SoundDevice::named(operands[0]);
    device.setMute(mutes);
    return runRest("mute", device, operands, 1);
}

}  // namespace vncam
