#ifndef KEP_HOST_CONVERT_H
#define KEP_HOST_CONVERT_H

#include <cstdint>

#include "kep/visibility.h"

namespace kep::host {

/**
 * Reads a value from text: integers in decimal or, after "0x", in hexadecimal; of booleans true, yes, on, 1,
 * false, no, off and 0 in any case. False leaves `value` as it was. Writes no line, unlike
 * base::ConvertToImpl: for callers that report more than it can.
 */
KEP_API bool convert(const char* text, int& value);
KEP_API bool convert(const char* text, std::int64_t& value);
KEP_API bool convert(const char* text, bool& value);

}  // namespace kep::host

#endif
