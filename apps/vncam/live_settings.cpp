#include "live_settings.h"

#include <vector>

#include "command.h"
#include "options.h"

namespace vncam {
namespace {

constexpr Usage kUsage{
    "live", "", "Films and writes the live streams.",
    "FILE may be - for standard output, for one of the two streams: vncam live --video - | ffplay -\n"
    "With --audio, on a terminal, the keys + and - change the volume of the microphone, m mutes it.\n"
    "Filming ends after --seconds or on Ctrl-C; the files are complete either way."};

std::vector<Option> liveOptions(LiveSettings& settings) {
    const auto integer = [](int& target, const char* option, int least, int most) {
        return [&target, option, least, most](const std::string& text) {
            target = parseInteger(option, text, least, most);
        };
    };
    const auto file = [](std::string& target, const char* option) {
        return [&target, option](const std::string& text) {
            if (text.empty()) throw UsageError(std::string(option) + " needs a file name");
            target = text;
        };
    };
    return {
        {"video", "FILE", "write H.264 (byte stream) to FILE", file(settings.video, "--video")},
        {"audio", "FILE", "write AAC (ADTS) to FILE", file(settings.audio, "--audio")},
        {"size", "WxH", "picture size (1920x1080)",
         [&](const std::string& text) { settings.size = parseSize("--size", text); }},
        {"switch", "WxH@S", "change the picture size at second S; may be given again for later seconds",
         [&](const std::string& text) { settings.switches.push_back(parseSizeSwitch("--switch", text)); }},
        {"fps", "N", "frames per second (30)", integer(settings.fps, "--fps", 1, 120)},
        {"bps", "N", "video bits per second (2000000)", integer(settings.bps, "--bps", 10000, 200000000)},
        {"gop", "N", "frames from one key frame to the next (30)", integer(settings.gop, "--gop", 1, 100000)},
        {"rate", "HZ", "audio samples per second (48000)", integer(settings.rate, "--rate", 8000, 96000)},
        {"channels", "N", "audio channels (1)", integer(settings.channels, "--channels", 1, 2)},
        {"abps", "N", "audio bits per second (64000)", integer(settings.audioBps, "--abps", 8000, 512000)},
        {"seconds", "S", "length of the film; 0 for no end (0)",
         [&](const std::string& text) { settings.seconds = parseSeconds("--seconds", text); }},
        {"quiet", nullptr, "no progress and no summary", [&](const std::string&) { settings.quiet = true; }},
    };
}

void checkSwitches(const LiveSettings& settings) {
    if (settings.video.empty() && !settings.switches.empty()) throw UsageError("--switch needs --video");
    const SizeSwitch* before = nullptr;
    for (const SizeSwitch& change : settings.switches) {
        if (before && change.second <= before->second)
            throw UsageError("--switch " + change.text() + " does not come after --switch " + before->text());
        if (settings.seconds > 0 && change.second >= settings.seconds)
            throw UsageError("--switch " + change.text() + " lies after the end of the film");
        before = &change;
    }
}

}  // namespace

std::optional<LiveSettings> parseLive(int argc, char** argv) {
    LiveSettings settings;
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kUsage, liveOptions(settings), operands)) return std::nullopt;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");
    if (settings.video.empty() && settings.audio.empty())
        throw UsageError("nothing to write; give --video, --audio or both");
    if (settings.video == "-" && settings.audio == "-")
        throw UsageError("only one of --video and --audio can go to standard output");
    checkSwitches(settings);
    return settings;
}

}  // namespace vncam
