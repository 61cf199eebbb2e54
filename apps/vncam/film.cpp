#include "film.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "command.h"
#include "interrupt.h"
#include "terminal.h"
#include "volume_keys.h"
#include "waiting.h"

namespace vncam {
namespace {

using namespace std::chrono_literals;

constexpr auto kStallTimeout = 2s;
constexpr double kSamplesPerAacFrame = 1024;

std::unique_ptr<Track> openVideo(const char* command, const FilmSettings& settings,
                                 std::unique_ptr<FrameSink> sink) {
    auto track = std::make_unique<Track>(Track::video, command, std::move(sink));
    check(VNSetResolution(track->id(), settings.size.width, settings.size.height), "VNSetResolution");
    check(VNSetFramerate(track->id(), settings.fps), "VNSetFramerate");
    check(VNSetBps(track->id(), settings.bps), "VNSetBps");
    check(VNSetH264Gop(track->id(), settings.gop), "VNSetH264Gop");
    return track;
}

std::unique_ptr<Track> openAudio(const char* command, const FilmSettings& settings,
                                 std::unique_ptr<FrameSink> sink) {
    auto track = std::make_unique<Track>(Track::audio, command, std::move(sink));
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

}  // namespace

std::vector<Option> filmOptions(FilmSettings& settings) {
    return {
        {"size", "WxH", "picture size (1920x1080)",
         [&](const std::string& text) { settings.size = parseSize("--size", text); }},
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

StreamSinks joinedSinks(std::unique_ptr<Output> output, StreamFormat format, const FilmSettings& settings,
                        bool hasAudio) {
    std::optional<AudioFormat> audio;
    if (hasAudio) audio = {settings.rate, settings.channels};
    return StreamMuxer::open(std::move(output), format, {settings.size, settings.fps}, audio);
}

Film::Film(const char* command, const FilmSettings& settings, StreamSinks sinks)
    : command_(command), settings_(settings), hasAudio_(sinks.audio != nullptr) {
    const bool hasVideo = sinks.video != nullptr;
    // Acquire and configure both sources before either starts: a refusal leaves nothing behind.
    if (hasVideo) tracks_.push_back(openVideo(command, settings, std::move(sinks.video)));
    if (hasAudio_) tracks_.push_back(openAudio(command, settings, std::move(sinks.audio)));
    if (hasVideo) {
        Track& video = *tracks_.front();
        video.start(settings.fps, settings.seconds, sizeSwitcher(video, settings.switches));
    }
    if (hasAudio_) tracks_.back()->start(settings.rate / kSamplesPerAacFrame, settings.seconds);
}

bool Film::run() {
    awaitEnd();
    return finish();
}

/** @param microphone null for a film without sound */
std::string Film::progressText(const SoundDevice* microphone) const {
    std::string text = std::string("vncam ") + command_ + "  " + clockText(tracks_.front()->second());
    if (settings_.seconds > 0) text += " / " + clockText(settings_.seconds);
    for (const auto& track : tracks_) {
        text += std::string("  ") + track->media() + " " + countText(track->frames(), "frame");
        if (track->lost() > 0) text += " (" + std::to_string(track->lost()) + " lost)";
    }
    if (microphone) text += "  " + microphone->text();
    return text;
}

/** A failed track ends the others; once one has ended, a stalled one is cut. */
void Film::awaitEnd() {
    const auto finished = [](const auto& track) { return track->finished(); };
    std::optional<VolumeKeys> keys;
    if (hasAudio_) keys.emplace(SoundDevice::microphone());
    for (;;) {
        const auto unfinished = std::ranges::find_if_not(tracks_, finished);
        if (unfinished == tracks_.end()) break;
        if (keys) keys->poll();
        if (!settings_.quiet) showProgress(progressText(keys ? &keys->device() : nullptr));
        (*unfinished)->finished(kPollInterval);
        const bool broken = std::ranges::any_of(tracks_, [](const auto& track) { return track->broken(); });
        const bool ending = broken || stopRequested() || std::ranges::any_of(tracks_, finished);
        for (const auto& track : tracks_) {
            if (broken) track->end();
            if (ending && track->waiting() > kStallTimeout) track->cut();
        }
    }
    clearProgress();
}

/** Closes all sinks, whatever has failed. */
bool Film::finish() {
    bool isPipeOpen = true;
    std::exception_ptr failure;
    const auto attempt = [&](const auto& action) {
        try {
            action();
        } catch (const ClosedPipe&) {
            isPipeOpen = false;
        } catch (...) {
            if (!failure) failure = std::current_exception();
        }
    };
    for (const auto& track : tracks_) attempt([&] { track->join(); });
    for (const auto& track : tracks_) attempt([&] { track->close(); });
    if (failure) std::rethrow_exception(failure);
    return isPipeOpen;
}

void Film::summarize() const {
    for (const auto& track : tracks_) report(command_, track->summary());
}

}  // namespace vncam
