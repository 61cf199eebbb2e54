#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "command.h"
#include "detections.h"
#include "marked_picture.h"
#include "message.h"
#include "options.h"
#include "resource.h"
#include "values.h"

namespace vncam {
namespace {

constexpr Usage kDetectUsage{
    "detect", "", "Finds people in the camera's picture.",
    "Prints a line for each picture with people: its time, their number, and for each person a rectangle in\n"
    "a frame of 1920x1080 as X,Y,WxH and a score; and one line when they have gone. --picture takes a new\n"
    "picture after the first result, so people may have moved slightly. Without --count and --seconds it\n"
    "runs until Ctrl-C.\n"
    "Exit status 1: nobody was found, and Ctrl-C did not end it."};

struct DetectSettings : DetectionSettings {
    Size size{640, 360};
    int fps = 5;
    std::string picture;
};

struct Person {
    Mark place;
    std::string score;
};

std::vector<Person> peopleOf(const std::string& message) {
    std::vector<Person> people;
    for (std::size_t i = 0;; ++i) {
        const std::string person = messageValue(message, "person" + std::to_string(i));
        if (person.empty()) return people;
        const auto number = [&](const char* key) { return std::atoi(messageValue(person, key).c_str()); };
        people.push_back(
            {{number("x"), number("y"), number("w"), number("h")}, messageValue(person, "score")});
    }
}

/** "2026-05-01 12:00:00.123", local time. */
std::string clockTime(const std::string& milliseconds) {
    const long long time = std::atoll(milliseconds.c_str());
    const std::time_t seconds = time / 1000;
    std::tm fields{};
    localtime_r(&seconds, &fields);
    char text[64];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields);
    std::snprintf(text + length, sizeof text - length, ".%03d", static_cast<int>(time % 1000));
    return text;
}

std::string lineOf(const std::string& message, const std::vector<Person>& people) {
    std::string line =
        clockTime(messageValue(message, "time")) + "  " +
        (people.empty() ? "nobody"
                        : std::to_string(people.size()) + (people.size() == 1 ? " person" : " people"));
    for (const auto& [place, score] : people)
        line += "  " + std::to_string(place.x) + "," + std::to_string(place.y) + "," +
                Size{place.w, place.h}.text() + " (" + score + ")";
    return line;
}

std::string jsonOf(const std::string& message, const std::vector<Person>& people) {
    std::string list;
    for (const auto& [place, score] : people)
        list += std::string(list.empty() ? "" : ",") + "{\"x\":" + std::to_string(place.x) +
                ",\"y\":" + std::to_string(place.y) + ",\"w\":" + std::to_string(place.w) +
                ",\"h\":" + std::to_string(place.h) + ",\"score\":" + score + "}";
    return "{\"count\":" + std::to_string(people.size()) + ",\"people\":[" + list +
           "],\"time\":" + messageValue(message, "time") + "}";
}

void takePicture(const std::string& path, const std::vector<Person>& people) {
    check(VNTakePic(path.c_str(), 1920, 1080), path + ": VNTakePic");
    std::vector<Mark> marks;
    for (const Person& person : people) marks.push_back(person.place);
    markPicture(path, marks);
}

/** Prints results; false when nobody was found and no stop was requested. */
bool detect(const DetectSettings& settings) {
    const Resource results(VNRES_HUMAN_SHM);
    Inbox inbox(results.id());
    check(VNHumanDetect(settings.size.width, settings.size.height, settings.fps), "VNHumanDetect");
    bool isPictureDue = !settings.picture.empty();
    return printDetections(inbox, settings, "human", [&](const std::string& message) {
        const std::vector<Person> people = peopleOf(message);
        if (!people.empty() && std::exchange(isPictureDue, false)) takePicture(settings.picture, people);
        return Detection{settings.isJson ? jsonOf(message, people) : lineOf(message, people),
                         !people.empty()};
    });
}

}  // namespace

int runDetect(int argc, char** argv) {
    DetectSettings settings;
    std::vector<Option> options = {
        {"size", "WxH", "size of the analysed pictures (640x360)",
         [&](const std::string& text) { settings.size = parseSize("--size", text); }},
        {"fps", "N", "pictures a second (5)", integerInto(settings.fps, "--fps", 1, 120)},
    };
    std::ranges::move(
        detectionOptions(settings, "end after N pictures with people", "print a JSON object per line"),
        std::back_inserter(options));
    options.push_back({"picture", "FILE", "write a JPEG file with the people of the first result outlined",
                       [&](const std::string& text) {
                           if (text.empty()) throw UsageError("--picture needs a file name");
                           settings.picture = text;
                       }});
    std::vector<std::string> operands;
    if (!parseOptions(argc, argv, kDetectUsage, options, operands)) return exitOk;
    if (!operands.empty()) throw UsageError("unexpected argument '" + operands.front() + "'");
    if (!detect(settings)) throw Failure("nobody found");
    return exitOk;
}

}  // namespace vncam
