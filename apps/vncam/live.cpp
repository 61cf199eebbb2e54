#include <algorithm>
#include <chrono>
#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "command.h"
#include "interrupt.h"
#include "options.h"
#include "terminal.h"
#include "track.h"
#include "values.h"
#include "volume_keys.h"

namespace vncam {
namespace {

using namespace std::chrono_literals;

/** Of the progress and of the keys. */
constexpr auto kPollInterval = 100ms;
constexpr auto kStallTimeout = 2s;
constexpr double kSamplesPerAacFrame = 1024;

/** Settings of `vncam live`. */
struct LiveSettings {
    Size size{1920, 1080};
    std::deque<SizeSwitch> switches; /**< in the order of their seconds */
    int fps = 30;
    int bps = 2000000;
    int gop = 30;
    int rate = 48000;
    int channels = 1;
    int audioBps = 64000;
    double seconds = 0; /**< 0: no end */
    std::string video;  /**< file, "-" or empty for none */
    std::string audio;
    bool quiet = false;
};

constexpr Usage kUsage{
    "live", "", "Films and writes the live streams.",
    "FILE may be - for standard output, for one of the two streams: vncam live --video - | ffplay -\n"
    "With --audio, on a terminal, the keys + and - change the volume of the microphone, m mutes it.\n"
    "Filming ends after --seconds or on Ctrl-C; the files are complete either way."};

std::vector<Option> liveOptions(LiveSettings& settings) {
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
        {"fps", "N", "frames per second (30)", integerInto(settings.fps, "--fps", 1, 120)},
        {"bps", "N", "video bits per second (2M)", bitRateInto(settings.bps, "--bps", 10000, 200000000)},
        {"gop", "N", "frames from one key frame to the next (30)",
         integerInto(settings.gop, "--gop", 1, 100000)},
        {"rate", "HZ", "audio samples per second (48000)", integerInto(settings.rate, "--rate", 8000, 96000)},
        {"channels", "N", "audio channels (1)", integerInto(settings.channels, "--channels", 1, 2)},
        {"abps", "N", "audio bits per second (64k)", bitRateInto(settings.audioBps, "--abps", 8000, 512000)},
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

/** Parses the command line; nothing when help or version was printed. Throws UsageError. */
std::optional<LiveSettings> parseLive(int argc, char** argv) {
    LiveSettings settings;
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kUsage, liveOptions(settings), operands)) return std::nullopt;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");
    if (settings.video.empty() && settings.audio.empty())
        throw UsageError("nothing to write; give --video, --audio or both");
    if (settings.video == "-" && settings.audio == "-")
        throw UsageError("only one of --video and --audio can go to standard output");
    if (!settings.video.empty() && !settings.audio.empty() && isSameOutput(settings.video, settings.audio))
        throw UsageError("--video " + settings.video + " and --audio " + settings.audio +
                         " are the same file");
    checkSwitches(settings);
    return settings;
}

using Tracks = std::vector<std::unique_ptr<Track>>;

std::unique_ptr<Track> openVideo(const LiveSettings& settings) {
    auto track = std::make_unique<Track>(Track::video, settings.video);
    check(VNSetResolution(track->id(), settings.size.width, settings.size.height), "VNSetResolution");
    check(VNSetFramerate(track->id(), settings.fps), "VNSetFramerate");
    check(VNSetBps(track->id(), settings.bps), "VNSetBps");
    check(VNSetH264Gop(track->id(), settings.gop), "VNSetH264Gop");
    return track;
}

std::unique_ptr<Track> openAudio(const LiveSettings& settings) {
    auto track = std::make_unique<Track>(Track::audio, settings.audio);
    check(VNSetAudio(track->id(), settings.rate, settings.channels), "VNSetAudio");
    check(VNSetBps(track->id(), settings.audioBps), "VNSetBps");
    return track;
}

/** Changes the size between two frames, on the thread that reads them. */
Track::BeforeFrame sizeSwitcher(Track& track, std::deque<SizeSwitch> switches) {
    return [&track, switches = std::move(switches)](double second) mutable {
        if (switches.empty() || second < switches.front().second) return;
        track.switchSize(switches.front().size);
        switches.pop_front();
    };
}

Tracks startTracks(const LiveSettings& settings) {
    Tracks tracks;
    if (!settings.video.empty()) tracks.push_back(openVideo(settings));
    if (!settings.audio.empty()) tracks.push_back(openAudio(settings));
    auto next = tracks.begin();
    if (!settings.video.empty()) {
        Track& video = **next++;
        video.start(settings.fps, settings.seconds, sizeSwitcher(video, settings.switches));
    }
    if (!settings.audio.empty()) (*next)->start(settings.rate / kSamplesPerAacFrame, settings.seconds);
    return tracks;
}

/** @param microphone null when nobody listens to it */
std::string progressText(const Tracks& tracks, double seconds, const SoundDevice* microphone) {
    std::string text = "vncam live  " + clockText(tracks.front()->second());
    if (seconds > 0) text += " / " + clockText(seconds);
    for (const auto& track : tracks) {
        text += std::string("  ") + track->media() + " " + countText(track->frames(), "frame");
        if (track->lost() > 0) text += " (" + std::to_string(track->lost()) + " lost)";
    }
    if (microphone) text += "  " + microphone->text();
    return text;
}

/** Waits until all tracks have ended. A failed track ends the others; once one has ended, a stalled one is
 * cut. */
void awaitEnd(const Tracks& tracks, const LiveSettings& settings) {
    const auto finished = [](const auto& track) { return track->finished(); };
    std::optional<VolumeKeys> keys;
    if (!settings.audio.empty()) keys.emplace(SoundDevice::microphone());
    for (;;) {
        const auto unfinished = std::ranges::find_if_not(tracks, finished);
        if (unfinished == tracks.end()) break;
        if (keys) keys->poll();
        if (!settings.quiet)
            showProgress(progressText(tracks, settings.seconds, keys ? &keys->device() : nullptr));
        (*unfinished)->finished(kPollInterval);
        const bool broken = std::ranges::any_of(tracks, [](const auto& track) { return track->broken(); });
        const bool ending = broken || stopRequested() || std::ranges::any_of(tracks, finished);
        for (const auto& track : tracks) {
            if (broken) track->end();
            if (ending && track->waiting() > kStallTimeout) track->cut();
        }
    }
    clearProgress();
}

/** Closes all files, then throws the failure of the first track that had one. True when a pipe was closed. */
bool finishTracks(const Tracks& tracks) {
    bool closedPipe = false;
    std::exception_ptr failure;
    for (const auto& track : tracks) {
        try {
            track->join();
            track->close();
        } catch (const ClosedPipe&) {
            closedPipe = true;
        } catch (...) {
            if (!failure) failure = std::current_exception();
        }
    }
    if (failure) std::rethrow_exception(failure);
    return closedPipe;
}

}  // namespace

int runLive(int argc, char** argv) {
    const auto settings = parseLive(argc, argv);
    if (!settings) return exitOk;
    const Tracks tracks = startTracks(*settings);
    awaitEnd(tracks, *settings);
    const bool closedPipe = finishTracks(tracks);
    if (!settings->quiet && !closedPipe)
        for (const auto& track : tracks) report("live", track->summary());
    return exitOk;
}

}  // namespace vncam
