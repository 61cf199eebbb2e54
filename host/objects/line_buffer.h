#ifndef KEP_HOST_LINE_BUFFER_H
#define KEP_HOST_LINE_BUFFER_H

#include <string_view>

namespace kep::host {

/**
 * Appends to the line that the calling thread composes on a debug stream. A complete line is written to
 * standard error in one piece: a line that begins with a colour after the reset behind its newline, any other
 * at its newline. Lines of different threads and streams never mix. With areMessagesAsked() the colours of a
 * line are left out, and of its place in the source there is the function alone. Never throws.
 */
void appendToLine(int stream, std::string_view piece) noexcept;

/** Whether lines are for readers who are no developers: KEP_HOST_LOG_FORMAT=message, read for each line. */
bool areMessagesAsked();

}  // namespace kep::host

#endif
