#ifndef KEP_HOST_CONVERT_H
#define KEP_HOST_CONVERT_H

#include <cstdint>

#include "kep/visibility.h"

namespace kep::host {

/**
 * Reads a value from text: integers in decimal or, after "0x", in hexadecimal; booleans as true, yes, on, 1,
 * false, no, off or 0 in any case. On failure returns false and leaves `value` unchanged. Writes no error
 * line, unlike base::ConvertToImpl: for callers that report the error with more context.
 */
KEP_API bool convert(const char* text, int& value);
KEP_API bool convert(const char* text, std::int64_t& value);
KEP_API bool convert(const char* text, bool& value);

}  // namespace kep::host

#endif
