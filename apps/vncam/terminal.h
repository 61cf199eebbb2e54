#ifndef VNCAM_TERMINAL_H
#define VNCAM_TERMINAL_H

#include <cstdint>
#include <string>

namespace vncam {

/** Prints `vncam COMMAND: text` to standard error, in place of a progress line that is shown. */
void report(const char* command, const std::string& text);

/** Shows a line on standard error that the next one replaces; nothing where that is not a terminal. */
void showProgress(const std::string& text);

/** Clears the progress line. */
void clearProgress();

/** A length in seconds: 12.3 s. */
std::string lengthText(double seconds);

/** A count with its noun, which is given in the singular: 1 frame, 2 frames. */
std::string countText(std::uint64_t count, const std::string& thing);

/** Seconds as a clock shows them: 0:07, 12:30, 1:02:03. */
std::string clockText(double seconds);

}  // namespace vncam

#endif
