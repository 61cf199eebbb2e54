#include "output_capture.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

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

std::string OutputCapture::firstLine() const {
    std::fflush(nullptr);
    std::string text(4096, '\0');
    const ssize_t size = pread(kept_, text.data(), text.size(), 0);
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return text.substr(0, text.find('\n'));
}

}  // namespace vncam
