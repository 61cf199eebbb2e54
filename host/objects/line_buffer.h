#ifndef KEP_HOST_LINE_BUFFER_H
#define KEP_HOST_LINE_BUFFER_H

#include <string_view>

namespace kep::host {

/**
 * Adds a piece to the line that the calling thread composes on a debug stream. The line goes to standard
 * error in one piece when it is complete: a line that begins with a colour once its reset has followed the
 * newline, any other at its newline. Lines of different threads and streams never mix. Never throws.
 */
void appendToLine(int stream, std::string_view piece) noexcept;

}  // namespace kep::host

#endif
