#include "objects/line_buffer.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>

#include "objects/mutex.h"

namespace kep::host {
namespace {

constexpr char kEscape = '\033';
constexpr std::string_view kReset = "\033[0m";
constexpr std::string_view kClosed = "\n\033[0m";
/** Separates the source location from the message. */
constexpr std::string_view kPlaceEnd = ":\t";
/** Bytes after which an incomplete line is written. */
constexpr std::size_t kLongest = 256 * 1024;
/** How long to wait for room in a full pipe; after that the rest of the line is dropped. */
constexpr int kFullPipeMilliseconds = 1000;

struct Line {
    int stream;
    std::string text;
    Line* next;
};

// A plain pointer: lines may be composed while the thread's other thread_local variables are destroyed.
thread_local Line* composed = nullptr;

// Keeps a line in one piece when a pipe accepts only part of it.
constinit Mutex outputMutex;

void writeOut(std::string_view text) noexcept {
    const MutexLock lock(outputMutex);
    while (!text.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written < 0 && errno == EAGAIN) {
            pollfd output = {STDERR_FILENO, POLLOUT, 0};
            if (::poll(&output, 1, kFullPipeMilliseconds) <= 0) return;
        } else if (written == 0 || errno != EINTR) {
            return;
        }
    }
}

Line** find(int stream) {
    Line** place = &composed;
    while (*place && (*place)->stream != stream) place = &(*place)->next;
    return place;
}

/** Reduces a line that starts with a colour to "function: message"; leaves any other line unchanged. */
void shorten(std::string& line) {
    if (line.front() != kEscape || !line.ends_with(kClosed)) return;
    line.resize(line.size() - kReset.size());
    const std::size_t place = line.find(kPlaceEnd);
    if (place == line.npos) return;
    line.replace(place, kPlaceEnd.size(), ": ");
    line.erase(0, line.rfind('/', place) + 1);
}

void finish(Line** place) noexcept {
    const std::unique_ptr<Line> line(*place);
    *place = line->next;
    if (isMessageFormat()) shorten(line->text);
    writeOut(line->text);
}

/** Writes the incomplete lines of a thread when it ends. */
struct Rest {
    ~Rest() {
        while (composed) finish(&composed);
    }
};

bool isComplete(const std::string& text) {
    if (text.size() >= kLongest) return true;
    return text.front() == kEscape ? text.ends_with(kClosed) : text.back() == '\n';
}

}  // namespace

bool isMessageFormat() {
    const char* const format = std::getenv("KEP_HOST_LOG_FORMAT");
    return format && std::string_view(format) == "message";
}

void appendToLine(int stream, std::string_view piece) noexcept try {
    if (piece.empty()) return;
    static thread_local Rest rest;
    static_cast<void>(&rest);
    Line** place = find(stream);
    if (!*place) *place = new Line{stream, {}, nullptr};
    (*place)->text += piece;
    if (isComplete((*place)->text)) finish(place);
} catch (...) {
    // No memory for the piece, and none to report it.
}

}  // namespace kep::host
