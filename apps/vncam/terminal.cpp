#include "terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>

namespace vncam {
namespace {

std::atomic<bool> progressShown{false};

/** Columns of the terminal on standard error; 0 where there is none. */
std::size_t terminalColumns() {
    winsize window{};
    if (!isatty(STDERR_FILENO)) return 0;
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0;
    return known ? window.ws_col : 80;
}

}  // namespace

void report(const char* command, const std::string& text) {
    clearProgress();
    std::fprintf(stderr, "vncam %s: %s\n", command, text.c_str());
}

void showProgress(const std::string& text) {
    const std::size_t columns = terminalColumns();
    if (columns == 0) return;
    // A wrapped line cannot be overwritten.
    std::fprintf(stderr, "\r%s\033[K", text.substr(0, columns - 1).c_str());
    progressShown = true;
}

void clearProgress() {
    if (progressShown.exchange(false)) std::fputs("\r\033[K", stderr);
}

std::string lengthText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s", seconds);
    return text;
}

std::string countText(std::uint64_t count, const std::string& thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

std::string clockText(double seconds) {
    const long whole = static_cast<long>(seconds);
    char text[48];
    if (whole >= 3600)
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

}  // namespace vncam
