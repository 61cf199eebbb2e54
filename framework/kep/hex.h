#ifndef KEP_HEX_H
#define KEP_HEX_H

#include <cstddef>
#include <cstdio>

namespace kep {
namespace base {

/** Buffer size for the longest text of ToHex. */
constexpr std::size_t kHexSize = sizeof("0x") + 16;

/** Writes an unsigned number in upper-case hexadecimal, zero-padded to the size of its type. */
template <class T>
inline const char* ToHex(char (&text)[kHexSize], T value, bool prefix) {
    static_assert(static_cast<T>(-1) > static_cast<T>(0), "T must be unsigned");
    std::snprintf(text, sizeof(text), "%s%0*llX", prefix ? "0x" : "", static_cast<int>(2 * sizeof(T)),
                  static_cast<unsigned long long>(value));
    return text;
}

}  // namespace base
}  // namespace kep

#endif
