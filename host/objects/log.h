#ifndef KEP_HOST_LOG_H
#define KEP_HOST_LOG_H

#include <string_view>

#include "kep/visibility.h"

namespace kep::host {

/** Debug streams of the framework's own lines, with their numbers in KEP_HOST_LOG. */
enum class LogStream : int { error = 8, info = 12 };

/**
 * Writes one whole line to a debug stream in the framework's line format. Safe on any thread; never throws.
 *
 * Use it through the macros below, which add the source location:
 * `KEP_HOST_ERROR(path + ": cannot open: " + reason)`.
 */
KEP_API void writeLine(LogStream stream, const char* file, int line, const char* function,
                       std::string_view text) noexcept;

/** Whether KEP_HOST_LOG selects the stream. */
bool isShown(LogStream stream);

}  // namespace kep::host

#define KEP_HOST_ERROR(text) \
    ::kep::host::writeLine(::kep::host::LogStream::error, __FILE__, __LINE__, __func__, (text))
#define KEP_HOST_INFO(text) \
    ::kep::host::writeLine(::kep::host::LogStream::info, __FILE__, __LINE__, __func__, (text))

#endif
