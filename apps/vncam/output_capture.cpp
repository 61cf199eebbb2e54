#include "output_capture.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>

namespace vncam {

OutputCapture::OutputCapture(int descriptor)
    : descriptor_(descriptor), saved_(dup(descriptor)), kept_(memfd_create("output", MFD_CLOEXEC)) {
    std::fflush(nullptr);
    if (saved_ >= 0 && kept_ >= 0) dup2(kept_, descriptor_);
}

OutputCapture::~OutputCapture() {
    std::fflush(nullptr);
    if (saved_ >= 0) {
        dup2(saved_, descriptor_);
        close(saved_);
    }
    if (kept_ >= 0) close(kept_);
}

std::string OutputCapture::firstMessage() const {
    std::fflush(nullptr);
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
