#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "command.h"
#include "inbox.h"
#include "interrupt.h"
#include "made_file.h"
#include "message.h"
#include "options.h"
#include "output_capture.h"
#include "resource.h"
#include "terminal.h"
#include "values.h"

namespace vncam {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto tick = 100ms;
/** Of the camera, until there is a first key frame. */
constexpr double startingSeconds = 1;
constexpr double patienceAtEnd = 30;

constexpr int oneShotPre = 3;
constexpr int oneShotPost = 7;

constexpr Usage usage{
    "event", "", "Films until there is enough of a past, has an event, and makes the clip around it.",
    "The length of a clip by --oneshot is fixed: 3 seconds before the event and 7 after it. The name of the\n"
    "clip goes to standard output. Ctrl-C before the event ends without one."};

struct EventSettings {
    int pre = oneShotPre;
    int post = oneShotPost;
    bool ownLength = false;
    bool oneShot = false;
    bool quiet = false;
    std::string url;
};

/** The URL of a clip. What separates the settings of a trigger cannot stand in it. */
std::string clipUrl(const std::string& text) {
    std::string url = urlOfPath(text);
    if (!url.starts_with("file://") || pathOfUrl(url).empty() || url.ends_with('/'))
        throw UsageError("--url '" + text + "': neither a file URL nor the name of a file");
    if (url.find_first_of(",{}") != std::string::npos)
        throw UsageError("--url '" + text + "': no name with one of , { }");
    return url;
}

bool parseEvent(int argc, char** argv, EventSettings& settings) {
    const auto seconds = [&settings](int& target, const char* option) {
        return [&settings, &target, option](const std::string& text) {
            target = parseInteger(option, text, 0, 3600);
            settings.ownLength = true;
        };
    };
    const std::vector<Option> options = {
        {"pre", "S", "seconds before the event (3)", seconds(settings.pre, "--pre")},
        {"post", "S", "seconds after it (7)", seconds(settings.post, "--post")},
        {"url", "URL", "file URL or name of the clip (EVT_ and the time, in this folder)",
         [&](const std::string& text) { settings.url = clipUrl(text); }},
        {"oneshot", nullptr, "by the call that waits for the clip, without a service",
         [&](const std::string&) { settings.oneShot = true; }},
        {"quiet", nullptr, "no progress and no summary", [&](const std::string&) { settings.quiet = true; }},
    };
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, usage, options, operands)) return false;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");
    if (settings.oneShot && settings.ownLength)
        throw UsageError("--oneshot has a fixed length; leave out --pre and --post");
    return true;
}

double secondsSince(steady_clock::time_point time) {
    return std::chrono::duration<double>(steady_clock::now() - time).count();
}

void awaitPast(const EventSettings& settings) {
    const auto start = steady_clock::now();
    const double enough = settings.pre + startingSeconds;
    while (secondsSince(start) < enough) {
        if (stopRequested()) throw Failure("interrupted before the event");
        if (!settings.quiet)
            showProgress("vncam event  filming the past  " + clockText(secondsSince(start)) + " / " +
                         clockText(enough));
        std::this_thread::sleep_for(tick);
    }
}

/** Has a service make the clip, and waits for it. */
std::string byService(const EventSettings& settings) {
    const Resource service(VNRES_EVENT_SERVICE);
    Inbox inbox(service.id());
    service.start();
    awaitPast(settings);
    {
        // What the call writes there is not the name of a clip.
        const OutputCapture lines(STDOUT_FILENO);
        check(VNRecordEventServiceTrigger(service.id(), settings.url.empty() ? nullptr : settings.url.c_str(),
                                          settings.pre, settings.post),
              "VNRecordEventServiceTrigger");
    }
    const auto event = steady_clock::now();
    while (secondsSince(event) < settings.post + patienceAtEnd) {
        if (stopRequested()) throw Failure("interrupted before the clip was finished");
        if (!settings.quiet) showProgress("vncam event  clip  " + clockText(secondsSince(event)));
        const auto message = inbox.next(tick);
        if (!message) continue;
        const std::string name = messageValue(*message, "name");
        if (name == "recordStop") return pathOfUrl(messageValue(*message, "url"));
        // An encoder that fails is set up anew, and the clip goes on.
        if (name == "failed" && messageValue(*message, "media") == "file")
            throw Failure("no clip: " + messageValue(*message, "reason"));
    }
    throw Failure("no clip has come");
}

std::string nameFromTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char name[64];
    std::strftime(name, sizeof name, "EVT_%Y-%m-%d_%H-%M-%S.mp4", &local);
    return name;
}

/** Has the call make the clip that comes back only then. */
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
    if (access(path.c_str(), F_OK) != 0) throw Failure(path + " has not been made");
    std::puts(path.c_str());
    if (!settings.quiet) report("event", lengthAndSize(path, secondsOf(path)));
    return exitOk;
}

}  // namespace vncam
