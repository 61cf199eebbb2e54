#ifndef KEP_TYPED_PARAM_H
#define KEP_TYPED_PARAM_H

#include <cstdint>
#include <typeinfo>

#include "kep/param.h"

namespace kep {
namespace base {

/** Whether `declared` is one of `Types`. */
template <class Only>
inline bool IsOneOf(const std::type_info& declared) {
    return declared == typeid(Only);
}

template <class First, class Second, class... Rest>
inline bool IsOneOf(const std::type_info& declared) {
    return declared == typeid(First) || IsOneOf<Second, Rest...>(declared);
}

/** The integer types that can be exchanged with a signed 64-bit integer. */
inline bool IsIntegerCompatible(const std::type_info& declared) {
    return IsOneOf<char, short, int, long, long long, unsigned char, unsigned short, unsigned int,
                   unsigned long, unsigned long long>(declared);
}

/** Sets a property of exactly type T. */
template <class T>
inline bool SetTyped(IParam& param, const char* key, T value) {
    return param.Set(key, &value, &typeid(T));
}

/** Reads a property of exactly type T; `value` is unchanged on failure. */
template <class T>
inline bool GetTyped(const IParam& param, const char* key, T& value) {
    T read = value;
    if (!param.Get(key, &read, &typeid(T))) return false;
    value = read;
    return true;
}

/** Sets a property of any integer type. */
inline bool SetInteger(IParam& param, const char* key, std::int64_t value) {
    return param.SetWithType(key, &value, &typeid(std::int64_t), IsIntegerCompatible);
}

/** Reads a property of any integer type; `value` is unchanged on failure. */
inline bool GetInteger(const IParam& param, const char* key, std::int64_t& value) {
    std::int64_t read = value;
    if (!param.GetWithType(key, &read, &typeid(std::int64_t), IsIntegerCompatible)) return false;
    value = read;
    return true;
}

}  // namespace base
}  // namespace kep

#endif
