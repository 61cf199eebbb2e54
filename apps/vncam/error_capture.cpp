#include "error_capture.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>

namespace vncam {

ErrorCapture::ErrorCapture() : saved_(dup(STDERR_FILENO)), kept_(memfd_create("stderr", MFD_CLOEXEC)) {
    std::fflush(stderr);
    if (saved_ >= 0 && kept_ >= 0) dup2(kept_, STDERR_FILENO);
}

ErrorCapture::~ErrorCapture() {
    std::fflush(stderr);
    if (saved_ >= 0) {
        dup2(saved_, STDERR_FILENO);
        close(saved_);
    }
    if (kept_ >= 0) close(kept_);
}

std::string ErrorCapture::firstMessage() const {
    std::fflush(stderr);
    std::string text(4096, '\0');
    const ssize_t size = pread(kept_, text.data(), text.size(), 0);
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (std::string message = debugMessage(line); !message.empty()) return message;
    return {};
}

std::string debugMessage(const std::string& line) {
    const std::size_t start = line.find(":\t");
    return start == std::string::npos ? "" : line.substr(start + 2);
}

}  // namespace vncam
