#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "command.h"
#include "file_sink.h"
#include "film.h"
#include "options.h"
#include "output.h"
#include "stream_muxer.h"
#include "values.h"

namespace vncam {
namespace {

/** Settings of `vncam live`. */
struct LiveSettings {
    FilmSettings film;
    std::string output; /**< file, "-" or empty for none */
    std::string video;  /**< the same */
    std::string audio;  /**< the same */
    bool isSilent = false;
};

constexpr Usage kLiveUsage{
    "live", "", "Films and writes the live streams.",
    "The extension of --output selects the format: .mp4 or .ts; - is MPEG-TS on standard output. One of\n"
    "--video and --audio may be - as well: vncam live --video - | ffplay -\n"
    "With sound, on a terminal, the keys + and - change the volume of the microphone, m mutes it.\n"
    "Filming ends after --seconds or on Ctrl-C; the files are complete either way."};

std::vector<Option> liveOptions(LiveSettings& settings) {
    const auto file = [](std::string& target, const char* option) {
        return [&target, option](const std::string& text) {
            if (text.empty()) throw UsageError(std::string(option) + " needs a file name");
            target = text;
        };
    };
    std::vector<Option> options = {
        {"output", "FILE", "write picture and sound to one FILE", file(settings.output, "--output"), 'o'},
        {"no-audio", nullptr, "write --output without sound",
         [&](const std::string&) { settings.isSilent = true; }},
        {"video", "FILE", "write H.264 (byte stream) to FILE", file(settings.video, "--video")},
        {"audio", "FILE", "write AAC (ADTS) to FILE", file(settings.audio, "--audio")},
        {"switch", "WxH@S", "change the picture size at second S; may be repeated for later seconds",
         [&](const std::string& text) {
             settings.film.switches.push_back(parseSizeSwitch("--switch", text));
         }},
    };
    for (Option& option : filmOptions(settings.film)) options.push_back(std::move(option));
    return options;
}

void checkSwitches(const LiveSettings& settings) {
    const FilmSettings& film = settings.film;
    if (film.switches.empty()) return;
    if (settings.video.empty() && settings.output.empty())
        throw UsageError("--switch needs --video or --output");
    if (!settings.output.empty() && streamFormatOf(settings.output) == StreamFormat::mp4)
        throw UsageError("--switch cannot be used with " + settings.output +
                         ": an MP4 file has one picture size; name a .ts file");
    const SizeSwitch* before = nullptr;
    for (const SizeSwitch& change : film.switches) {
        if (before && change.second <= before->second)
            throw UsageError("--switch " + change.text() + " is not after --switch " + before->text());
        if (film.seconds > 0 && change.second >= film.seconds)
            throw UsageError("--switch " + change.text() + " is after the end of the film");
        before = &change;
    }
}

void checkOutputs(const LiveSettings& settings) {
    if (!settings.output.empty()) {
        streamFormatOf(settings.output);
        if (!settings.video.empty() || !settings.audio.empty())
            throw UsageError("--output cannot be used with --video or --audio");
        return;
    }
    if (settings.video.empty() && settings.audio.empty())
        throw UsageError("nothing to write; give --output, --video or --audio");
    if (settings.isSilent) throw UsageError("--no-audio needs --output");
    if (settings.video == "-" && settings.audio == "-")
        throw UsageError("only one of --video and --audio can go to standard output");
    if (!settings.video.empty() && !settings.audio.empty() && isSameOutput(settings.video, settings.audio))
        throw UsageError("--video " + settings.video + " and --audio " + settings.audio +
                         " are the same file");
}

/** Parses the command line; nothing when help or version was printed. Throws UsageError. */
std::optional<LiveSettings> parseLive(int argc, char** argv) {
    LiveSettings settings;
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kLiveUsage, liveOptions(settings), operands)) return std::nullopt;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");
    checkOutputs(settings);
    checkSwitches(settings);
    return settings;
}

StreamSinks openSinks(const LiveSettings& settings) {
    if (!settings.output.empty())
        return joinedSinks(std::make_unique<Output>(settings.output), streamFormatOf(settings.output),
                           settings.film, !settings.isSilent);
    StreamSinks sinks;
    if (!settings.video.empty()) sinks.video = std::make_unique<FileSink>(settings.video);
    if (!settings.audio.empty()) sinks.audio = std::make_unique<FileSink>(settings.audio);
    return sinks;
}

}  // namespace

int runLive(int argc, char** argv) {
    const auto settings = parseLive(argc, argv);
    if (!settings) return exitOk;
    Film film("live", settings->film, openSinks(*settings));
    if (film.run() && !settings->film.quiet) film.summarize();
    return exitOk;
}

}  // namespace vncam
