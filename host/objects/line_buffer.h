#ifndef KEP_HOST_LINE_BUFFER_H
#define KEP_HOST_LINE_BUFFER_H

#include <string_view>

namespace kep::host {

/**
 * Appends to the line that the calling thread composes on a debug stream. A complete line is written to
 * standard error in one piece: a line that starts with a colour is complete at the colour reset after its
 * newline, any other at its newline. Lines of different threads and streams never mix. With
 * isMessageFormat(), colours are removed and the source location is reduced to the function. Never throws.
 */
void appendToLine(int stream, std::string_view piece) noexcept;

/** Whether KEP_HOST_LOG_FORMAT=message asks for lines for users, not developers. Read for each line. */
bool isMessageFormat();

}  // namespace kep::host

#endif
