#include "detections.h"

#include <chrono>
#include <cstdio>

#include "interrupt.h"
#include "values.h"
#include "waiting.h"

namespace vncam {

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
    const auto begin = std::chrono::steady_clock::now();
    int found = 0;
    while (found < settings.count && !stopRequested()) {
        if (settings.seconds && secondsSince(begin) >= *settings.seconds) break;
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
