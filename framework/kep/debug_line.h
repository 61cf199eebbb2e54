#ifndef KEP_DEBUG_LINE_H
#define KEP_DEBUG_LINE_H

#include <cstddef>
#include <cstring>

#include "kep/ostream.h"

namespace kep {
namespace stream {

/** `file` without the framework's root path; empty when the root is longer than the path. */
inline const char* SourceBelowRoot(const char* file) {
    const std::size_t length = std::strlen(file);
    const std::size_t offset = __root_path_offset < 0 ? 0 : static_cast<std::size_t>(__root_path_offset);
    return file + (offset < length ? offset : length);
}

/** Opens a line on debug stream `index`: colour, source, line number and function. Items follow. */
inline base::ostream& BeginDebugLine(int index, const char* colour, const char* file, int line,
                                     const char* function) {
    return *__dbg_couts[index] << colour << SourceBelowRoot(file) << "/" << line << "/" << function << ":\t";
}

/** Closes a line. The colour is reset after the newline, at the start of whatever is written next. */
inline void EndDebugLine(base::ostream& out) {
    out << '\n' << "\033[0m";
}

}  // namespace stream
}  // namespace kep

#endif
