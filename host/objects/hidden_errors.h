#ifndef KEP_HOST_HIDDEN_ERRORS_H
#define KEP_HOST_HIDDEN_ERRORS_H

#include <string_view>

#include "kep/visibility.h"

namespace kep::host {

/** Stores an error line that KEP_HOST_LOG hides, for kepHostHiddenErrors; drops the oldest beyond four. */
void keepHiddenError(std::string_view text) noexcept;

}  // namespace kep::host

/**
 * The last error lines (at most 4) that KEP_HOST_LOG has hidden since the previous call, each with a line
 * feed; empty if there are none. Lets a program report why a call failed. Look it up with dlsym: a board's
 * framework lacks it. Any thread may call it; the text is valid until the thread's next call.
 */
extern "C" KEP_API const char* kepHostHiddenErrors() noexcept;

#endif
