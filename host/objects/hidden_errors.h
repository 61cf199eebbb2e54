#ifndef KEP_HOST_HIDDEN_ERRORS_H
#define KEP_HOST_HIDDEN_ERRORS_H

#include <string_view>

#include "kep/visibility.h"

namespace kep::host {

/** Keeps an error line that KEP_HOST_LOG does not show, for kepHostHiddenErrors. Only the last few stay. */
void keepHiddenError(std::string_view text) noexcept;

}  // namespace kep::host

/**
 * The framework's last error lines (at most 4) that KEP_HOST_LOG kept from being shown since the last call,
 * each with an end of line; empty when there are none. So that a program can still give the reason of a
 * failure. Found by its name at run time (dlsym), as a board's framework has no such function. For any
 * thread; the text is valid until the thread's next call.
 */
extern "C" KEP_API const char* kepHostHiddenErrors() noexcept;

#endif
