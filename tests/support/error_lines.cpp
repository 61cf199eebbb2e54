#include "error_lines.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>

ErrorLines::ErrorLines() : file_(memfd_create("stderr", 0)), before_(dup(STDERR_FILENO)) {
    if (file_ < 0 || before_ < 0 || dup2(file_, STDERR_FILENO) < 0)
        throw std::runtime_error("cannot redirect stderr");
}

ErrorLines::~ErrorLines() {
    dup2(before_, STDERR_FILENO);
    close(before_);
    close(file_);
}

std::string ErrorLines::raw() const {
    std::string text;
    char part[4096];
    for (ssize_t got; (got = pread(file_, part, sizeof(part), static_cast<off_t>(text.size()))) > 0;) {
        text.append(part, static_cast<std::size_t>(got));
    }
    return text;
}

std::vector<std::string> ErrorLines::messages() const {
    std::vector<std::string> all;
    std::istringstream lines(raw());
    for (std::string line; std::getline(lines, line);) {
        // The colour reset that follows the last line has no text after it.
        if (line == "\033[0m") continue;
        const std::size_t message = line.find(":\t");
        all.push_back(message == std::string::npos ? line : line.substr(message + 2));
    }
    return all;
}

int ErrorLines::count(const std::string& part) const {
    const std::vector<std::string> all = messages();
    return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const std::string& message) {
        return message.find(part) != message.npos;
    }));
}
