#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "command.h"
#include "interrupt.h"
#include "made_file.h"
#include "message.h"
#include "options.h"
#include "output_capture.h"
#include "resource.h"
#include "terminal.h"
#include "values.h"
#include "waiting.h"

namespace vncam {
namespace {

using std::chrono::steady_clock;

/** From the start of the camera to its first key frame. */
constexpr double kStartingSeconds = 1;

/** Seconds that pre-recording buffers. */
constexpr int kLongestPre = 30;
constexpr int kLongestPost = 3600;
constexpr int kOneShotPre = 3;
constexpr int kOneShotPost = 7;

constexpr Usage kEventUsage{
    "event", "", "Films until the pre-roll is buffered, triggers an event and writes the clip around it.",
    "The length of a --oneshot clip is fixed: 3 seconds before the event and 7 after it. The name of the\n"
    "clip goes to standard output. Ctrl-C before the event ends without a clip."};

struct EventSettings {
    int pre = kOneShotPre;
    int post = kOneShotPost;
    bool ownLength = false;
    bool oneShot = false;
    bool quiet = false;
    std::string url;
};

/** The URL of a clip. It must not contain the separators of a trigger text. */
std::string clipUrl(const std::string& text) {
    std::string url = urlOfPath(text);
    if (!url.starts_with("file://") || pathOfUrl(url).empty() || url.ends_with('/'))
        throw UsageError("--url '" + text + "': not a file URL or a file name");
    if (!url.ends_with(".mp4")) throw UsageError("--url '" + text + "': clips are MP4 files: NAME.mp4");
    if (url.find_first_of(",{}") != std::string::npos)
        throw UsageError("--url '" + text + "': a name must not contain , { or }");
    return url;
}

bool parseEvent(int argc, char** argv, EventSettings& settings) {
    const auto seconds = [&settings](int& target, const char* option, int most) {
        return [&settings, &target, option, most](const std::string& text) {
            target = parseInteger(option, text, 0, most);
            settings.ownLength = true;
        };
    };
    const std::vector<Option> options = {
        {"pre", "S", "seconds before the event, 0 to 30 (3)", seconds(settings.pre, "--pre", kLongestPre)},
        {"post", "S", "seconds after the event, 0 to 3600 (7)",
         seconds(settings.post, "--post", kLongestPost)},
        {"url", "URL", "file URL or name of the clip (EVT_ and the time, in the current folder)",
         [&](const std::string& text) { settings.url = clipUrl(text); }},
        {"oneshot", nullptr, "use the blocking call instead of an event service",
         [&](const std::string&) { settings.oneShot = true; }},
        {"quiet", nullptr, "no progress and no summary", [&](const std::string&) { settings.quiet = true; }},
    };
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kEventUsage, options, operands)) return false;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");
    if (settings.oneShot && settings.ownLength)
        throw UsageError("--oneshot has a fixed length; leave out --pre and --post");
    return true;
}

void awaitPast(const EventSettings& settings) {
    const auto start = steady_clock::now();
    const double enough = settings.pre + kStartingSeconds;
    while (secondsSince(start) < enough) {
        if (stopRequested()) throw Failure("interrupted before the event");
        if (!settings.quiet)
            showProgress("vncam event  pre-roll  " + clockText(secondsSince(start)) + " / " +
                         clockText(enough));
        std::this_thread::sleep_for(kPollInterval);
    }
}

/** Triggers an event service and waits for its clip. */
std::string byService(const EventSettings& settings) {
    const Resource service(VNRES_EVENT_SERVICE);
    Inbox inbox(service.id());
    service.start();
    awaitPast(settings);
    {
        // Standard output is for the name of the clip alone; the call writes its own lines there.
        const OutputCapture lines(STDOUT_FILENO);
        check(VNRecordEventServiceTrigger(service.id(), settings.url.empty() ? nullptr : settings.url.c_str(),
                                          settings.pre, settings.post),
              "VNRecordEventServiceTrigger");
    }
    const auto event = steady_clock::now();
    while (secondsSince(event) < settings.post + kEndTimeout.count()) {
        if (stopRequested()) throw Failure("interrupted before the clip was finished");
        if (!settings.quiet) showProgress("vncam event  clip  " + clockText(secondsSince(event)));
        const auto message = inbox.next(kPollInterval);
        if (!message) continue;
        const std::string name = messageValue(*message, "name");
        if (name == "recordStop") return pathOfUrl(messageValue(*message, "url"));
        // A failed encoder is reopened and the clip continues; only a file failure is final.
        if (name != "failed" || messageValue(*message, "media") != "file") continue;
        const std::string kept = pathOfUrl(messageValue(*message, "kept"));
        throw Failure((kept.empty() ? "no clip: " : "clip incomplete: " + kept + ": ") +
                      messageValue(*message, "reason"));
    }
    throw Failure("no clip: the event service reported none");
}

std::string nameFromTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char name[64];
    std::strftime(name, sizeof name, "EVT_%Y-%m-%d_%H-%M-%S.mp4", &local);
    return name;
}

/** Uses the call that blocks until the clip is closed. */
std::string byOneShot(const EventSettings& settings) {
    // Pre-recording begins with the first resource that films.
    const Resource camera(VNRES_H264_SOURCE);
    awaitPast(settings);
    const std::string url = settings.url.empty() ? urlOfPath(nameFromTime()) : settings.url;
    if (!settings.quiet) showProgress("vncam event  clip");
    const OutputCapture lines(STDOUT_FILENO);
    check(VNRecordEventTrigger(url.c_str()), "VNRecordEventTrigger");
    return pathOfUrl(url);
}

}  // namespace

int runEvent(int argc, char** argv) {
    EventSettings settings;
    if (!parseEvent(argc, argv, settings)) return exitOk;
    const std::string path = settings.oneShot ? byOneShot(settings) : byService(settings);
    clearProgress();
    if (access(path.c_str(), F_OK) != 0) throw Failure(path + ": not created");
    std::puts(path.c_str());
    if (!settings.quiet) report("event", lengthAndSize(path, secondsOf(path)));
    return exitOk;
}

}  // namespace vncam
