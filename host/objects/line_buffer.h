#ifndef KEP_HOST_LINE_BUFFER_H
#define KEP_HOST_LINE_BUFFER_H

#include <string_view>

namespace kep::host {

/**
 * Appends to the line that the calling thread composes on a debug stream. A complete line is written to
 * standard error in one piece: a line that begins with a colour after the reset behind its newline, any other
 * at its newline. Lines of different threads and streams never mix. Never throws.
 */
void appendToLine(int stream, std::string_view piece) noexcept;

}  // namespace kep::host

#endif
