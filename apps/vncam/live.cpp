#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "command.h"
#include "interrupt.h"
#include "live_settings.h"
#include "terminal.h"
#include "track.h"
#include "volume_keys.h"

namespace vncam {
namespace {

using namespace std::chrono_literals;

/** Of the progress and of the keys. */
constexpr auto kPollInterval = 100ms;
constexpr auto kStallTimeout = 2s;
constexpr double kSamplesPerAacFrame = 1024;

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
        text += std::string("  ") + track->media() + " " + std::to_string(track->frames()) + " frames";
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
