#include "streams.h"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <stdexcept>

#include "kep/ostream.h"
#include "script.h"

namespace scripted {
namespace {

const char root[] = SOURCE_ROOT "/";
const char resetColour[] = "\033[0m";

std::atomic<bool> keeping{true};
/** Leaves an insertion, by an exception or the thread's end, once `linesBefore` more lines are finished. */
std::atomic<void (*)()> interruption{nullptr};
std::atomic<int> linesBefore{0};

void interrupt(int finished, void (*how)()) {
    linesBefore = finished;
    interruption = how;
}

/** The event for a whole line; a line of another form is named as malformed. */
std::string described(int stream, const std::string& raw) {
    const std::string malformed = "malformed line on " + std::to_string(stream) + ": " + raw;
    const std::string tail = std::string("\n") + resetColour;
    const auto colour = raw.find('m');
    const auto textBegin = raw.find(":\t");
    if (raw[0] != '\033' || colour == std::string::npos || textBegin == std::string::npos) return malformed;
    const std::string place = raw.substr(colour + 1, textBegin - colour - 1);
    const auto second = place.rfind('/');
    const auto first = second == std::string::npos ? second : place.rfind('/', second - 1);
    if (first == std::string::npos) return malformed;
    const std::string path = place.substr(0, first);
    const std::string number = place.substr(first + 1, second - first - 1);
    const std::string function = place.substr(second + 1);
    if (number.empty() || number.find_first_not_of("0123456789") != std::string::npos) return malformed;
    if (!isLineOf(path, std::atoi(number.c_str()), function)) return "wrong line number: " + raw;
    const std::string text = raw.substr(textBegin + 2, raw.size() - textBegin - 2 - tail.size());
    return line(stream, raw.substr(0, colour + 1), path, function, text);
}

class DebugStream final : public kep::base::ostream {
  public:
    kep::base::ostream& operator<<(char character) override { return add(character); }
    kep::base::ostream& operator<<(int value) override { return add(value); }
    kep::base::ostream& operator<<(std::int64_t value) override { return add(value); }
    kep::base::ostream& operator<<(void* pointer) override { return add(pointer); }
    // A framework need not accept a null text.
    kep::base::ostream& operator<<(const char* text) override { return add(text ? text : "<null text>"); }

    void forget() {
        const std::lock_guard<std::mutex> lock(mutex_);
        pending_.clear();
        all_.clear();
    }

    std::string pending() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return pending_;
    }

    std::string all() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return all_;
    }

  private:
    template <class T>
    kep::base::ostream& add(T item) {
        if (void (*const how)() = linesBefore > 0 ? nullptr : interruption.load()) how();
        if (!keeping) return *this;
        const std::lock_guard<std::mutex> lock(mutex_);
        std::string text;
        kep::base::ostream_string(text) << item;
        pending_ += text;
        all_ += text;
        if (text == resetColour && pending_.size() > text.size() &&
            pending_[pending_.size() - text.size() - 1] == '\n') {
            Script::instance().note(described(index(), pending_));
            pending_.clear();
            --linesBefore;
        }
        return *this;
    }

    int index() const;

    std::mutex mutex_;
    std::string pending_;
    std::string all_;
};

constexpr int kStreams = 32;

DebugStream* streams() {
    static DebugStream* const all = new DebugStream[kStreams];
    return all;
}

int DebugStream::index() const {
    return static_cast<int>(this - streams());
}

}  // namespace

bool isLineOf(const std::string& path, int number, const std::string& function) {
    if (path.size() < 4 || path.compare(path.size() - 4, 4, ".cpp") != 0) return number > 0;
    std::ifstream file(root + path);
    std::string text;
    std::string current;
    for (int i = 1; i <= number && std::getline(file, text); ++i) {
        const auto parenthesis = text.find('(');
        if (parenthesis == std::string::npos || text[0] == ' ' || text[0] == '#' || text[0] == '}') continue;
        const auto name = text.rfind(' ', parenthesis);
        const std::string found = text.substr(name + 1, parenthesis - name - 1);
        if (found != "VN_END_WITH" && found != "VN_END_OF") current = found;
    }
    return !file.fail() && (current == function || current.rfind("VN", 0) != 0);
}

void resetStreams() {
    keeping = true;
    interrupt(0, nullptr);
    kep::stream::__root_path_offset = sizeof root - 1;
    for (int i = 0; i < kStreams; ++i) streams()[i].forget();
}

void noteUnfinishedLines() {
    for (int i = 0; i < kStreams; ++i) {
        const std::string pending = streams()[i].pending();
        if (!pending.empty())
            Script::instance().note("unfinished line on " + std::to_string(i) + ": " + pending);
    }
}

void keepLines(bool keep) {
    keeping = keep;
}

void throwFromStreams() {
    interrupt(0, [] { throw std::runtime_error("the stream is full"); });
}

void throwIntFromStreams() {
    interrupt(0, [] { throw 1; });
}

void endThreadsInStreams(int finished) {
    interrupt(finished, [] { pthread_exit(nullptr); });
}

std::string rawText(int stream) {
    return streams()[stream].all();
}

std::string line(int stream, const std::string& colour, const std::string& file, const std::string& function,
                 const std::string& text) {
    return "line on " + std::to_string(stream) + " " + colour + " " + file + " " + function + ": " + text;
}

}  // namespace scripted

namespace kep::stream {

#define FOUR(i)                                                                        \
    &scripted::streams()[i], &scripted::streams()[i + 1], &scripted::streams()[i + 2], \
        &scripted::streams()[i + 3]
base::ostream* __dbg_couts[] = {FOUR(0), FOUR(4), FOUR(8), FOUR(12), FOUR(16), FOUR(20), FOUR(24), FOUR(28)};
#undef FOUR

int __root_path_offset = sizeof scripted::root - 1;

}  // namespace kep::stream
