#include "objects/line_buffer.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "objects/mutex.h"

namespace kep::host {
namespace {

constexpr char kEscape = '\033';
constexpr std::string_view kClosed = "\n\033[0m";
/** Bytes after which a line without an end is written. */
constexpr std::size_t kLongest = 256 * 1024;
constexpr int kFullPipeMilliseconds = 1000;

struct Line {
    int stream;
    std::string text;
    Line* next;
};

// A plain pointer: lines are still composed while the thread's other variables are destroyed.
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

void finish(Line** place) noexcept {
    const std::unique_ptr<Line> line(*place);
    *place = line->next;
    writeOut(line->text);
}

/** Writes the unfinished lines of a thread that ends. */
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
