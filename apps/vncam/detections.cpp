#include "detections.h"

#include <chrono>
#include <cstdio>

#include "interrupt.h"
#include "values.h"

namespace vncam {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto kPollInterval = 100ms;

}  // namespace

std::vector<Option> detectionOptions(DetectionSettings& settings, const char* countHelp,
                                     const char* jsonHelp) {
    return {
        {"count", "N", countHelp, integerInto(settings.count, "--count", 1, 1'000'000)},
        {"seconds", "S", "end after S seconds",
         [&](const std::string& text) { settings.seconds = parseSeconds("--seconds", text); }},
        {"json", nullptr, jsonHelp, [&](const std::string&) { settings.isJson = true; }},
    };
}

bool printDetections(Inbox& inbox, const DetectionSettings& settings, const std::string& name,
                     const std::function<Detection(const std::string& message)>& describe) {
    const auto begin = steady_clock::now();
    int found = 0;
    while (found < settings.count && !stopRequested()) {
        const std::chrono::duration<double> passed = steady_clock::now() - begin;
        if (settings.seconds && passed.count() >= *settings.seconds) break;
        const auto message = inbox.next(kPollInterval);
        if (!message || messageValue(*message, "name") != name) continue;
        const Detection detection = describe(*message);
        found += detection.isFound;
        // Each line reaches the reader of a pipe at once. A closed pipe ends the command.
        if (std::puts(detection.line.c_str()) < 0 || std::fflush(stdout) != 0) break;
    }
    return found > 0 || stopRequested();
}

}  // namespace vncam
