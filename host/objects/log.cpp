#include "objects/log.h"

#include <string>

#include "kep/debug_line.h"
#include "objects/hidden_errors.h"
#include "objects/line_buffer.h"

namespace kep::host {

void writeLine(LogStream stream, const char* file, int line, const char* function,
               std::string_view text) noexcept try {
    // Quoted texts may contain anything: keep the line a single line.
    std::string shown(text);
    for (char& character : shown) {
        if (static_cast<unsigned char>(character) < ' ') character = ' ';
    }
    if (stream == LogStream::error && !isShown(stream)) return keepHiddenError(shown);
    if (isMessageFormat()) {
        // Function names mean nothing to a user.
        *kep::stream::__dbg_couts[static_cast<int>(stream)] << (shown + "\n").c_str();
        return;
    }
    const char* colour = stream == LogStream::error ? "\033[31m" : "\033[32m";
    base::ostream& out = kep::stream::BeginDebugLine(static_cast<int>(stream), colour, file, line, function);
    kep::stream::EndDebugLine(out << shown.c_str());
} catch (...) {
    // No memory: drop the line.
}

}  // namespace kep::host
